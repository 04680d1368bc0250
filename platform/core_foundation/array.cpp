#include "platform/core_foundation/array.h"

namespace orvik {

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
