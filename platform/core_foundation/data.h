// Byte buffers as objects. Changes to an immutable object do nothing; ranges are clamped to the
// data.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/data.h"

namespace [[gnu::visibility("default")]] orvik {

using CFDataRef = const NSData*;
using CFMutableDataRef = NSData*;

CFTypeID CFDataGetTypeID();
// Copies the bytes. Owned by the caller, as every created object here.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef data);
// The capacity is a hint alone.
CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                         CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* CFDataGetBytePtr(CFDataRef data);
// Null for an immutable object.
UInt8* CFDataGetMutableBytePtr(CFMutableDataRef data);
void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer);
void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex length);
// Cuts the end off or adds zeros.
void CFDataSetLength(CFMutableDataRef data, CFIndex length);

}  // namespace orvik
