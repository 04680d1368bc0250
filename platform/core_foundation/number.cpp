#include "platform/core_foundation/number.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace orvik {

namespace {

template <class T>
T Load(const void* value) {
  T result;
  std::memcpy(&result, value, sizeof result);
  return result;
}

template <class T>
CFNumberRef CreateFrom(const void* value) {
  if constexpr (std::is_floating_point_v<T>) {
    return NSNumber::CreateReal(Load<T>(value), sizeof(T));
  } else {
    return NSNumber::Create(Load<T>(value), sizeof(T));
  }
}

// Stores the nearest value of the type; whether it is the number itself.
template <class T>
bool Store(const NSNumber& number, void* value) {
  T result;
  if constexpr (std::is_floating_point_v<T>) {
    const double real = number.doubleValue();
    if constexpr (sizeof(T) < sizeof(double)) {
      constexpr double kMax = std::numeric_limits<T>::max();
      const bool is_beyond = std::isfinite(real) && std::abs(real) > kMax;
      result = static_cast<T>(is_beyond ? std::copysign(kMax, real) : real);
    } else {
      result = real;
    }
  } else {
    const long long whole = number.longLongValue();
    constexpr long long kMin = std::numeric_limits<T>::min();
    constexpr long long kMax = std::numeric_limits<T>::max();
    result = static_cast<T>(whole < kMin ? kMin : whole > kMax ? kMax : whole);
  }
  std::memcpy(value, &result, sizeof result);
  if constexpr (std::is_floating_point_v<T>) {
    if (number.isReal() && std::isnan(number.doubleValue())) return true;
    const NSNumber stored(NSNumber::Kind::kReal, 8,
                          std::bit_cast<std::uint64_t>(static_cast<double>(result)));
    return number.compare(&stored) == kCFCompareEqualTo;
  } else {
    const NSNumber stored(NSNumber::Kind::kSigned, 8,
                          static_cast<std::uint64_t>(static_cast<long long>(result)));
    return number.compare(&stored) == kCFCompareEqualTo;
  }
}

// Calls with a null pointer of the C++ type behind a number type; `unknown` for no type.
template <class Result, class Function>
Result WithType(CFNumberType type, Result unknown, Function function) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return function(static_cast<signed char*>(nullptr));
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return function(static_cast<short*>(nullptr));
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return function(static_cast<int*>(nullptr));
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
      return function(static_cast<long long*>(nullptr));
    case kCFNumberLongType:
    case kCFNumberCFIndexType:
      return function(static_cast<long*>(nullptr));
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return function(static_cast<float*>(nullptr));
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
      return function(static_cast<double*>(nullptr));
    default:
      return unknown;
  }
}

}  // namespace

CFTypeID CFBooleanGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  return boolean == kCFBooleanTrue;
}

CFTypeID CFNumberGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
  return WithType(type, CFNumberRef{}, [value](auto* null) {
    return CreateFrom<std::remove_pointer_t<decltype(null)>>(value);
  });
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  if (number->isReal()) {
    return number->width() == 4 ? kCFNumberFloat32Type : kCFNumberFloat64Type;
  }
  switch (number->width()) {
    case 1:
      return kCFNumberSInt8Type;
    case 2:
      return kCFNumberSInt16Type;
    case 4:
      return kCFNumberSInt32Type;
    default:
      return kCFNumberSInt64Type;
  }
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
  return number->width();
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  return number->isReal();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  return WithType(type, false, [number, value](auto* null) {
    return Store<std::remove_pointer_t<decltype(null)>>(*number, value);
  });
}

CFComparisonResult CFNumberCompare(CFNumberRef a, CFNumberRef b, void*) {
  return a->compare(b);
}

}  // namespace orvik
