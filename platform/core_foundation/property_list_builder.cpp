#include "platform/core_foundation/property_list_builder.h"

#include <utility>

namespace orvik {

PropertyListBuilder::PropertyListBuilder(CFOptionFlags mutability_option)
    : mutable_containers_(mutability_option != kCFPropertyListImmutable),
      mutable_leaves_(mutability_option == kCFPropertyListMutableContainersAndLeaves) {}

bool PropertyListBuilder::Add(OwnedObject object) {
  if (object == nullptr) return false;
  if (open_.empty()) {
    if (root_ != nullptr) return false;
    root_ = std::move(object);
    return true;
  }
  Container& container = open_.back();
  if (container.array != nullptr) {
    container.array->AppendOwned(object.release());
    return true;
  }
  if (container.key == nullptr) return false;
  container.dictionary->SetOwned(container.key.release(), object.release());
  return true;
}

bool PropertyListBuilder::AddDeferred(std::shared_ptr<const DeferredPropertyList> content) {
  return Add(OwnedObject(NSDictionary::CreateDeferred(mutable_containers_, std::move(content))));
}

bool PropertyListBuilder::Open(NSArray* array, NSDictionary* dictionary) {
  const NSObject* container = array;
  if (array == nullptr) container = dictionary;
  OwnedObject owned(container);
  if (open_.size() == kPropertyListMaximumDepth || !Add(std::move(owned))) return false;
  open_.push_back({array, dictionary, nullptr});
  return true;
}

bool PropertyListBuilder::OpenArray(size_t capacity) {
  return Open(NSArray::Create(mutable_containers_, capacity), nullptr);
}

bool PropertyListBuilder::OpenDictionary(size_t capacity) {
  return Open(nullptr, NSDictionary::Create(mutable_containers_, capacity));
}

bool PropertyListBuilder::AddAscii(std::string_view text) {
  OwnedObject string(NSString::NewFromAscii(text));
  if (mutable_leaves_ && string != nullptr) string.reset(string->mutableCopy());
  return Add(std::move(string));
}

bool PropertyListBuilder::AddString(std::u16string_view text) {
  return Add(
      OwnedObject(mutable_leaves_ ? NSString::NewMutable(text) : NSString::NewFromUnits(text)));
}

bool PropertyListBuilder::AddInteger(PropertyListInteger value) {
  return Add(OwnedObject(value.is_unsigned
                             ? NSNumber::CreateUnsigned(value.bits)
                             : NSNumber::Create(static_cast<std::int64_t>(value.bits))));
}

bool PropertyListBuilder::AddReal(double value, int width) {
  return Add(OwnedObject(NSNumber::CreateReal(value, width)));
}

bool PropertyListBuilder::AddBoolean(bool value) {
  return Add(OwnedObject(NSNumber::CreateBoolean(value)));
}

bool PropertyListBuilder::AddDate(double seconds) {
  return Add(OwnedObject(NSDate::Create(seconds)));
}

bool PropertyListBuilder::AddData(std::string_view bytes) {
  return Add(OwnedObject(NSData::Create(std::string(bytes))));
}

bool PropertyListBuilder::SetAsciiKey(std::string_view text) {
  return SetKeyObject(OwnedObject(NSString::NewFromAscii(text)));
}

bool PropertyListBuilder::SetKey(std::u16string_view text) {
  return SetKeyObject(OwnedObject(NSString::NewFromUnits(text)));
}

bool PropertyListBuilder::SetKeyObject(OwnedObject key) {
  if (!in_dictionary() || open_.back().key != nullptr || key == nullptr ||
      key->typeID() != CFStringGetTypeID()) {
    return false;
  }
  open_.back().key = std::move(key);
  return true;
}

bool PropertyListBuilder::Close() {
  if (open_.empty() || open_.back().key != nullptr) return false;
  open_.pop_back();
  return true;
}

OwnedObject PropertyListBuilder::Take() {
  return open_.empty() ? std::move(root_) : nullptr;
}

}  // namespace orvik
