// The objects are read here and not by libplist, whose interface loses the sign of integers, dates
// beyond 32 bits of seconds, NUL characters and lone surrogates.
#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

#include "plist/binary_format.h"
#include "plist/forms.h"
#include "plist/salvage.h"

namespace orvik::plist {
namespace {

using namespace binary_format;

// The most values for each byte of the file, with shared values counted at every place. More of
// them exist only in a file that was made for this purpose. Each costs memory when the list is
// changed.
constexpr std::uint64_t kMostValuesToAByte = 16;

std::uint64_t BigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

class BinaryReader {
 public:
  // With `losses`, skips damaged parts below the root.
  explicit BinaryReader(std::string_view bytes, Losses* losses = nullptr)
      : bytes_(bytes), losses_(losses) {}

  Value Read() {
    if (!ReadTrailer()) return {};
    slots_.resize(object_count_);
    if (losses_ != nullptr) {
      FindBounds();
      LoseDamagedKeys();
    }
    if (!ReadTree()) return {};
    if (losses_ != nullptr) LoseUnreached();
    return std::move(slots_[root_].value);
  }

  // Whether Read failed because the list is too large.
  bool is_too_large() const { return is_too_large_; }

 private:
  // The state of an object. It is not read yet; or it is being read, and a reference to it would
  // close a circle; or it is finished, and has the number of objects in its tree, their size
  // written out, and the depth of nested containers.
  struct Slot {
    Value value;
    std::uint64_t tree_size = 1;
    std::uint64_t written_out = SizeWrittenOut(0);
    std::uint16_t height = 0;
    bool is_open = false;
    bool is_lost = false;
  };

  // The parts of an object, after its marker byte.
  struct Body {
    std::uint8_t marker;
    std::uint8_t low;
    std::string_view content;
    std::uint64_t count;
    std::uint64_t size;  // in bytes, with the marker and the length
  };

  struct Container {
    std::uint64_t index;
    std::uint64_t next;
    Body body;
    Value value;
    Value key;  // a key without a value so far
  };

  // Numbers that contradict each other or the size of the file are refused before memory is
  // allocated for them.
  bool ReadTrailer() {
    if (bytes_.size() < kHeaderSize + kTrailerSize) return false;
    const std::string_view trailer = bytes_.substr(bytes_.size() - kTrailerSize);
    offset_size_ = static_cast<unsigned char>(trailer[kOffsetSizeField]);
    reference_size_ = static_cast<unsigned char>(trailer[kReferenceSizeField]);
    object_count_ = BigEndian(trailer.substr(kObjectCountField, 8));
    root_ = BigEndian(trailer.substr(kRootField, 8));
    table_offset_ = BigEndian(trailer.substr(kTableOffsetField, 8));
    const std::uint64_t table_limit = bytes_.size() - kTrailerSize;
    if (offset_size_ < 1 || offset_size_ > 8 || reference_size_ < 1 || reference_size_ > 8 ||
        table_offset_ < kHeaderSize || table_offset_ > table_limit || root_ >= object_count_ ||
        object_count_ > (table_limit - table_offset_) / offset_size_ ||
        object_count_ > table_offset_ - kHeaderSize) {
      return false;
    }
    unread_bytes_ = table_offset_ - kHeaderSize;
    return true;
  }

  // Reads each object once, however many references it has. A container stays on the stack until
  // its children are read.
  bool ReadTree() {
    if (!Visit(root_)) return false;
    while (!open_.empty()) {
      Container& container = open_.back();
      const bool is_dictionary = container.body.marker == kDictionary;
      if (container.next == container.body.count) {
        Finish();
        continue;
      }
      if (!ReadChild(container, is_dictionary)) return false;
    }
    return true;
  }

  // Adds the next child if it has been read; otherwise reads it or, if it is a container, opens it.
  bool ReadChild(Container& container, bool is_dictionary) {
    const std::uint64_t position = container.next + (is_dictionary ? container.body.count : 0);
    const std::uint64_t child = Reference(container.body, position);
    if (!IsRead(child)) {
      return Visit(child) || Lose(container, child, "a value that cannot be read");
    }
    if (open_.size() + slots_[child].height > kMaximumDepth) {
      return Lose(container, child, "a value nested too deep");
    }
    std::uint64_t key_size = 0;
    if (is_dictionary && !SetKey(container, Reference(container.body, container.next), key_size)) {
      return Lose(container, child, "a key that cannot be read");
    }
    if (!HasRoom(container, child, key_size)) {
      is_too_large_ = true;
      return Lose(container, child, "a value beyond the size limit");
    }
    AddChild(container, child);
    slots_[container.index].written_out += key_size;
    ++container.next;
    return true;
  }

