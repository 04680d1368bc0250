// Collections of objects under keys, walked in the order in which the keys were first put in.
// Changes to an immutable dictionary do nothing; null is no key and no value.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/ns_dictionary.h"

namespace [[gnu::visibility("default")]] orvik {

using CFDictionaryRef = const NSDictionary*;
using CFMutableDictionaryRef = NSDictionary*;

// Dictionaries hold objects and nothing else, so these are the only callbacks.
struct CFDictionaryKeyCallBacks {};
struct CFDictionaryValueCallBacks {};
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID();
// Owned by the caller, as every created dictionary; null unless the callbacks are the ones above.
// The capacity is only a hint.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                 const CFDictionaryValueCallBacks* value_callbacks);
// Copies the entries; the values are the same objects.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
// Arrays of the caller with room for the count; either may be null.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);

}  // namespace orvik
