#include "prefs/value_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/core_foundation/string.h"
#include "prefs/auto_release.h"

namespace orvik {

namespace {

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

// The nearest number of 32 bits; a real loses its fraction, and one that is not a number is 0.
int IntOfNumber(const plist::Value& value) {
  if (value.type() == plist::Type::kReal) {
    const double real = value.real();
    return std::isnan(real) ? 0 : static_cast<int>(std::clamp(real, double{kLeast}, double{kMost}));
  }
  const plist::Integer integer = value.integer();
  if (integer.is_unsigned) {
    return kMost;
  }
  const auto number = static_cast<std::int64_t>(integer.bits);
  return static_cast<int>(std::clamp<std::int64_t>(number, kLeast, kMost));
}

}  // namespace

std::optional<CAtlString> TextOfValue(const plist::Value& value) {
  CAtlString text;
  switch (value.type()) {
    case plist::Type::kString:
      return CAtlString(std::u16string_view(value.text().ToUnits()));
    case plist::Type::kReal:
      text.Format(u"%0.9lf", value.real());
      return text;
    case plist::Type::kInteger:
      text.Format(u"%d", IntOfNumber(value));
      return text;
    default:
      return std::nullopt;
  }
}

std::optional<int> IntOfValue(const plist::Value& value) {
  switch (value.type()) {
    case plist::Type::kString: {
      const CAutoCFRelease<CFStringRef> string(
          CAtlString(std::u16string_view(value.text().ToUnits()))
              .CreateCFStringRef(kCFAllocatorDefault));
      return CFStringGetIntValue(string);
    }
    case plist::Type::kReal:
    case plist::Type::kInteger:
      return IntOfNumber(value);
    default:
      return std::nullopt;
  }
}

}  // namespace orvik
