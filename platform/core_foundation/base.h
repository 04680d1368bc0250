// The types that all platform interfaces share, and the functions for objects of any class.
#pragma once

#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {

using UInt8 = std::uint8_t;
using SInt8 = std::int8_t;
using UInt16 = std::uint16_t;
using SInt16 = std::int16_t;
using UInt32 = std::uint32_t;
using SInt32 = std::int32_t;
using UInt64 = std::uint64_t;
using SInt64 = std::int64_t;
using Boolean = unsigned char;
using UniChar = char16_t;
using UniCharCount = unsigned long;
using OSErr = std::int16_t;
using OSStatus = std::int32_t;
using OSType = UInt32;

// 'sdat' as FourCC("sdat"): the first character is the most significant byte.
consteval OSType FourCC(const char (&code)[5]) {
  OSType value = 0;
  for (int i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(code[i]);
  return value;
}

// A string of either family, mutable or not.
class NSString;
using CFStringRef = const NSString*;
using CFMutableStringRef = NSString*;

using CFTypeRef = const void*;  // the address of an NSObject
using CFIndex = long;
using CFTypeID = unsigned long;
using CFOptionFlags = unsigned long;
using CFHashCode = unsigned long;

struct CFRange {
  CFIndex location;
  CFIndex length;
};
constexpr CFRange CFRangeMake(CFIndex location, CFIndex length) {
  return {location, length};
}

// All objects are in the C++ heap. An allocator only says whether a buffer that an object takes
// over is freed (the default: free) or not (kCFAllocatorNull).
struct CFAllocator;
using CFAllocatorRef = const CFAllocator*;
inline constexpr CFAllocatorRef kCFAllocatorDefault = nullptr;
extern const CFAllocatorRef kCFAllocatorNull;

// Adds a reference to the object, which must not be null, and returns the object. Any thread may
// call it.
CFTypeRef CFRetain(CFTypeRef object);
// Releases a reference; releasing the last one destroys the object. Null is ignored.
void CFRelease(CFTypeRef object);

// The number of the object's class, constant within a process; 0 for classes without a number.
// `object` must not be null.
CFTypeID CFGetTypeID(CFTypeRef object);
// Whether both are the same object, or have equal property-list values (plist/value.h): an integer
// never equals a real. `a` may be null only if `b` is.
Boolean CFEqual(CFTypeRef a, CFTypeRef b);

}  // namespace orvik
