#include "platform/core_foundation/number.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "platform/core_foundation/string.h"

namespace orvik {

namespace {

// The objects of the two booleans are never destroyed, so they serve until the very end.
union Constant {
  constexpr explicit Constant(bool value) : number(NSNumber::Kind::kBoolean, 1, value) {}
  ~Constant() {}  // NOLINT(modernize-use-equals-default)
  NSNumber number;
};
constinit Constant true_constant(true);
constinit Constant false_constant(false);

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

// The integer nearest to the real towards zero.
template <class Integer>
Integer Saturated(double value, double beyond) {
  if (std::isnan(value)) return 0;
  if (value >= beyond) return std::numeric_limits<Integer>::max();
  if (value <= static_cast<double>(std::numeric_limits<Integer>::min())) {
    return std::numeric_limits<Integer>::min();
  }
  return static_cast<Integer>(value);
}

template <class T>
int CompareValues(T a, T b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

// Exact, unlike a comparison after conversion to double.
int CompareRealToInteger(double real, const NSNumber& integer) {
  if (std::isnan(real)) return -1;
  if (real >= kTwoTo64) return 1;
  if (real < -kTwoTo63) return -1;
  const double whole = std::trunc(real);
  const double fraction = real - whole;
  int result;
  if (integer.kind() == NSNumber::Kind::kUnsigned) {
    result = whole < 0 ? -1 : CompareValues(static_cast<std::uint64_t>(whole), integer.bits());
  } else if (whole >= kTwoTo63) {
    result = 1;
  } else {
    result =
        CompareValues(static_cast<std::int64_t>(whole), static_cast<std::int64_t>(integer.bits()));
  }
  return result != 0 ? result : CompareValues(fraction, 0.0);
}

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

const CFBooleanRef kCFBooleanTrue = &true_constant.number;
const CFBooleanRef kCFBooleanFalse = &false_constant.number;

const NSNumber* NSNumber::Create(std::int64_t value) {
  return new NSNumber(Kind::kSigned, 8, static_cast<std::uint64_t>(value));
}

const NSNumber* NSNumber::CreateReal(double value, int width) {
  return new NSNumber(Kind::kReal, width, std::bit_cast<std::uint64_t>(value));
}

const NSNumber* NSNumber::CreateUnsigned(std::uint64_t value) {
  const bool is_signed = value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  return new NSNumber(is_signed ? Kind::kSigned : Kind::kUnsigned, 8, value);
}

const NSNumber* NSNumber::CreateBoolean(bool value) {
  return Retained(value ? kCFBooleanTrue : kCFBooleanFalse);
}

const NSNumber* NSNumber::numberWithBool(ObjCBool value) {
  return value != NO ? kCFBooleanTrue : kCFBooleanFalse;
}

double NSNumber::real() const {
  return std::bit_cast<double>(bits_);
}

int NSNumber::intValue() const {
  const long long value = longLongValue();
  constexpr long long kMin = std::numeric_limits<int>::min();
  constexpr long long kMax = std::numeric_limits<int>::max();
  return static_cast<int>(value < kMin ? kMin : value > kMax ? kMax : value);
}

long long NSNumber::longLongValue() const {
  switch (kind_) {
    case Kind::kReal:
      return Saturated<long long>(real(), kTwoTo63);
    case Kind::kUnsigned:
      return std::numeric_limits<long long>::max();
    default:
      return static_cast<long long>(bits_);
  }
}

unsigned long long NSNumber::unsignedLongLongValue() const {
  switch (kind_) {
    case Kind::kReal:
      return Saturated<unsigned long long>(real(), kTwoTo64);
    case Kind::kSigned:
      return static_cast<std::int64_t>(bits_) < 0 ? 0 : bits_;
    default:
      return bits_;
  }
}

double NSNumber::doubleValue() const {
  switch (kind_) {
    case Kind::kReal:
      return real();
    case Kind::kSigned:
      return static_cast<double>(static_cast<std::int64_t>(bits_));
    default:
      return static_cast<double>(bits_);
  }
}

CFComparisonResult NSNumber::compare(const NSNumber* other) const {
  int result;
  if (isReal() && other->isReal()) {
    const bool nan = std::isnan(real()), other_nan = std::isnan(other->real());
    result =
        nan || other_nan ? CompareValues(other_nan, nan) : CompareValues(real(), other->real());
  } else if (isReal()) {
    result = CompareRealToInteger(real(), *other);
  } else if (other->isReal()) {
    result = -CompareRealToInteger(other->real(), *this);
  } else if (kind_ == Kind::kUnsigned || other->kind_ == Kind::kUnsigned) {
    result = kind_ == other->kind_ ? CompareValues(bits_, other->bits_)
                                   : (kind_ == Kind::kUnsigned ? 1 : -1);
  } else {
    result = CompareValues(longLongValue(), other->longLongValue());
  }
  return static_cast<CFComparisonResult>(result);
}

CFTypeID NSNumber::typeID() const {
  return kind_ == Kind::kBoolean ? CFBooleanGetTypeID() : CFNumberGetTypeID();
}

bool NSNumber::isEqual(const NSObject* other) const {
  return other != nullptr && typeID() == other->typeID() &&
         compare(static_cast<const NSNumber*>(other)) == kCFCompareEqualTo;
}

CFHashCode NSNumber::hash() const {
  // An integer and a real of the same value are equal.
  if (isReal()) return std::hash<double>()(real());
  return std::hash<double>()(doubleValue());
}

NSObject* NSNumber::copy() const {
  return const_cast<NSNumber*>(Retained(this));
}

const NSString* NSNumber::description() const {
  char text[32];
  std::to_chars_result end{};
  switch (kind_) {
    case Kind::kReal:
      end = std::to_chars(text, text + sizeof text, real());
      break;
    case Kind::kSigned:
      end = std::to_chars(text, text + sizeof text, longLongValue());
      break;
    default:
      end = std::to_chars(text, text + sizeof text, bits_);
      break;
  }
  return Autoreleased(NSString::NewFromAscii({text, static_cast<std::size_t>(end.ptr - text)}));
}

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
