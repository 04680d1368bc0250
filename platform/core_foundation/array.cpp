#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/string.h"

namespace orvik {

NSEnumerator::NSEnumerator(std::vector<const NSObject*> objects) : objects_(std::move(objects)) {
  for (const NSObject* object : objects_) object->retain();
}

NSEnumerator::~NSEnumerator() {
  const ElementRelease release;
  for (const NSObject* object : objects_) release(object);
}

NSObject* NSEnumerator::nextObject() {
  return next_ < objects_.size() ? const_cast<NSObject*>(objects_[next_++]) : nullptr;
}

NSArray* NSArray::Create() {
  return new NSArray(kCFPropertyListMutableContainers);
}

NSArray* NSArray::Create(plist::Value content, CFOptionFlags options) {
  return new NSArray(std::move(content), options);
}

void NSArray::MakeObjects(const plist::Value& content, CFOptionFlags options) {
  std::vector<Owned<const NSObject>> made;
  made.reserve(content.elements().size());
  for (const plist::Value& element : content.elements()) {
    if (const auto* object = ObjectOf(CreateObject(element, options))) made.emplace_back(object);
  }
  objects_.reserve(made.size());
  for (Owned<const NSObject>& object : made) objects_.push_back(object.release());
}

NSArray* NSArray::arrayWithCapacity(CFIndex) {
  return Autoreleased(Create());
}

NSArray::~NSArray() {
  const ElementRelease release;
  for (const NSObject* object : objects_) release(object);
}

NSObject* NSArray::objectAtIndex(CFIndex index) const {
  if (index < 0 || index >= count()) return nullptr;
  return const_cast<NSObject*>(Objects()[static_cast<std::size_t>(index)]);
}

NSEnumerator* NSArray::objectEnumerator() const {
  return Autoreleased(new NSEnumerator(Objects()));
}

void NSArray::addObject(const NSObject* object) {
  if (!isMutable() || object == nullptr) return;
  Load();
  objects_.push_back(object);
  object->retain();
}

CFTypeID NSArray::typeID() const {
  return CFArrayGetTypeID();
}

CFHashCode NSArray::hash() const {
  return Objects().size();
}

NSObject* NSArray::CopyObjects(CFOptionFlags options) const {
  auto* copy = new NSArray(options);
  copy->objects_ = Objects();
  for (const NSObject* object : copy->objects_) object->retain();
  return copy;
}

const NSString* NSArray::description() const {
  std::u16string text = u"(\n";
  for (const NSObject* object : Objects()) {
    text += u"    ";
    AppendDescription(text, object);
    text += u",\n";
  }
  text += u")";
  return NSString::stringWithCharacters(text);
}

CFTypeID CFArrayGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

}  // namespace orvik
