#include "strings/utf8_strings.h"

#include <algorithm>
#include <climits>
#include <new>

#include "strings/code_pages.h"

namespace orvik {

namespace {

// Units of text that are converted on the stack, and the bytes that one can become in UTF-8.
constexpr int kShort = 256;
constexpr int kBytesPerUnit = 3;

CAtlString WideFrom(const CAtlStringA& text, unsigned int code_page) {
  constexpr int kMargin = 10;
  const int length = text.GetLength();
  if (length > INT_MAX - kMargin) throw std::bad_array_new_length();
  CAtlString wide;
  char16_t* const units = wide.GetBuffer(length + kMargin);
  const int produced =
      MultiByteToWideChar(code_page, 0, text.GetString(), length, units, length + kMargin);
  wide.ReleaseBuffer(std::max(produced, 0));
  return wide;
}

int Utf8From(const CAtlString& text, char* bytes, int room) {
  return WideCharToMultiByte(CP_UTF8, 0, text.GetString(), text.GetLength(), bytes, room, nullptr,
                             nullptr);
}

}  // namespace

CAtlString MakeWideStringFromASCIIString(const CAtlStringA& text) {
  return WideFrom(text, CP_ACP);
}

CAtlString MakeWideStringFromUTF8String(const CAtlStringA& text) {
  return WideFrom(text, CP_UTF8);
}

CAtlStringA MakeUTF8StringFromUnicodeString(const CAtlString& text) {
  // A short text is converted once and copied, which is faster than measuring it first.
  if (text.GetLength() <= kShort) {
    char bytes[kShort * kBytesPerUnit];
    return CAtlStringA(bytes, Utf8From(text, bytes, sizeof bytes));
  }
  CAtlStringA utf8;
  const int length = Utf8From(text, nullptr, 0);
  utf8.ReleaseBuffer(Utf8From(text, utf8.GetBuffer(length), length));
  return utf8;
}

}  // namespace orvik