  // Skips the next child and reports a loss; without `losses` returns false.
  bool Lose(Container& container, std::uint64_t child, const char* what) {
    if (losses_ == nullptr) return false;
    if (child < object_count_ && !IsRead(child) && !slots_[child].is_open) {
      slots_[child].is_lost = true;
    }
    container.key = {};
    const bool exists = child < object_count_;
    const std::uint64_t place = exists ? OffsetOf(child) : 0;
    losses_->Add([this] { return Path(); }, what, place,
                 exists && !IsRead(child) ? Room(place) : 0);
    ++container.next;
    return true;
  }

  std::string Path() {
    std::string path;
    for (const Container& container : open_) {
      if (!path.empty()) path += '/';
      if (container.body.marker == kArray) {
        path += std::to_string(container.next);
        continue;
      }
      const std::uint64_t key = Reference(container.body, container.next);
      if (key < object_count_ && (IsRead(key) || VisitKey(key)) && slots_[key].value.is_string()) {
        path += slots_[key].value.text().ToUtf8();
      }
    }
    return path;
  }

  std::uint64_t Reference(const Body& body, std::uint64_t position) const {
    return BigEndian(body.content.substr(position * reference_size_, reference_size_));
  }

  bool IsRead(std::uint64_t index) const {
    return index < object_count_ && static_cast<bool>(slots_[index].value);
  }

  // Reads a leaf, or opens a container.
  bool Visit(std::uint64_t index) {
    if (index >= object_count_ || slots_[index].is_open || slots_[index].is_lost) return false;
    Body body;
    if (!ReadBody(index, body)) return false;
    if (body.marker != kArray && body.marker != kDictionary) return ReadLeaf(body, slots_[index]);
    if (open_.size() == kMaximumDepth) return false;
    if (losses_ != nullptr && IsDoubtful(index, body)) return false;
    slots_[index].is_open = true;
    slots_[index].height = 1;
    const std::size_t capacity = body.count;
    open_.push_back({index, 0, body,
                     body.marker == kArray ? Value::Array() : Value::Dictionary(capacity),
                     Value()});
    return true;
  }

  void Finish() {
    Container& container = open_.back();
    Slot& slot = slots_[container.index];
    slot.is_open = false;
    slot.value = std::move(container.value);
    open_.pop_back();
  }

  bool SetKey(Container& container, std::uint64_t key, std::uint64_t& size) {
    if (key >= object_count_ || (!IsRead(key) && !VisitKey(key))) return false;
    size = slots_[key].written_out;
    if (!slots_[key].value.is_string()) return false;
    container.key = slots_[key].value;
    return true;
  }

  // A key must be a string, so reading it cannot open a container.
  bool VisitKey(std::uint64_t index) {
    Body body;
    if (!ReadBody(index, body) || (body.marker != kAsciiString && body.marker != kUnicodeString)) {
      return false;
    }
    return ReadLeaf(body, slots_[index]);
  }

  // Counts a child with each of its references, so that the limits apply to the list written out.
  bool HasRoom(const Container& container, std::uint64_t child, std::uint64_t key_size) const {
    const Slot& slot = slots_[container.index];
    return slot.tree_size + slots_[child].tree_size <= bytes_.size() * kMostValuesToAByte &&
           slot.written_out + slots_[child].written_out + key_size <= kMaximumFileSize;
  }

  void AddChild(Container& container, std::uint64_t child) {
    Slot& slot = slots_[container.index];
    slot.tree_size += slots_[child].tree_size;
    slot.written_out += slots_[child].written_out;
    slot.height = std::max<std::uint16_t>(slot.height, slots_[child].height + 1);
    if (container.key) {
      container.value.SetSharing(std::exchange(container.key, Value()), slots_[child].value);
    } else {
      container.value.Append(slots_[child].value);
    }
  }

  // Removes `count` bytes from the front of `rest`.
  static bool Take(std::string_view& rest, std::uint64_t count, std::string_view& taken) {
    if (count > rest.size()) return false;
    taken = rest.substr(0, count);
    rest.remove_prefix(count);
    return true;
  }

  std::uint64_t OffsetOf(std::uint64_t index) const {
    return BigEndian(bytes_.substr(table_offset_ + index * offset_size_, offset_size_));
  }

  // Sorts the offsets. Writers leave no gaps, and objects do not overlap. So an object that does
  // not end where the next one begins has a wrong length, and its content is doubtful.
  void FindBounds() {
    for (std::uint64_t i = 0; i < object_count_; ++i) bounds_.push_back(OffsetOf(i));
    bounds_.push_back(table_offset_);
    std::sort(bounds_.begin(), bounds_.end());
  }

