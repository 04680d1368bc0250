// Case mapping of strings.
#include "platform/core_foundation/string.h"
#include "text/case_and_spelling.h"

namespace orvik {

namespace {

void SetContent(CFMutableStringRef string, const std::u16string& content) {
  string->replaceCharacters(0, string->length(), content);
}

const char* IdentifierOf(CFLocaleRef locale) {
  return locale == nullptr ? "" : locale->identifier().c_str();
}

}  // namespace

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToLower(string->wide(), IdentifierOf(locale)));
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToUpper(string->wide(), IdentifierOf(locale)));
}

}  // namespace orvik
