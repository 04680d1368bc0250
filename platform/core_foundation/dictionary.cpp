#include "platform/core_foundation/dictionary.h"

namespace orvik {

namespace {

bool AreObjectCallBacks(const CFDictionaryKeyCallBacks* keys,
                        const CFDictionaryValueCallBacks* values) {
  return (keys == &kCFTypeDictionaryKeyCallBacks || keys == &kCFCopyStringDictionaryKeyCallBacks) &&
         values == &kCFTypeDictionaryValueCallBacks;
}

}  // namespace

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {};

CFTypeID CFDictionaryGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* key_callbacks,
                                   const CFDictionaryValueCallBacks* value_callbacks) {
  if (!AreObjectCallBacks(key_callbacks, value_callbacks)) return nullptr;
  NSDictionary* dictionary = NSDictionary::Create(false, static_cast<std::size_t>(count));
  for (CFIndex i = 0; i < count; ++i) {
    if (keys[i] == nullptr || values[i] == nullptr) continue;
    const NSObject* key = ObjectOf(keys[i])->copy();
    dictionary->SetOwned(key != nullptr ? key : Retained(ObjectOf(keys[i])),
                         Retained(ObjectOf(values[i])));
  }
  return dictionary;
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef dictionary) {
  return static_cast<CFDictionaryRef>(dictionary->copy());
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

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key) {
  return CFDictionaryGetValue(dictionary, key) != nullptr;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  return dictionary->objectForKey(ObjectOf(key));
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key,
                                      const void** value) {
  const void* found = CFDictionaryGetValue(dictionary, key);
  if (found != nullptr && value != nullptr) *value = found;
  return found != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values) {
  for (const NSDictionary::Entry& entry : dictionary->Entries()) {
    if (entry.key == nullptr) continue;
    if (keys != nullptr) *keys++ = entry.key;
    if (values != nullptr) *values++ = entry.value;
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context) {
  for (const NSDictionary::Entry& entry : dictionary->Entries()) {
    if (entry.key != nullptr) applier(entry.key, entry.value, context);
  }
}

void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  if (!CFDictionaryContainsKey(dictionary, key)) CFDictionarySetValue(dictionary, key, value);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  dictionary->setObject(ObjectOf(value), ObjectOf(key));
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef dictionary, const void* key,
                              const void* value) {
  if (CFDictionaryContainsKey(dictionary, key)) CFDictionarySetValue(dictionary, key, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
  dictionary->removeObjectForKey(ObjectOf(key));
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary) {
  dictionary->removeAllObjects();
}

}  // namespace orvik
