// Formatting of both string classes, and case mapping of the wide one.
#include <algorithm>
#include <cstdarg>
#include <string_view>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/case_in_place.h"
#include "strings/object_text.h"
#include "text/case_mapping.h"
#include "text/formatter.h"
#include "text/mac_roman.h"
#include "text/transcoding.h"
#include "text/user_locale.h"

namespace orvik {

namespace {

// Both kinds of argument lists; false also without a format.
template <typename List>
bool FormatWide(FormatBuffer& result, std::u16string_view format, List& arguments) {
  return format.data() != nullptr &&
         FormatUnits(result, format, arguments, DescribeObject, FormatStyle::kSmallStringsAreWide);
}

int MacRomanOf(char16_t unit) {
  return unit < 0x80 ? unit : MacRomanOfUnit(unit);
}

// Only a text that Mac OS Roman can hold.
template <typename List>
bool FormatNarrow(FormatBuffer& result, std::string_view format, List& arguments) {
  if (format.data() == nullptr || !FormatMacRoman(result, format, arguments, DescribeObject)) {
    return false;
  }
  const auto units = result.units();
  return IsAscii(units) || std::all_of(units.begin(), units.end(),
                                       [](char16_t unit) { return MacRomanOf(unit) >= 0; });
}

void WriteMacRoman(std::u16string_view units, char* bytes) {
  if (IsAscii(units)) {
    NarrowLatin1(units.data(), bytes, units.size());
    return;
  }
  std::transform(units.begin(), units.end(), bytes,
                 [](char16_t unit) { return static_cast<char>(MacRomanOf(unit)); });
}

}  // namespace

CAtlString& CAtlString::MakeUpper() {
  CopyBeforeWrite();
  MapCaseInPlace(GetBuffer(), View().size(), CFStringUppercase);
  return *this;
}

CAtlString CAtlString::Uppercased() const {
  return CAtlString(ToUpper(View(), CurrentLocaleIdentifier(LocaleCategory::kCharacters)));
}

CAtlString CAtlString::Lowercased() const {
  return CAtlString(ToLower(View(), CurrentLocaleIdentifier(LocaleCategory::kCharacters)));
}

CAtlString& CAtlString::MakeLower() {
  CopyBeforeWrite();
  MapCaseInPlace(GetBuffer(), View().size(), CFStringLowercase);
  return *this;
}

void CAtlString::FormatV(std::u16string_view format, std::span<const FormatArgument> arguments) {
  FormatBuffer result;
  if (FormatWide(result, format, arguments)) TakeFormatted(result.units());
}

void CAtlString::FormatV(const char16_t* format, std::va_list arguments) {
  FormatBuffer result;
  if (FormatWide(result, ViewOf(format), arguments)) TakeFormatted(result.units());
}

void CAtlString::AppendFormatV(std::u16string_view format,
                               std::span<const FormatArgument> arguments) {
  FormatBuffer result;
  if (FormatWide(result, format, arguments)) AppendUnits(result.units());
}

void CAtlString::AppendFormat(Text format, std::va_list arguments) {
  FormatBuffer result;
  if (FormatWide(result, format, arguments)) AppendUnits(result.units());
}

void CAtlString::TakeFormatted(std::u16string_view units) {
  CopyUnits(FreshBuffer(units.size(), 1), units.data(), units.size());
}

void CAtlStringA::FormatV(std::string_view format, std::span<const FormatArgument> arguments) {
  FormatBuffer result;
  if (FormatNarrow(result, format, arguments)) TakeFormatted(result.units());
}

void CAtlStringA::FormatV(const char* format, std::va_list arguments) {
  FormatBuffer result;
  if (FormatNarrow(result, ViewOf(format), arguments)) TakeFormatted(result.units());
}

void CAtlStringA::AppendFormatV(std::string_view format,
                                std::span<const FormatArgument> arguments) {
  FormatBuffer result;
  if (FormatNarrow(result, format, arguments)) AppendFormatted(result.units());
}

void CAtlStringA::AppendFormat(Text format, std::va_list arguments) {
  FormatBuffer result;
  if (FormatNarrow(result, format, arguments)) AppendFormatted(result.units());
}

void CAtlStringA::TakeFormatted(std::u16string_view units) {
  WriteMacRoman(units, FreshBuffer(units.size(), 1));
}

void CAtlStringA::AppendFormatted(std::u16string_view units) {
  if (!units.empty()) WriteMacRoman(units, AppendBuffer(units.size()));
}

}  // namespace orvik
