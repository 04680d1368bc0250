#include "platform/core_foundation/collections.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/core_foundation/container_support.h"
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

NSArray* NSArray::Create(bool is_mutable, std::size_t capacity) {
  auto* array = new NSArray(is_mutable);
  array->objects_.reserve(capacity);
  return array;
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
  return const_cast<NSObject*>(objects_[static_cast<std::size_t>(index)]);
}

NSEnumerator* NSArray::objectEnumerator() const {
  return Autoreleased(new NSEnumerator(objects_));
}

void NSArray::addObject(const NSObject* object) {
  if (is_mutable_ && object != nullptr) AppendOwned(Retained(object));
}

CFTypeID NSArray::typeID() const {
  return CFArrayGetTypeID();
}

bool NSArray::isEqual(const NSObject* other) const {
  return AreEqualTrees(this, other);
}

CFHashCode NSArray::hash() const {
  return objects_.size();
}

NSObject* NSArray::copy() const {
  return is_mutable_ ? CopyElements(false) : const_cast<NSArray*>(Retained(this));
}

NSObject* NSArray::mutableCopy() const {
  return CopyElements(true);
}

NSArray* NSArray::CopyElements(bool is_mutable) const {
  NSArray* copy = Create(is_mutable, objects_.size());
  for (const NSObject* object : objects_) copy->AppendOwned(Retained(object));
  return copy;
}

const NSString* NSArray::description() const {
  std::u16string text = u"(\n";
  for (const NSObject* object : objects_) {
    text += u"    ";
    AppendDescription(text, object);
    text += u",\n";
  }
  text += u")";
  return NSString::stringWithCharacters(text);
}

const CFArrayCallBacks kCFTypeArrayCallBacks = {};

CFTypeID CFArrayGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callbacks) {
  return callbacks == &kCFTypeArrayCallBacks ? NSArray::Create() : nullptr;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return array->count();
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  return array->objectAtIndex(index);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
  array->addObject(ObjectOf(value));
}

}  // namespace orvik