  // A key that is not a string is damaged, also in the places where the same object is a value.
  void LoseDamagedKeys() {
    for (std::uint64_t i = 0; i < object_count_; ++i) {
      Body body = {};
      const std::uint64_t offset = OffsetOf(i);
      if (!ParseBody(offset, body) || body.marker != kDictionary ||
          !FitsBounds(offset, offset + body.size)) {
        continue;
      }
      for (std::uint64_t j = 0; j < body.count; ++j) {
        Body key = {};
        const std::uint64_t index = Reference(body, j);
        if (index >= object_count_ || !ParseBody(OffsetOf(index), key)) continue;
        slots_[index].is_lost |= key.marker < kAsciiString;
      }
    }
  }

  // The bytes from an offset to the next one.
  std::uint64_t Room(std::uint64_t offset) const {
    const auto next = std::upper_bound(bounds_.begin(), bounds_.end(), offset);
    return next == bounds_.end() ? 0 : *next - offset;
  }

  // Two objects cannot begin at the same byte, either. If the object before extends to the end of
  // this one, or to the end of another object, then the offset of this object is wrong, not the
  // length of the one before.
  bool FitsBounds(std::uint64_t begin, std::uint64_t end) const {
    const auto [first, next] = std::equal_range(bounds_.begin(), bounds_.end(), begin);
    if (next - first != 1 || next == bounds_.end() || *next != end) return false;
    const std::uint64_t before = first == bounds_.begin() ? kHeaderSize : EndAt(*(first - 1));
    return before == begin || (before != end && EndAt(before) != end);
  }

  // The end of the object that begins at the offset; 0 if no object begins there.
  std::uint64_t EndAt(std::uint64_t offset) const {
    Body body = {};
    return ParseBody(offset, body) ? offset + body.size : 0;
  }

  // Whether a container is probably another object with a damaged marker: several of its references
  // cannot be right.
  bool IsDoubtful(std::uint64_t index, const Body& body) const {
    const std::uint64_t count = body.content.size() / reference_size_;
    std::uint64_t impossible = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t child = Reference(body, i);
      impossible += child >= object_count_ || child == index || slots_[child].is_open ? 1 : 0;
    }
    return impossible > 1 && impossible * 4 > count;
  }

  // Reports the objects that only lost containers refer to.
  void LoseUnreached() {
    std::uint64_t bytes = 0;
    std::uint64_t first = table_offset_;
    for (std::uint64_t i = 0; i < object_count_; ++i) {
      const std::uint64_t offset = OffsetOf(i);
      if (IsRead(i) || slots_[i].is_lost || offset < kHeaderSize || offset >= table_offset_)
        continue;
      bytes += Room(offset);
      first = std::min(first, offset);
    }
    if (bytes > 0)
      losses_->Add([] { return std::string(); }, "values of lost containers", first, bytes);
  }

  bool ReadBody(std::uint64_t index, Body& body) {
    const std::uint64_t offset = OffsetOf(index);
    if (!ParseBody(offset, body)) return false;
    if (losses_ != nullptr && !FitsBounds(offset, offset + body.size)) return false;
    // Otherwise overlapping objects in a small file could take unlimited time.
    if (body.size > unread_bytes_) return false;
    unread_bytes_ -= body.size;
    return true;
  }

  bool ParseBody(std::uint64_t offset, Body& body) const {
    if (offset < kHeaderSize || offset >= table_offset_) return false;
    std::string_view rest = bytes_.substr(offset, table_offset_ - offset);
    const size_t available = rest.size();
    const auto marker = static_cast<std::uint8_t>(rest[0]);
    rest.remove_prefix(1);
    body.marker = marker >> 4;
    body.low = marker & 0xF;
    body.count = body.low;
    std::uint64_t unit = 1;
    switch (body.marker) {
      case kSimple:
        body.count = 0;
        break;
      case kInteger:
      case kReal:
      case kDate:
        if (body.low > 4) return false;
        body.count = std::uint64_t{1} << body.low;
        break;
      case kUniqueIdentifier:
        body.count = body.low + 1u;
        break;
      default:
        if (body.low == kLengthFollows && !ReadLength(rest, body.count)) return false;
        if (body.marker == kUnicodeString) unit = 2;
        if (body.marker == kArray) unit = reference_size_;
        if (body.marker == kDictionary) unit = std::uint64_t{2} * reference_size_;
    }
    if (body.count > rest.size() / unit || !Take(rest, body.count * unit, body.content)) {
      return false;
    }
    body.size = available - rest.size();
    return true;
  }

