#include "text/case_mapping.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cstdint>

#include "text/icu_mapping.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

std::string_view LanguageOf(std::string_view locale) {
  return locale.substr(0, locale.find_first_of("_-@"));
}

// Turkish, Azeri and Lithuanian map some ASCII letters their own way.
bool MapsAsciiPlainly(std::string_view locale) {
  const std::string_view language = LanguageOf(locale);
  return !HasDotlessI(locale) && language != "lt" && language != "lit";
}

constexpr char16_t UpperAscii(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
}

template <char16_t (*kMap)(char16_t)>
std::u16string MappedAscii(std::u16string_view text) {
  std::u16string result(text);
  for (char16_t& unit : result) unit = kMap(unit);
  return result;
}

}  // namespace

std::u16string ToUpper(std::u16string_view text, const char* locale) {
  if (IsAscii(text) && MapsAsciiPlainly(locale)) return MappedAscii<UpperAscii>(text);
  return MappedByIcu(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                               UErrorCode* status) {
    return u_strToUpper(target, room, source, length, locale, status);
  });
}

std::u16string ToLower(std::u16string_view text, const char* locale) {
  if (IsAscii(text) && MapsAsciiPlainly(locale)) return MappedAscii<LowerAscii>(text);
  return MappedByIcu(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                               UErrorCode* status) {
    return u_strToLower(target, room, source, length, locale, status);
  });
}

bool HasDotlessI(std::string_view locale) {
  const std::string_view language = LanguageOf(locale);
  return language == "tr" || language == "az" || language == "tur" || language == "aze";
}

std::u16string FoldCase(std::u16string_view text, const char* locale) {
  const bool dotless = HasDotlessI(locale);
  if (!dotless && IsAscii(text)) return MappedAscii<LowerAscii>(text);
  const std::uint32_t options = dotless ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
  return MappedByIcu(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                               UErrorCode* status) {
    return u_strFoldCase(target, room, source, length, options, status);
  });
}

int CompareFolded(std::u16string_view a, std::u16string_view b) {
  // ASCII at the start needs no folded copy.
  size_t i = 0;
  for (; i < a.size() && i < b.size() && a[i] < 0x80 && b[i] < 0x80; ++i) {
    const char16_t left = LowerAscii(a[i]);
    const char16_t right = LowerAscii(b[i]);
    if (left != right) return left < right ? -1 : 1;
  }
  a.remove_prefix(i);
  b.remove_prefix(i);
  if (a.empty() || b.empty()) return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
  const int order = FoldCase(a).compare(FoldCase(b));
  return order < 0 ? -1 : order > 0;
}

}  // namespace orvik
