// Numbers and booleans.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/number.h"

namespace [[gnu::visibility("default")]] orvik {

using CFNumberRef = const NSNumber*;
using CFBooleanRef = const NSNumber*;

using CFNumberType = CFIndex;
inline constexpr CFNumberType kCFNumberSInt8Type = 1;
inline constexpr CFNumberType kCFNumberSInt16Type = 2;
inline constexpr CFNumberType kCFNumberSInt32Type = 3;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
inline constexpr CFNumberType kCFNumberFloat32Type = 5;
inline constexpr CFNumberType kCFNumberFloat64Type = 6;
inline constexpr CFNumberType kCFNumberCharType = 7;
inline constexpr CFNumberType kCFNumberShortType = 8;
inline constexpr CFNumberType kCFNumberIntType = 9;
inline constexpr CFNumberType kCFNumberLongType = 10;
inline constexpr CFNumberType kCFNumberLongLongType = 11;
inline constexpr CFNumberType kCFNumberFloatType = 12;
inline constexpr CFNumberType kCFNumberDoubleType = 13;
inline constexpr CFNumberType kCFNumberCFIndexType = 14;

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;

CFTypeID CFBooleanGetTypeID();
// False also for null and for an object that is no boolean.
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFTypeID CFNumberGetTypeID();
// A number from a value of the type, owned by the caller; null for an unknown type.
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
// The width and kind in which the number is kept: one of the first six types.
CFNumberType CFNumberGetType(CFNumberRef number);
CFIndex CFNumberGetByteSize(CFNumberRef number);
Boolean CFNumberIsFloatType(CFNumberRef number);
// Stores the number as the type. False when that loses something: a fraction, digits, or a value
// out of range; the nearest value of the type is stored all the same (fractions are dropped, NaN
// is 0 as an integer). Nothing is stored for an unknown type.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);
CFComparisonResult CFNumberCompare(CFNumberRef a, CFNumberRef b, void* context);

}  // namespace orvik
