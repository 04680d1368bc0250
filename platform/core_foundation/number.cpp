#include "platform/core_foundation/number.h"

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

// Stores the nearest value of the type; true if it is the number itself.
bool StoreInteger(const NSNumber& number, void* value) {
  const SInt64 integer = number.longLongValue();
  std::memcpy(value, &integer, sizeof integer);
  if (number.kind() == NSNumber::Kind::kUnsigned) return false;
  // The largest integer becomes 2^63 as a double.
  return !number.isReal() ||
         (static_cast<double>(integer) == number.doubleValue() && number.doubleValue() < kTwoTo63);
}

bool StoreReal(const NSNumber& number, void* value) {
  const double real = number.doubleValue();
  std::memcpy(value, &real, sizeof real);
  switch (number.kind()) {
    case NSNumber::Kind::kSigned:
      return real < kTwoTo63 && static_cast<long long>(real) == number.longLongValue();
    case NSNumber::Kind::kUnsigned:
      return real < kTwoTo64 && static_cast<std::uint64_t>(real) == number.bits();
    default:
      return true;
  }
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

CFTypeID NSNumber::typeID() const {
  return kind_ == Kind::kBoolean ? CFBooleanGetTypeID() : CFNumberGetTypeID();
}

CFHashCode NSNumber::hash() const {
  // All reals that are not a number are equal.
  return isReal() && std::isnan(real()) ? 0 : std::hash<std::uint64_t>()(bits_);
}

plist::Value NSNumber::value() const {
  switch (kind_) {
    case Kind::kBoolean:
      return bits_ != 0;
    case Kind::kReal:
      return {real(), width_};
    default:
      return plist::Integer{bits_, kind_ == Kind::kUnsigned};
  }
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
    case kCFNumberSInt64Type:
      return StoreInteger(*number, value);
    case kCFNumberDoubleType:
      return StoreReal(*number, value);
    default:
      return false;
  }
}

}  // namespace orvik
