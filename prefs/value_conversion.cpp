#include "prefs/value_conversion.h"

#include "platform/core_foundation/number.h"
#include "platform/core_foundation/string.h"

namespace orvik {

namespace {

bool IsString(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == CFStringGetTypeID();
}

bool IsNumber(CFTypeRef value) {
  return value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID();
}

int IntOfNumber(CFTypeRef value) {
  int number = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberIntType, &number);
  return number;
}

}  // namespace

std::optional<CAtlString> TextOfValue(CFTypeRef value) {
  if (IsString(value)) {
    return CAtlString(static_cast<CFStringRef>(value));
  }
  if (!IsNumber(value)) {
    return std::nullopt;
  }
  CAtlString text;
  if (CFNumberIsFloatType(static_cast<CFNumberRef>(value))) {
    double number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &number);
    text.Format(u"%0.9lf", number);
  } else {
    text.Format(u"%d", IntOfNumber(value));
  }
  return text;
}

std::optional<int> IntOfValue(CFTypeRef value) {
  if (IsString(value)) {
    return CFStringGetIntValue(static_cast<CFStringRef>(value));
  }
  return IsNumber(value) ? std::optional<int>(IntOfNumber(value)) : std::nullopt;
}

}  // namespace orvik
