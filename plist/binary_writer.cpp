#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "plist/binary_format.h"
#include "plist/entry_index.h"
#include "plist/events.h"
#include "plist/forms.h"

namespace orvik::plist {
namespace {

using namespace binary_format;

std::size_t SizeOf(std::uint64_t number) {
  std::size_t size = 1;
  while (size < 8 && number >> (8 * size) != 0) size *= 2;
  return size;
}

void AppendNumber(std::string& bytes, std::uint64_t number, std::size_t size) {
  for (std::size_t i = size; i-- > 0;) bytes += static_cast<char>(number >> (8 * i));
}

void AppendMarker(std::string& bytes, Marker marker, std::size_t low) {
  bytes += static_cast<char>(static_cast<std::size_t>(marker) << 4 | low);
}

void AppendInteger(std::string& bytes, std::uint64_t number, std::size_t size) {
  AppendMarker(bytes, kInteger, static_cast<std::size_t>(std::countr_zero(size)));
  AppendNumber(bytes, number, size);
}

void AppendMarkerAndLength(std::string& bytes, Marker marker, std::size_t length) {
  AppendMarker(bytes, marker, std::min<std::size_t>(length, kLengthFollows));
  if (length >= kLengthFollows) AppendInteger(bytes, length, SizeOf(length));
}

// Numbers the objects in their order, equal strings only once. The bytes of simple values are made
// at once. Those of containers are made at the end, because the number of all objects decides the
// size of a reference.
class BinaryWriter final : public Sink {
 public:
  explicit BinaryWriter(std::size_t limit) : limit_(limit) {}

  bool String(const Text& text, const Value*) override {
    Refer(IndexOfString(text));
    return Count(text.size());
  }

  bool Integer(plist::Integer value) override {
    last_integer_ = {objects_.size(), value};
    std::string& bytes = NewValue();
    if (value.is_unsigned) {
      AppendMarker(bytes, kInteger, 4);
      AppendNumber(bytes, 0, 8);
      AppendNumber(bytes, value.bits, 8);
    } else {
      AppendInteger(bytes, value.bits, SizeOf(value.bits));
    }
    return EndNumber();
  }

  bool Real(double value, int width) override {
    std::string& bytes = NewValue();
    const auto size = static_cast<std::size_t>(width);
    AppendMarker(bytes, kReal, static_cast<std::size_t>(std::countr_zero(size)));
    AppendNumber(bytes,
                 width == 4 ? std::bit_cast<std::uint32_t>(static_cast<float>(value))
                            : std::bit_cast<std::uint64_t>(value),
                 size);
    return EndNumber();
  }

  bool Boolean(bool value) override {
    NewValue() += static_cast<char>(value ? kTrue : kFalse);
    return EndNumber();
  }

  bool Date(double seconds) override {
    std::string& bytes = NewValue();
    AppendMarker(bytes, kDate, 3);
    AppendNumber(bytes, std::bit_cast<std::uint64_t>(seconds), 8);
    return EndNumber();
  }

  bool Data(std::string_view bytes, const Bytes&) override {
    AppendMarkerAndLength(NewValue(), kData, bytes.size());
    values_ += bytes;
    EndValue();
    return Count(bytes.size());
  }

  bool OpenArray(std::size_t) override { return Open(kArray); }
  bool OpenDictionary(std::size_t) override { return Open(kDictionary); }

  bool Key(const Text& key, const Value*) override {
    containers_[open_.back()].keys.push_back(IndexOfString(key));
    return Count(key.size());
  }

  bool Close() override {
    MakeUniqueIdentifier(containers_[open_.back()]);
    open_.pop_back();
    return true;
  }

  // Whether a reader would accept the objects written so far.
  bool HasRoom() const { return written_out_ <= limit_; }

  // Nothing when the result would exceed the limit.
  std::optional<std::string> Write() {
    const std::size_t reference_size = SizeOf(objects_.size());
    std::string bytes = std::string(kMagic) + '0';
    std::vector<std::uint64_t> offsets;
    for (const Object& object : objects_) {
      offsets.push_back(bytes.size());
      if (object.container == kNoContainer) {
        bytes.append(values_, object.begin, object.end - object.begin);
        continue;
      }
      const Container& container = containers_[object.container];
      AppendMarkerAndLength(bytes, container.marker, container.values.size());
      for (const std::size_t key : container.keys) AppendNumber(bytes, key, reference_size);
      for (const std::size_t value : container.values) AppendNumber(bytes, value, reference_size);
    }
    const std::uint64_t table_offset = bytes.size();
    const std::size_t offset_size = SizeOf(table_offset);
    if (table_offset + offset_size * offsets.size() + kTrailerSize > limit_) return std::nullopt;
    for (const std::uint64_t offset : offsets) AppendNumber(bytes, offset, offset_size);
    AppendNumber(bytes, 0, kOffsetSizeField);
    AppendNumber(bytes, offset_size, 1);
    AppendNumber(bytes, reference_size, 1);
    AppendNumber(bytes, objects_.size(), 8);
    AppendNumber(bytes, 0, 8);
    AppendNumber(bytes, table_offset, 8);
    return bytes;
  }

