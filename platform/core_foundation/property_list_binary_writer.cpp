#include <algorithm>
#include <bit>
#include <unordered_map>

#include "platform/core_foundation/property_list_binary.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_walk.h"

namespace orvik {
namespace {

using namespace binary_property_list;

struct HashString {
  size_t operator()(const NSString* string) const { return string->hash(); }
};
struct EqualStrings {
  bool operator()(const NSString* a, const NSString* b) const { return CFEqual(a, b); }
};

// Numbers the objects in the order of the walk, equal strings only once, then writes them out.
class BinaryWriter : public PropertyListWalk::Visitor {
 public:
  bool Leaf(const NSObject* object, PropertyListKind kind) override {
    Refer(kind == PropertyListKind::kString ? IndexOfString(static_cast<const NSString*>(object))
                                            : NewObject(object, kind));
    return true;
  }

  bool Begin(const NSObject* container, PropertyListKind kind, size_t) override {
    const size_t index = NewObject(container, kind);
    Refer(index);
    objects_[index].children = containers_.size();
    open_.push_back(containers_.size());
    containers_.emplace_back();
    return true;
  }

  bool Key(const NSString* key) override {
    containers_[open_.back()].keys.push_back(IndexOfString(key));
    return true;
  }

  bool End(PropertyListKind) override {
    open_.pop_back();
    return true;
  }

  std::string Write() {
    reference_size_ = SizeOf(objects_.size());
    bytes_ = std::string(kMagic) + '0';
    std::vector<std::uint64_t> offsets;
    for (const Object& object : objects_) {
      offsets.push_back(bytes_.size());
      AppendObject(object);
    }
    const std::uint64_t table_offset = bytes_.size();
    const size_t offset_size = SizeOf(table_offset);
    for (const std::uint64_t offset : offsets) AppendNumber(offset, offset_size);
    AppendNumber(0, kOffsetSizeField);
    AppendNumber(offset_size, 1);
    AppendNumber(reference_size_, 1);
    AppendNumber(objects_.size(), 8);
    AppendNumber(0, 8);
    AppendNumber(table_offset, 8);
    return std::move(bytes_);
  }

 private:
  struct Object {
    const NSObject* object;
    PropertyListKind kind;
    size_t children;  // index into containers_
  };

  struct Container {
    std::vector<size_t> keys;
    std::vector<size_t> values;
  };

  size_t NewObject(const NSObject* object, PropertyListKind kind) {
    objects_.push_back({object, kind, 0});
    return objects_.size() - 1;
  }

  size_t IndexOfString(const NSString* string) {
    const auto [place, is_new] = strings_.try_emplace(string, objects_.size());
    return is_new ? NewObject(string, PropertyListKind::kString) : place->second;
  }

  void Refer(size_t index) {
    if (!open_.empty()) containers_[open_.back()].values.push_back(index);
  }

  static size_t SizeOf(std::uint64_t number) {
    size_t size = 1;
    while (size < 8 && number >> (8 * size) != 0) size *= 2;
    return size;
  }

  void AppendNumber(std::uint64_t number, size_t size) {
    for (size_t i = size; i-- > 0;) {
      bytes_ += i < 8 ? static_cast<char>(number >> (8 * i)) : '\0';
    }
  }

  void AppendMarker(Marker marker, size_t low) {
    bytes_ += static_cast<char>(static_cast<size_t>(marker) << 4 | low);
  }

  void AppendMarkerAndLength(Marker marker, size_t length) {
    AppendMarker(marker, std::min<size_t>(length, kLengthFollows));
    if (length >= kLengthFollows) AppendSized(length, SizeOf(length));
  }

  void AppendSized(std::uint64_t number, size_t size) {
    AppendMarker(kInteger, static_cast<size_t>(std::countr_zero(size)));
    AppendNumber(number, size);
  }

