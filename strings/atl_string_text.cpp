// Formatting of both string classes, and case mapping of the wide one.
#include <algorithm>
#include <cstdarg>
#include <iterator>
#include <string>
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

CAtlString CAtlString::FromUtf8(std::string_view text) {
  CAtlString wide;
  // Bytes that begin no character are few: what lies between them is converted at once.
  while (!text.empty()) {
    const char* source = text.data();
    const char* const source_end = source + text.size();
    char16_t units[256];
    char16_t* end = units;
    const TranscodingStop stop = DecodeUtf8(source, source_end, end, std::end(units));
    wide.Append(std::u16string_view(units, static_cast<std::size_t>(end - units)));
    text.remove_prefix(static_cast<std::size_t>(source - text.data()));
    if (stop == TranscodingStop::kIllegal || stop == TranscodingStop::kSourceEnds) {
      std::size_t behind = 0;
      NextCharacter(text, behind);
      wide += char16_t{0xFFFD};
      text.remove_prefix(behind);
    }
  }
  return wide;
}

CAtlString CAtlString::FromUtf8(std::u8string_view text) {
  return FromUtf8(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()));
}

std::string CAtlString::ToUtf8() const {
  std::string utf8;
  const std::u16string_view content = View();
  utf8.resize(Utf8Length(content));
  const char16_t* source = content.data();
  const char16_t* const source_end = source + content.size();
  char* end = utf8.data();
  if (EncodeUtf8(source, source_end, end, utf8.data() + utf8.size()) == TranscodingStop::kDone) {
    return utf8;
  }
  utf8.resize(static_cast<std::size_t>(end - utf8.data()));
  for (std::size_t at = static_cast<std::size_t>(source - content.data()); at < content.size();) {
    const std::size_t length = CharacterLength(content.substr(at));
    char32_t character = content[at];
    if (length == 2) {
      character = FromSurrogates(content[at], content[at + 1]);
    } else if (IsSurrogate(content[at])) {
      character = 0xFFFD;
    }
    AppendCharacter(utf8, character);
    at += length;
  }
  return utf8;
}

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