 private:
  static constexpr std::size_t kNoContainer = static_cast<std::size_t>(-1);

  // Either the bytes of values_ from `begin` to `end`, or a container.
  struct Object {
    std::size_t begin;
    std::size_t end;
    std::size_t container;
  };

  struct Container {
    std::size_t object;
    Marker marker;
    std::vector<std::size_t> keys;
    std::vector<std::size_t> values;
  };

  void Refer(std::size_t index) {
    if (open_.empty()) return;
    containers_[open_.back()].values.push_back(index);
  }

  // The caller appends the bytes of a value to the result, and then calls EndValue.
  std::string& NewValue() {
    Refer(objects_.size());
    objects_.push_back({values_.size(), 0, kNoContainer});
    return values_;
  }

  void EndValue() { objects_.back().end = values_.size(); }

  bool EndNumber() {
    EndValue();
    return Count(0);
  }

  // Counts a value or key with `content` units or bytes of content.
  bool Count(std::size_t content) {
    written_out_ += SizeWrittenOut(content);
    return HasRoom();
  }

  bool Open(Marker marker) {
    Refer(objects_.size());
    open_.push_back(containers_.size());
    containers_.push_back({objects_.size(), marker, {}, {}});
    objects_.push_back({0, 0, open_.back()});
    return Count(0);
  }

  // The object of a string; makes it for the first equal string.
  std::size_t IndexOfString(const Text& text) {
    // Equal texts must have equal bytes, so each text is encoded in one way only.
    encoded_.clear();
    if (text.is_ascii()) {
      AppendMarkerAndLength(encoded_, kAsciiString, text.size());
      encoded_ += text.bytes();
    } else {
      AppendMarkerAndLength(encoded_, kUnicodeString, text.size());
      for (std::size_t i = 0; i < text.size(); ++i) AppendNumber(encoded_, text[i], 2);
    }
    const std::uint32_t hash = text.Hash();
    const std::size_t found = string_index_.Find(strings_.size(), hash, [&](std::size_t at) {
      return values_.compare(objects_[strings_[at].object].begin, encoded_.size(), encoded_) == 0;
    });
    if (found != EntryIndex::kNowhere) return strings_[found].object;
    if (strings_.size() >= string_index_.room()) {
      string_index_.Rebuild(2 * strings_.size());
      for (std::size_t i = 0; i < strings_.size(); ++i) string_index_.Place(i, strings_[i].hash);
    }
    strings_.push_back({objects_.size(), hash});
    string_index_.Place(strings_.size() - 1, hash);
    objects_.push_back({values_.size(), values_.size() + encoded_.size(), kNoContainer});
    values_ += encoded_;
    return objects_.size() - 1;
  }

  // In memory, a unique identifier is the dictionary { "CF$UID" = number }.
  void MakeUniqueIdentifier(const Container& container) {
    if (container.keys.size() != 1 || container.values[0] != last_integer_.object ||
        last_integer_.value.bits > UINT32_MAX) {
      return;
    }
    std::string key;
    AppendMarkerAndLength(key, kAsciiString, kUniqueIdentifierKey.size());
    key += kUniqueIdentifierKey;
    const Object& key_object = objects_[container.keys[0]];
    if (values_.compare(key_object.begin, key_object.end - key_object.begin, key) != 0) return;
    Object& object = objects_[container.object];
    const std::size_t size = SizeOf(last_integer_.value.bits);
    object = {values_.size(), 0, kNoContainer};
    AppendMarker(values_, kUniqueIdentifier, size - 1);
    AppendNumber(values_, last_integer_.value.bits, size);
    object.end = values_.size();
  }

  struct {
    std::size_t object = kNoContainer;
    plist::Integer value;
  } last_integer_;
  std::size_t limit_;
  std::uint64_t written_out_ = 0;
  std::string values_;
  std::vector<Object> objects_;
  std::vector<Container> containers_;
  std::vector<std::size_t> open_;
  struct KnownString {
    std::size_t object;
    std::uint32_t hash;
  };
  std::vector<KnownString> strings_;
  EntryIndex string_index_;
  std::string encoded_;
};

}  // namespace

std::optional<std::string> WriteBinary(const Value& value, Failure* failure, std::size_t limit) {
  BinaryWriter writer(limit);
  ValueWalk walk(EntryOrder::kStored, writer);
  const bool is_complete = walk.Run(&value);
  std::optional<std::string> bytes = is_complete ? writer.Write() : std::nullopt;
  if (!bytes && failure != nullptr) *failure = {is_complete || !writer.HasRoom(), walk.Path()};
  return bytes;
}

}  // namespace orvik::plist
