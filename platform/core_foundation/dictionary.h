// Collections of objects under keys, walked in the order in which the keys were first put in.
// Changes to an immutable dictionary do nothing; null is no key and no value.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/dictionary.h"

namespace [[gnu::visibility("default")]] orvik {

using CFDictionaryRef = const NSDictionary*;
using CFMutableDictionaryRef = NSDictionary*;
using CFDictionaryApplierFunction = void (*)(const void* key, const void* value, void* context);

// Dictionaries hold objects and nothing else, so these are the only callbacks.
struct CFDictionaryKeyCallBacks {};
struct CFDictionaryValueCallBacks {};
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID();
// Owned by the caller, as every created dictionary; null unless the callbacks are the ones above.
// The last of equal keys holds.
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* key_callbacks,
                                   const CFDictionaryValueCallBacks* value_callbacks);
CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef dictionary);
// The capacity is a hint alone.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                 const CFDictionaryValueCallBacks* value_callbacks);
// Copies the entries; the values are the same objects.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
// `value` may be null and is untouched when the key is absent.
Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key,
                                      const void** value);
// Arrays of the caller with room for the count; either may be null.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values);
void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context);
// Only where the key is absent.
void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
// Only where the key is present.
void CFDictionaryReplaceValue(CFMutableDictionaryRef dictionary, const void* key,
                              const void* value);
void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);
void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary);

}  // namespace orvik
