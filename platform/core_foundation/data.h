// Byte buffers as objects.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/ns_data.h"

namespace [[gnu::visibility("default")]] orvik {

using CFDataRef = const NSData*;

CFTypeID CFDataGetTypeID();
// Copies the bytes. Owned by the caller.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* CFDataGetBytePtr(CFDataRef data);

}  // namespace orvik
