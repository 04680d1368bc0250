// Numbers and booleans.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/ns_number.h"

namespace [[gnu::visibility("default")]] orvik {

using CFNumberRef = const NSNumber*;
using CFBooleanRef = const NSNumber*;

using CFNumberType = CFIndex;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
inline constexpr CFNumberType kCFNumberIntType = 9;
inline constexpr CFNumberType kCFNumberDoubleType = 13;

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;

CFTypeID CFBooleanGetTypeID();
// False also for null and for an object that is no boolean.
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFTypeID CFNumberGetTypeID();
// A number from a value of the type, owned by the caller; null for an unknown type.
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
Boolean CFNumberIsFloatType(CFNumberRef number);
// Stores the number as the type. False when that loses something: a fraction, digits, or a value
// out of range; the nearest value of the type is stored all the same (fractions are dropped, NaN
// is 0 as an integer). Nothing is stored for an unknown type.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

}  // namespace orvik
