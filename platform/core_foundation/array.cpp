#include "platform/core_foundation/array.h"

namespace orvik {

const CFArrayCallBacks kCFTypeArrayCallBacks = {};

CFTypeID CFArrayGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callbacks) {
  if (callbacks != &kCFTypeArrayCallBacks) return nullptr;
  NSArray* array = NSArray::Create(false, static_cast<std::size_t>(count));
  for (CFIndex i = 0; i < count; ++i) {
    if (values[i] != nullptr) array->AppendOwned(ObjectOf(CFRetain(values[i])));
  }
  return array;
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef array) {
  return static_cast<CFArrayRef>(array->copy());
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callbacks) {
  return callbacks == &kCFTypeArrayCallBacks ? NSArray::Create() : nullptr;
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex, CFArrayRef array) {
  return static_cast<CFMutableArrayRef>(array->mutableCopy());
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

void CFArrayInsertValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value) {
  array->insertObject(ObjectOf(value), index);
}

void CFArraySetValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value) {
  if (index == array->count()) {
    array->addObject(ObjectOf(value));
  } else {
    array->replaceObjectAtIndex(index, ObjectOf(value));
  }
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef array, CFIndex index) {
  array->removeObjectAtIndex(index);
}

void CFArrayRemoveAllValues(CFMutableArrayRef array) {
  array->removeAllObjects();
}

}  // namespace orvik
