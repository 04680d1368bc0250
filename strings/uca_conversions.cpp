#include "strings/uca_conversions.h"

#include <cstring>
#include <cwchar>

#include "strings/uca.h"

namespace orvik {

namespace {

static_assert(sizeof(wchar_t) == sizeof(UTF32));

// wchar_t has the values of UTF32 here, but is a type of its own.
UTF32* AsUtf32(wchar_t* text) {
  return reinterpret_cast<UTF32*>(text);
}
const UTF32* AsUtf32(const wchar_t* text) {
  return reinterpret_cast<const UTF32*>(text);
}

ConversionResult ToUtf32(const char16_t* source, std::size_t n, wchar_t* target, std::size_t room) {
  UTF32* target_start = AsUtf32(target);
  return ConvertUTF16toUTF32(&source, source + n, &target_start, target_start + room,
                             strictConversion);
}

ConversionResult ToUtf16(const wchar_t* source, std::size_t n, char16_t* target, std::size_t room) {
  const UTF32* source_start = AsUtf32(source);
  return ConvertUTF32toUTF16(&source_start, source_start + n, &target, target + room,
                             strictConversion);
}

}  // namespace

char16_t* makeUCAFromCA(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::strlen(text) + 1;
  auto* result = new char16_t[length];
  WidenLatin1(text, result, length);
  return result;
}

char* makeCAFromUCA(const char16_t* text) {
  if (text == nullptr || *text == 0) return nullptr;
  const auto length = static_cast<std::size_t>(ucalen(text));
  auto* result = new char[length + 1];
  NarrowLatin1(text, result, length + 1);
  return result;
}

wchar_t* makeWCA32FromUCA(const char16_t* text) {
  if (text == nullptr) return nullptr;
  const auto length = static_cast<std::size_t>(ucalen(text));
  auto* result = new wchar_t[length + 1]();
  ToUtf32(text, length, result, length);
  return result;
}

char16_t* makeUCAFromWCA32(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::wcslen(text);
  auto* result = new char16_t[length + 1]();
  ToUtf16(text, length, result, length);
  return result;
}

void freeWCA32Str(wchar_t* text) {
  delete[] text;
}

int UCAtoWCA32(const char16_t* source, wchar_t* target, int n) {
  if (n < 1) return n;
  const auto count = static_cast<std::size_t>(n);
  return ToUtf32(source, count, target, count);
}

int WCA32toUCA(const wchar_t* source, char16_t* target, int n) {
  if (n < 1) return n;
  const auto count = static_cast<std::size_t>(n);
  return ToUtf16(source, count, target, count);
}

}  // namespace orvik