  static bool ReadLength(std::string_view& rest, std::uint64_t& length) {
    std::string_view marker, digits;
    if (!Take(rest, 1, marker)) return false;
    const auto byte = static_cast<std::uint8_t>(marker[0]);
    if (byte >> 4 != kInteger || (byte & 0xF) > 3) return false;
    if (!Take(rest, std::uint64_t{1} << (byte & 0xF), digits)) return false;
    length = BigEndian(digits);
    return true;
  }

  static bool ReadLeaf(const Body& body, Slot& slot) {
    slot.value = Leaf(body);
    const bool has_content =
        body.marker == kData || body.marker == kAsciiString || body.marker == kUnicodeString;
    slot.written_out = SizeWrittenOut(has_content ? body.count : 0);
    return static_cast<bool>(slot.value);
  }

  // No value when the body is invalid.
  static Value Leaf(const Body& body) {
    switch (body.marker) {
      case kSimple:
        return body.low == kFalse || body.low == kTrue ? Value(body.low == kTrue) : Value();
      case kInteger: {
        Integer value;
        return ParseInteger(body.content, value) ? Value(value) : Value();
      }
      case kReal:
        if (body.count != 4 && body.count != 8) return {};
        return {Real(body.content), static_cast<int>(body.count)};
      case kDate:
        return body.count == 8 ? Value::Date(Real(body.content)) : Value();
      case kData:
        return Value::Data(std::string(body.content));
      case kAsciiString:
        // Bytes above 0x7F are not allowed here; they are read as ISO 8859-1.
        return Value::String(Text::Latin1(body.content));
      case kUnicodeString:
        return UnicodeText(body.content);
      case kUniqueIdentifier: {
        Integer number;
        if (!ParseUnsigned(body.content, number)) return {};
        Value identifier = Value::Dictionary();
        identifier.Set(Text::Ascii(kUniqueIdentifierKey), number);
        return identifier;
      }
      default:
        return {};
    }
  }

  static bool ParseUnsigned(std::string_view bytes, Integer& value) {
    const size_t leading = bytes.size() > 8 ? bytes.size() - 8 : 0;
    for (const char byte : bytes.substr(0, leading)) {
      if (byte != 0) return false;
    }
    value.bits = BigEndian(bytes.substr(leading));
    value.is_unsigned = static_cast<std::int64_t>(value.bits) < 0;
    return true;
  }

  // Integers of up to four bytes are unsigned; those of eight and sixteen bytes are signed.
  static bool ParseInteger(std::string_view bytes, Integer& value) {
    if (bytes.size() == 16 && static_cast<signed char>(bytes[0]) < 0) {
      value = {BigEndian(bytes.substr(8)), false};
      return BigEndian(bytes.substr(0, 8)) == ~std::uint64_t{0} &&
             static_cast<std::int64_t>(value.bits) < 0;
    }
    if (!ParseUnsigned(bytes, value)) return false;
    if (bytes.size() == 8) value.is_unsigned = false;
    return true;
  }

  static double Real(std::string_view bytes) {
    const std::uint64_t bits = BigEndian(bytes);
    return bytes.size() == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                             : std::bit_cast<double>(bits);
  }

  static std::u16string UnicodeText(std::string_view bytes) {
    std::u16string text(bytes.size() / 2, u'\0');
    for (size_t i = 0; i < text.size(); ++i) {
      text[i] = static_cast<char16_t>(BigEndian(bytes.substr(2 * i, 2)));
    }
    return text;
  }

  std::string_view bytes_;
  Losses* losses_;
  std::uint64_t offset_size_ = 0;
  std::uint64_t reference_size_ = 0;
  std::uint64_t object_count_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t table_offset_ = 0;
  std::uint64_t unread_bytes_ = 0;
  bool is_too_large_ = false;
  std::vector<std::uint64_t> bounds_;
  std::vector<Slot> slots_;
  std::vector<Container> open_;
};

}  // namespace

Reading ReadBinary(std::string_view bytes) {
  Reading reading;
  BinaryReader reader(bytes);
  reading.root = reader.Read();
  reading.is_too_large = reader.is_too_large();
  if (reading.root) {
    reading.format = Format::kBinary;
  } else {
    reading.error =
        reading.is_too_large ? kTooLarge : std::string_view("The binary property list is damaged");
  }
  return reading;
}

Value SalvageBinary(std::string_view bytes, Losses& losses) {
  return BinaryReader(bytes, &losses).Read();
}

}  // namespace orvik::plist
