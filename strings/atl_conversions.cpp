#include "strings/atl_conversions.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "strings/uca.h"

namespace orvik {

namespace {

std::string_view Text(const char* text, int n) {
  return text == nullptr || n < 1 ? std::string_view()
                                  : std::string_view(text, strnlen(text, static_cast<size_t>(n)));
}

}  // namespace

char16_t* AtlA2WHelper(char16_t* target, const char* source, int n) {
  if (target == nullptr) return nullptr;
  std::string_view text = Text(source, n);
  if (!IsAscii(text)) text = {};
  WidenLatin1(text.data(), target, text.size());
  target[text.size()] = 0;
  return target;
}

char* AtlW2AHelper(char* target, const char16_t* source, int n) {
  if (target == nullptr) return nullptr;
  std::size_t length = 0;
  if (source != nullptr && n > 0) {
    while (length < static_cast<std::size_t>(n) && source[length] != 0) ++length;
    if (!IsAscii(std::u16string_view(source, length))) length = 0;
    NarrowLatin1(source, target, length);
  }
  target[length] = 0;
  return target;
}

char16_t* A2WBSTR(const char* text, int n) {
  if (text == nullptr || n < 0) return nullptr;
  const std::string_view bytes = Text(text, n);
  if (!IsAscii(bytes)) return nullptr;
  auto* result =
      static_cast<char16_t*>(std::calloc(static_cast<std::size_t>(n) + 1, sizeof(char16_t)));
  if (result != nullptr) WidenLatin1(bytes.data(), result, bytes.size());
  return result;
}

char16_t* A2WBSTR(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::strlen(text);
  return length > 0x7FFFFFFE ? nullptr : A2WBSTR(text, static_cast<int>(length));
}

char16_t* A2BSTR(const char* text) {
  return A2WBSTR(text);
}

int ocslen(const char16_t* text) {
  return ucalen(text);
}
char16_t* ocscpy(char16_t* target, const char16_t* source) {
  return ucacpy(target, source);
}
char16_t* ocscat(char16_t* target, const char16_t* source) {
  return ucacat(target, source);
}

}  // namespace orvik
