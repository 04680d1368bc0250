#include "platform/core_foundation/dictionary.h"

namespace orvik {

namespace {

bool AreObjectCallBacks(const CFDictionaryKeyCallBacks* keys,
                        const CFDictionaryValueCallBacks* values) {
  return keys == &kCFTypeDictionaryKeyCallBacks && values == &kCFTypeDictionaryValueCallBacks;
}

}  // namespace

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {};

CFTypeID CFDictionaryGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(
    CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks* key_callbacks,
    const CFDictionaryValueCallBacks* value_callbacks) {
  return AreObjectCallBacks(key_callbacks, value_callbacks) ? NSDictionary::Create() : nullptr;
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex,
                                                     CFDictionaryRef dictionary) {
  return static_cast<CFMutableDictionaryRef>(dictionary->mutableCopy());
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  return dictionary->count();
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  return dictionary->objectForKey(ObjectOf(key));
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values) {
  for (const NSDictionary::Entry& entry : dictionary->Entries()) {
    if (entry.key == nullptr) continue;
    if (keys != nullptr) *keys++ = entry.key;
    if (values != nullptr) *values++ = entry.value;
  }
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  dictionary->setObject(ObjectOf(value), ObjectOf(key));
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
  dictionary->removeObjectForKey(ObjectOf(key));
}

}  // namespace orvik
