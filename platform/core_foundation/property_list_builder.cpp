#include "platform/core_foundation/property_list_builder.h"

#include <memory>
#include <utility>

#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list_xml.h"

namespace orvik {
namespace {

OwnedObject NewString(const PropertyListText& text) {
  if (text.object != nullptr) return OwnedObject(text.object->copy());
  return OwnedObject(text.is_wide ? NSString::NewFromUnits(text.units)
                                  : NSString::NewFromAscii(text.ascii));
}

}  // namespace

PropertyListBuilder::PropertyListBuilder(CFOptionFlags mutability_option)
    : mutability_option_(mutability_option) {}

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

bool PropertyListBuilder::Open(NSArray* array, NSDictionary* dictionary) {
  const NSObject* container = array;
  if (array == nullptr) container = dictionary;
  OwnedObject owned(container);
  if (open_.size() == kPropertyListMaximumDepth || !Add(std::move(owned))) return false;
  open_.push_back({array, dictionary, nullptr});
  return true;
}

bool PropertyListBuilder::OpenArray(std::size_t count) {
  return Open(NSArray::Create(mutability_option_ != kCFPropertyListImmutable, count), nullptr);
}

bool PropertyListBuilder::OpenDictionary(std::size_t count) {
  return Open(nullptr, NSDictionary::Create(mutability_option_ != kCFPropertyListImmutable, count));
}

PropertyListTaking PropertyListBuilder::Dictionary(const XmlDictionary& dictionary) {
  if (static_cast<std::size_t>(dictionary.depth()) < open_.size()) {
    return PropertyListTaking::kWantsEntries;
  }
  const bool added = Add(OwnedObject(NSDictionary::CreateDeferred(
      mutability_option_ != kCFPropertyListImmutable,
      std::make_shared<XmlDictionaryContent>(dictionary, mutability_option_))));
  return added ? PropertyListTaking::kTaken : PropertyListTaking::kFailed;
}

bool PropertyListBuilder::String(const PropertyListText& text) {
  OwnedObject string = NewString(text);
  if (mutability_option_ == kCFPropertyListMutableContainersAndLeaves && string != nullptr) {
    string.reset(string->mutableCopy());
  }
  return Add(std::move(string));
}

bool PropertyListBuilder::Integer(PropertyListInteger value) {
  return Add(OwnedObject(value.is_unsigned
                             ? NSNumber::CreateUnsigned(value.bits)
                             : NSNumber::Create(static_cast<std::int64_t>(value.bits))));
}

bool PropertyListBuilder::Real(double value, int width) {
  return Add(OwnedObject(NSNumber::CreateReal(value, width)));
}

bool PropertyListBuilder::Boolean(bool value) {
  return Add(OwnedObject(NSNumber::CreateBoolean(value)));
}

bool PropertyListBuilder::Date(double seconds) {
  return Add(OwnedObject(NSDate::Create(seconds)));
}

bool PropertyListBuilder::Data(std::string_view bytes, const NSData* object) {
  return Add(OwnedObject(object != nullptr ? object->copy() : NSData::Create(std::string(bytes))));
}

bool PropertyListBuilder::Key(const PropertyListText& key) {
  return SetKey(NewString(key));
}

bool PropertyListBuilder::SetKey(OwnedObject key) {
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
