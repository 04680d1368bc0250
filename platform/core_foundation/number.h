// Numbers and booleans. A CFNumberRef and a CFBooleanRef are NSNumbers.
#pragma once

#include <cstdint>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

// An integer of 64 bits (signed, or unsigned beyond the signed range), a real, or one of the two
// booleans. Never changes once made. Equal as the values of plist/value.h
// are: an integer never equals a real, a boolean never equals a number.
class NSNumber final : public NSObject {
 public:
  enum class Kind : std::uint8_t { kBoolean, kSigned, kUnsigned, kReal };

  // Owned by the caller. A real of 4 bytes keeps its width in the binary form of a property list.
  static const NSNumber* Create(std::int64_t value);
  static const NSNumber* CreateReal(double value, int width = 8);
  // An ordinary signed number where the signed range holds the value.
  static const NSNumber* CreateUnsigned(std::uint64_t value);
  // One of the two booleans of the process.
  static const NSNumber* CreateBoolean(bool value);

  // Autoreleased.
  static const NSNumber* numberWithBool(ObjCBool value);

  Kind kind() const { return kind_; }
  // In bytes.
  int width() const { return width_; }
  bool isReal() const { return kind_ == Kind::kReal; }
  // The 64 bits of an integer or boolean.
  std::uint64_t bits() const { return bits_; }

  // The nearest value that the type holds; the fraction of a real is dropped and NaN is 0.
  int intValue() const;
  long long longLongValue() const;
  unsigned long long unsignedLongLongValue() const;
  double doubleValue() const;

  CFTypeID typeID() const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  const NSString* description() const override;
  plist::Value value() const override;

  // For the process-wide constants alone.
  constexpr NSNumber(Kind kind, int width, std::uint64_t bits)
      : bits_(bits), kind_(kind), width_(static_cast<std::uint8_t>(width)) {}
  ~NSNumber() override = default;

 private:
  double real() const;

  std::uint64_t bits_;
  Kind kind_;
  std::uint8_t width_;
};

using CFNumberRef = const NSNumber*;
using CFBooleanRef = const NSNumber*;

using CFNumberType = CFIndex;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
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
