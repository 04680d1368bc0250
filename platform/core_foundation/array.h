// Ordered collections of objects. Changes to an immutable array, and indices outside it, do nothing
// (reading gives null).
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/array.h"

namespace [[gnu::visibility("default")]] orvik {

using CFArrayRef = const NSArray*;
using CFMutableArrayRef = NSArray*;

// Arrays hold objects and nothing else, so these are the only callbacks.
struct CFArrayCallBacks {};
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID();
// Owned by the caller, as every created array; null unless the callbacks are the ones above.
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callbacks);
CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef array);
// The capacity is a hint alone.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callbacks);
CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                           CFArrayRef array);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
void CFArrayInsertValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value);
void CFArraySetValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value);
void CFArrayRemoveValueAtIndex(CFMutableArrayRef array, CFIndex index);
void CFArrayRemoveAllValues(CFMutableArrayRef array);

}  // namespace orvik
