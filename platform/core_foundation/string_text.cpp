// Texts and numbers made from strings, and case mapping.
#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdlib>

#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/string.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

CFIndex SkipWhiteSpace(const NSString& string) {
  CFIndex i = 0;
  while (i < string.length() && IsWhiteSpace(string.characterAtIndex(i))) ++i;
  return i;
}

void SetContent(CFMutableStringRef string, const std::u16string& content) {
  string->replaceCharacters(0, string->length(), content);
}

const char* IdentifierOf(CFLocaleRef locale) {
  return locale == nullptr ? "" : locale->identifier().c_str();
}

}  // namespace

std::string NSString::ToUtf8() const {
  if (isAscii()) return std::string(latin1());
  const std::u16string widened = isLatin1() ? ToUnits() : std::u16string();
  const std::u16string_view units = isLatin1() ? std::u16string_view(widened) : wide();
  std::string utf8(Utf8Length(units), '\0');
  const char16_t* source = units.data();
  const char16_t* source_end = source + units.size();
  char* target = utf8.data();
  while (EncodeUtf8(source, source_end, target, utf8.data() + utf8.size()) !=
         TranscodingStop::kDone) {
    *target++ = '?';
    ++source;
  }
  return utf8;
}

const NSString* NSString::stringByAppendingString(const NSString* other) const {
  if (other == nullptr || other->length() == 0) return description();
  if (isLatin1() && other->isLatin1()) {
    std::string bytes;
    bytes.reserve(static_cast<size_t>(length_) + static_cast<size_t>(other->length_));
    bytes.append(latin1()).append(other->latin1());
    return Autoreleased(NewFromLatin1(bytes));
  }
  return Autoreleased(NewFromUnits(ToUnits() + other->ToUnits()));
}

const NSString* NSString::stringWithCharacters(std::u16string_view units) {
  return Autoreleased(NewFromUnits(units));
}

const NSString* NSString::stringWithUTF8String(const char* bytes) {
  return bytes == nullptr ? nullptr : Autoreleased(NewFromUtf8(bytes));
}

int NSString::intValue() const {
  CFIndex i = SkipWhiteSpace(*this);
  bool is_negative = false;
  if (i < length_ && (characterAtIndex(i) == u'-' || characterAtIndex(i) == u'+')) {
    is_negative = characterAtIndex(i++) == u'-';
  }
  std::int64_t value = 0;
  for (; i < length_; ++i) {
    const char16_t unit = characterAtIndex(i);
    if (unit < u'0' || unit > u'9') break;
    value = std::min(value * 10 + (unit - u'0'), std::int64_t{1} << 32);
  }
  if (is_negative) value = -value;
  return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

double NSString::doubleValue() const {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  std::string number;
  for (CFIndex i = SkipWhiteSpace(*this); i < length_; ++i) {
    const char16_t unit = characterAtIndex(i);
    if (unit > 0x7F || std::string_view("0123456789+-.eE").find(static_cast<char>(unit)) ==
                           std::string_view::npos) {
      break;
    }
    number += static_cast<char>(unit);
  }
  return strtod_l(number.c_str(), nullptr, plain);
}

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToLower(string->wide(), IdentifierOf(locale)));
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToUpper(string->wide(), IdentifierOf(locale)));
}

}  // namespace orvik
