#include "strings/uca.h"
#include "strings/auto_release.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string_view>

#include "platform/carbon/collation.h"
#include "platform/core_foundation/string.h"
#include "strings/platform_text.h"
#include "strings/text_view.h"
#include "strings/unit_search.h"
#include "text/formatter.h"

namespace orvik {

namespace {

constexpr UCCollateOptions kWithCase = kUCCollateStandardOptions;
constexpr UCCollateOptions kWithoutCase = kWithCase | kUCCollateCaseInsensitiveMask;

int Order(std::u16string_view a, std::u16string_view b, UCCollateOptions options) {
  SInt32 order = 0;
  Boolean equivalent = false;
  const OSStatus status =
      UCCompareTextDefault(options, a.data(), a.size(), b.data(), b.size(), &equivalent, &order);
  return status != 0 || equivalent != 0 ? 0 : order;
}

int OrderOfUnits(const char16_t* a, const char16_t* b, int n, UCCollateOptions options) {
  if (n < 1 || a == nullptr || b == nullptr) return 0;
  const auto count = static_cast<std::size_t>(n);
  return Order({a, count}, {b, count}, options);
}

char16_t* Find(char16_t* text, const char16_t* sub) {
  if (text == nullptr) return nullptr;
  const std::size_t at = FindUnits(ViewOf(text), ViewOf(sub));
  return at == kNotFound ? nullptr : text + at;
}

// A platform string over the array, cut at the longest length of a platform string.
CAutoCFRelease<CFStringRef> Wrapped(const char16_t* text) {
  const auto units = ViewOf(text).substr(0, kMaximumStringLength);
  return CAutoCFRelease<CFStringRef>(NSString::NewNoCopy(units, false));
}

}  // namespace

int ucalen(const char16_t* text) {
  return static_cast<int>(std::min<std::size_t>(ViewOf(text).size(), INT_MAX));
}

char16_t* ucacpy(char16_t* target, const char16_t* source) {
  const std::u16string_view text = ViewOf(source);
  target[text.copy(target, text.size())] = 0;
  return target;
}

char16_t* ucancpy(char16_t* target, const char16_t* source, int n) {
  int i = 0;
  for (; i < n && source != nullptr && source[i] != 0; ++i) target[i] = source[i];
  for (; i < n; ++i) target[i] = 0;
  return target;
}

char16_t* ucacat(char16_t* target, const char16_t* source) {
  ucacpy(target + ViewOf(target).size(), source);
  return target;
}

char16_t* ucancat(char16_t* target, const char16_t* source, int n) {
  char16_t* end = target + ViewOf(target).size();
  for (int i = 0; i < n && source != nullptr && source[i] != 0; ++i) *end++ = source[i];
  *end = 0;
  return target;
}

char16_t* ucareverse(char16_t* text) {
  if (text != nullptr) std::reverse(text, text + ViewOf(text).size());
  return text;
}

char16_t* ucaupr(char16_t* text) {
  MapCaseInPlace(text, ViewOf(text).size(), CFStringUppercase);
  return text;
}
char16_t* ucalwr(char16_t* text) {
  MapCaseInPlace(text, ViewOf(text).size(), CFStringLowercase);
  return text;
}

char16_t* ucastr(char16_t* text, const char16_t* sub) {
  return Find(text, sub);
}
const char16_t* ucastr(const char16_t* text, const char16_t* sub) {
  return Find(const_cast<char16_t*>(text), sub);
}

int ucatoi(const char16_t* text) {
  return CFStringGetIntValue(Wrapped(text));
}
double ucatof(const char16_t* text) {
  return CFStringGetDoubleValue(Wrapped(text));
}

int ucacmp(const char16_t* a, const char16_t* b) {
  return Order(ViewOf(a), ViewOf(b), kWithCase);
}
int ucacoll(const char16_t* a, const char16_t* b) {
  return ucacmp(a, b);
}
int ucaicmp(const char16_t* a, const char16_t* b) {
  return Order(ViewOf(a), ViewOf(b), kWithoutCase);
}
int ucaicoll(const char16_t* a, const char16_t* b) {
  return ucaicmp(a, b);
}
int ucancmp(const char16_t* a, const char16_t* b, int n) {
  return OrderOfUnits(a, b, n, kWithCase);
}
int ucancoll(const char16_t* a, const char16_t* b, int n) {
  return ucancmp(a, b, n);
}
int ucanicmp(const char16_t* a, const char16_t* b, int n) {
  return OrderOfUnits(a, b, n, kWithoutCase);
}
int ucanicoll(const char16_t* a, const char16_t* b, int n) {
  return ucanicmp(a, b, n);
}

char16_t* itouca(int value, char16_t* buffer, int radix) {
  const char* format = radix == 10 ? "%d" : radix == 16 ? "%x" : radix == 8 ? "%o" : nullptr;
  if (format == nullptr) return nullptr;
  char digits[16];
  const int length = std::snprintf(digits, sizeof digits, format, value);
  WidenLatin1(digits, buffer, static_cast<std::size_t>(length) + 1);
  return buffer;
}

void CAtoUCA(const char* source, char16_t* target, int n) {
  if (source == nullptr || n < 1) return;
  WidenLatin1(source, target, strnlen(source, static_cast<std::size_t>(n)));
}

void UCAtoCA(const char16_t* source, char* target, int n) {
  if (source == nullptr || n < 1) return;
  NarrowLatin1(source, target, static_cast<std::size_t>(n));
  target[n] = 0;
}

namespace {

static_assert(sizeof(wchar_t) == sizeof(UTF32));

// wchar_t has the values of UTF32 here, but is a distinct type.
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

namespace {

// For both kinds of argument lists. False when the format is null or invalid.
template <typename List>
bool FormatInto(FormatBuffer& result, std::u16string_view format, List& arguments) {
  return format.data() != nullptr && FormatUnits(result, format, arguments, DescribeObject);
}

// INT_MAX as size never cuts: kMaximumFormattedLength is smaller.
template <typename List>
int PrintToArray(char16_t* buffer, int size, std::u16string_view format, List& arguments) {
  FormatBuffer result;
  if (!FormatInto(result, format, arguments)) return -1;
  if (size < 1) return 0;
  const std::u16string_view units = result.units();
  const auto room = static_cast<std::size_t>(size) - 1;
  buffer[units.copy(buffer, room)] = 0;
  return units.size() < room ? static_cast<int>(units.size()) : size;
}

template <typename List>
int PrintToStream(std::FILE* stream, std::u16string_view format, List& arguments) {
  FormatBuffer result;
  if (stream == nullptr || !FormatInto(result, format, arguments)) return -1;
  const std::u16string_view units = result.units();
  const std::size_t written = std::fwrite(units.data(), sizeof(char16_t), units.size(), stream);
  return written == units.size() ? static_cast<int>(written) : -1;
}

}  // namespace

int vsucaprintf(char16_t* buffer, const char16_t* format, std::va_list arguments) {
  return PrintToArray(buffer, INT_MAX, ViewOf(format), arguments);
}
int vsucaprintf(char16_t* buffer, std::u16string_view format,
                std::span<const FormatArgument> arguments) {
  return PrintToArray(buffer, INT_MAX, format, arguments);
}

int vsnucaprintf(char16_t* buffer, int size, const char16_t* format, std::va_list arguments) {
  return PrintToArray(buffer, size, ViewOf(format), arguments);
}
int vsnucaprintf(char16_t* buffer, int size, std::u16string_view format,
                 std::span<const FormatArgument> arguments) {
  return PrintToArray(buffer, size, format, arguments);
}

int vfucaprintf(std::FILE* stream, const char16_t* format, std::va_list arguments) {
  return PrintToStream(stream, ViewOf(format), arguments);
}
int vfucaprintf(std::FILE* stream, std::u16string_view format,
                std::span<const FormatArgument> arguments) {
  return PrintToStream(stream, format, arguments);
}

int vucaprintf(const char16_t* format, std::va_list arguments) {
  return vfucaprintf(stdout, format, arguments);
}

int vsucascanf(const char16_t* input, const char16_t* format, std::va_list arguments) {
  if (input == nullptr || format == nullptr) return 0;
  const std::unique_ptr<wchar_t[]> wide_input(makeWCA32FromUCA(input));
  const std::unique_ptr<wchar_t[]> wide_format(makeWCA32FromUCA(format));
  return std::vswscanf(wide_input.get(), wide_format.get(), arguments);
}

int sucascanf(const char16_t* input, const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int count = vsucascanf(input, format, arguments);
  va_end(arguments);
  return count;
}

}  // namespace orvik
