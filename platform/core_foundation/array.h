// Ordered collections of objects. Appending to an immutable array does nothing; an index outside
// the array gives null.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/ns_array.h"

namespace [[gnu::visibility("default")]] orvik {

using CFArrayRef = const NSArray*;
using CFMutableArrayRef = NSArray*;

// Arrays hold objects and nothing else, so these are the only callbacks.
struct CFArrayCallBacks {};
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID();
// Owned by the caller; null unless the callbacks are the ones above. The capacity is only a hint.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callbacks);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);

}  // namespace orvik
