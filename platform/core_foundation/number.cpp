#include "platform/core_foundation/number.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace orvik {

namespace {

// Stores the nearest value of the type; true if it is the number itself.
template <class Integer>
bool Store(const NSNumber& number, void* value) {
  constexpr long long kMin = std::numeric_limits<Integer>::min();
  constexpr long long kMax = std::numeric_limits<Integer>::max();
  const long long whole = std::clamp(number.longLongValue(), kMin, kMax);
  const auto result = static_cast<Integer>(whole);
  std::memcpy(value, &result, sizeof result);
  const NSNumber stored(NSNumber::Kind::kSigned, 8, static_cast<std::uint64_t>(whole));
  return number.compare(&stored) == kCFCompareEqualTo;
}

bool StoreReal(const NSNumber& number, void* value) {
  const double real = number.doubleValue();
  std::memcpy(value, &real, sizeof real);
  const NSNumber stored(NSNumber::Kind::kReal, 8, std::bit_cast<std::uint64_t>(real));
  return number.compare(&stored) == kCFCompareEqualTo;
}

template <class T>
T Load(const void* value) {
  T result;
  std::memcpy(&result, value, sizeof result);
  return result;
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
  switch (type) {
    case kCFNumberIntType:
      return NSNumber::Create(Load<int>(value));
    case kCFNumberSInt64Type:
      return NSNumber::Create(Load<SInt64>(value));
    case kCFNumberDoubleType:
      return NSNumber::CreateReal(Load<double>(value));
    default:
      return nullptr;
  }
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  return number->isReal();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  switch (type) {
    case kCFNumberIntType:
      return Store<int>(*number, value);
    case kCFNumberSInt64Type:
      return Store<SInt64>(*number, value);
    case kCFNumberDoubleType:
      return StoreReal(*number, value);
    default:
      return false;
  }
}

}  // namespace orvik