  void AppendReal(Marker marker, double value, size_t width) {
    AppendMarker(marker, static_cast<size_t>(std::countr_zero(width)));
    AppendNumber(width == 4 ? std::bit_cast<std::uint32_t>(static_cast<float>(value))
                            : std::bit_cast<std::uint64_t>(value),
                 width);
  }

  void AppendObject(const Object& object) {
    switch (object.kind) {
      case PropertyListKind::kString:
        AppendString(static_cast<CFStringRef>(object.object));
        break;
      case PropertyListKind::kNumber:
        AppendNumberObject(static_cast<CFNumberRef>(object.object));
        break;
      case PropertyListKind::kBoolean:
        bytes_ += static_cast<char>(
            CFBooleanGetValue(static_cast<CFBooleanRef>(object.object)) ? kTrue : kFalse);
        break;
      case PropertyListKind::kDate:
        AppendReal(kDate, CFDateGetAbsoluteTime(static_cast<CFDateRef>(object.object)), 8);
        break;
      case PropertyListKind::kData: {
        const std::string_view bytes = static_cast<CFDataRef>(object.object)->View();
        AppendMarkerAndLength(kData, bytes.size());
        bytes_ += bytes;
        break;
      }
      case PropertyListKind::kArray:
      case PropertyListKind::kDictionary:
        AppendContainer(object.kind, containers_[object.children]);
        break;
      case PropertyListKind::kNone:
        break;
    }
  }

  void AppendContainer(PropertyListKind kind, const Container& container) {
    if (kind == PropertyListKind::kDictionary && AppendUniqueIdentifier(container)) return;
    AppendMarkerAndLength(kind == PropertyListKind::kArray ? kArray : kDictionary,
                          container.values.size());
    for (const size_t key : container.keys) AppendNumber(key, reference_size_);
    for (const size_t value : container.values) AppendNumber(value, reference_size_);
  }

  bool AppendUniqueIdentifier(const Container& container) {
    if (container.keys.size() != 1) return false;
    const auto key = static_cast<CFStringRef>(objects_[container.keys[0]].object);
    if (!key->isAscii() || key->latin1() != kUniqueIdentifierKey) return false;
    const Object& value = objects_[container.values[0]];
    if (value.kind != PropertyListKind::kNumber) return false;
    const auto number = static_cast<CFNumberRef>(value.object);
    if (number->isReal()) return false;
    const PropertyListInteger integer = IntegerOf(*number);
    if (integer.bits > UINT32_MAX) return false;
    const size_t size = SizeOf(integer.bits);
    AppendMarker(kUniqueIdentifier, size - 1);
    AppendNumber(integer.bits, size);
    return true;
  }

  void AppendString(CFStringRef string) {
    if (string->isAscii()) {
      AppendMarkerAndLength(kAsciiString, string->latin1().size());
      bytes_ += string->latin1();
      return;
    }
    const std::u16string units = string->ToUnits();
    AppendMarkerAndLength(kUnicodeString, units.size());
    for (const char16_t unit : units) AppendNumber(unit, 2);
  }

  void AppendNumberObject(CFNumberRef number) {
    if (number->isReal()) {
      AppendReal(kReal, number->doubleValue(), static_cast<size_t>(number->width()));
      return;
    }
    const PropertyListInteger integer = IntegerOf(*number);
    if (integer.is_unsigned) {
      AppendMarker(kInteger, 4);
      AppendNumber(0, 8);
      AppendNumber(integer.bits, 8);
    } else {
      AppendSized(integer.bits, SizeOf(integer.bits));
    }
  }

  std::string bytes_;
  size_t reference_size_ = 1;
  std::vector<Object> objects_;
  std::vector<Container> containers_;
  std::vector<size_t> open_;
  std::unordered_map<const NSString*, size_t, HashString, EqualStrings> strings_;
};

}  // namespace

std::optional<std::string> WriteBinaryPropertyList(const NSObject* property_list) {
  BinaryWriter writer;
  if (!PropertyListWalk::Run(property_list, PropertyListOrder::kStored, writer)) {
    return std::nullopt;
  }
  return writer.Write();
}

}  // namespace orvik
