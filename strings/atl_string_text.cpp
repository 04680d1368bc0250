// Formatting of both string classes, and case mapping of the wide one.
#include <algorithm>
#include <cstdarg>
#include <string_view>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/case_in_place.h"
#include "strings/object_text.h"
#include "text/formatter.h"
#include "text/mac_roman.h"

namespace orvik {

namespace {

bool FormatWide(FormatBuffer& result, const char16_t* format, std::va_list arguments) {
  return format != nullptr &&
         FormatUnits(result, format, arguments, DescribeObject, FormatStyle::kSmallStringsAreWide);
}

int MacRomanOf(char16_t unit) {
  return unit < 0x80 ? unit : MacRomanOfUnit(unit);
}

// Only a text that Mac OS Roman can hold.
bool FormatNarrow(FormatBuffer& result, const char* format, std::va_list arguments) {
  if (format == nullptr || !FormatMacRoman(result, format, arguments, DescribeObject)) return false;
  const auto units = result.units();
  return std::all_of(units.begin(), units.end(),
                     [](char16_t unit) { return MacRomanOf(unit) >= 0; });
}

void WriteMacRoman(std::u16string_view units, char* bytes) {
  std::transform(units.begin(), units.end(), bytes,
                 [](char16_t unit) { return static_cast<char>(MacRomanOf(unit)); });
}

}  // namespace

CAtlString& CAtlString::MakeUpper() {
  CopyBeforeWrite();
  MapCaseInPlace(GetBuffer(), View().size(), CFStringUppercase);
  return *this;
}

CAtlString& CAtlString::MakeLower() {
  CopyBeforeWrite();
  MapCaseInPlace(GetBuffer(), View().size(), CFStringLowercase);
  return *this;
}

void CAtlString::FormatV(const char16_t* format, std::va_list arguments) {
  FormatBuffer result;
  if (!FormatWide(result, format, arguments)) return;
  const auto units = result.units();
  std::copy(units.begin(), units.end(), FreshBuffer(units.size(), 1));
}

void CAtlString::Format(const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  FormatV(format, arguments);
  va_end(arguments);
}

void CAtlString::AppendFormat(const char16_t* format, std::va_list arguments) {
  FormatBuffer result;
  if (!FormatWide(result, format, arguments)) return;
  const auto units = result.units();
  ConcatInPlace(static_cast<int>(units.size()), units.data());
}

void CAtlString::AppendFormat(const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  AppendFormat(format, arguments);
  va_end(arguments);
}

void CAtlString::AppendFormatOf(const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  AppendFormat(format, arguments);
  va_end(arguments);
}

void CAtlStringA::FormatV(const char* format, std::va_list arguments) {
  FormatBuffer result;
  if (!FormatNarrow(result, format, arguments)) return;
  const auto units = result.units();
  WriteMacRoman(units, FreshBuffer(units.size(), 1));
}

void CAtlStringA::Format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  FormatV(format, arguments);
  va_end(arguments);
}

void CAtlStringA::AppendFormat(const char* format, std::va_list arguments) {
  FormatBuffer result;
  if (!FormatNarrow(result, format, arguments)) return;
  const auto units = result.units();
  if (!units.empty()) WriteMacRoman(units, AppendBuffer(units.size()));
}

void CAtlStringA::AppendFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  AppendFormat(format, arguments);
  va_end(arguments);
}

void CAtlStringA::AppendFormatOf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  AppendFormat(format, arguments);
  va_end(arguments);
}

}  // namespace orvik
