#include "platform/core_foundation/string_case.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include "platform/core_foundation/string_views.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

// Calls an ICU mapping until its result fits.
template <class Map>
std::u16string Mapped(std::u16string_view text, const Map& map) {
  if (text.size() > static_cast<size_t>(kMaximumStringLength)) return std::u16string(text);
  std::u16string result(text.size() + text.size() / 8 + 8, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = map(result.data(), static_cast<int32_t>(result.size()), text.data(),
                               static_cast<int32_t>(text.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::u16string(text);
    const bool fits = status != U_BUFFER_OVERFLOW_ERROR;
    result.resize(static_cast<size_t>(length));
    if (fits) return result;
  }
}

// Turkic languages and Lithuanian map some ASCII letters their own way.
bool MapsAsciiPlainly(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of("_-@"));
  return language != "tr" && language != "az" && language != "lt" && language != "tur" &&
         language != "aze" && language != "lit";
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

const UNormalizer2* NormalizerOf(CFStringNormalizationForm form) {
  UErrorCode status = U_ZERO_ERROR;
  switch (form) {
    case kCFStringNormalizationFormD:
      return unorm2_getNFDInstance(&status);
    case kCFStringNormalizationFormKD:
      return unorm2_getNFKDInstance(&status);
    case kCFStringNormalizationFormC:
      return unorm2_getNFCInstance(&status);
    case kCFStringNormalizationFormKC:
      return unorm2_getNFKCInstance(&status);
    default:
      return nullptr;
  }
}

void SetContent(CFMutableStringRef string, const std::u16string& content) {
  string->replaceCharacters(0, string->length(), content);
}

const char* IdentifierOf(CFLocaleRef locale) {
  return locale == nullptr ? "" : locale->identifier().c_str();
}

}  // namespace

std::u16string ToUpper(std::u16string_view text, const char* locale) {
  if (IsAscii(text) && MapsAsciiPlainly(locale)) return MappedAscii<UpperAscii>(text);
  return Mapped(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                          UErrorCode* status) {
    return u_strToUpper(target, room, source, length, locale, status);
  });
}

std::u16string ToLower(std::u16string_view text, const char* locale) {
  if (IsAscii(text) && MapsAsciiPlainly(locale)) return MappedAscii<LowerAscii>(text);
  return Mapped(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                          UErrorCode* status) {
    return u_strToLower(target, room, source, length, locale, status);
  });
}

std::u16string FoldCase(std::u16string_view text) {
  if (IsAscii(text)) return MappedAscii<LowerAscii>(text);
  return Mapped(text, [](UChar* target, int32_t room, const UChar* source, int32_t length,
                         UErrorCode* status) {
    return u_strFoldCase(target, room, source, length, U_FOLD_CASE_DEFAULT, status);
  });
}

std::u16string Normalize(std::u16string_view text, CFStringNormalizationForm form) {
  const UNormalizer2* normalizer = NormalizerOf(form);
  if (normalizer == nullptr || IsAscii(text)) return std::u16string(text);
  return Mapped(text, [&](UChar* target, int32_t room, const UChar* source, int32_t length,
                          UErrorCode* status) {
    return unorm2_normalize(normalizer, source, length, target, room, status);
  });
}

int CompareFolded(std::u16string_view a, std::u16string_view b) {
  size_t i = 0;
  while (i < a.size() && i < b.size() && a[i] < 0x80 && b[i] < 0x80) {
    const char16_t left = LowerAscii(a[i]);
    const char16_t right = LowerAscii(b[i]);
    if (left != right) return left < right ? -1 : 1;
    ++i;
  }
  a.remove_prefix(i);
  b.remove_prefix(i);
  const int order = IsAscii(a) && IsAscii(b) ? (a.empty() ? (b.empty() ? 0 : -1) : 1)
                                             : FoldCase(a).compare(FoldCase(b));
  return order < 0 ? -1 : order > 0;
}

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToLower(string->wide(), IdentifierOf(locale)));
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToUpper(string->wide(), IdentifierOf(locale)));
}

void CFStringFold(CFMutableStringRef string, CFStringCompareFlags options, CFLocaleRef) {
  if ((options & kCFCompareCaseInsensitive) != 0) SetContent(string, FoldCase(string->wide()));
}

void CFStringNormalize(CFMutableStringRef string, CFStringNormalizationForm form) {
  SetContent(string, Normalize(string->wide(), form));
}

}  // namespace orvik
