// Zero-terminated arrays of UTF-16 code units (UCA), the counterpart of libc's <string.h>.
//
// No function looks at surrogate pairs; all counts are code units; targets must be large enough.
// A null array is taken as an empty one where nothing is written to it.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <span>
#include <string_view>

#include "strings/format_text.h"
#include "strings/unicode_conversions.h"
#include "text/transcoding.h"  // WidenLatin1, NarrowLatin1

namespace [[gnu::visibility("default")]] orvik {

// Units before the terminator.
int ucalen(const char16_t* text);

// Copying and appending return the target.

char16_t* ucacpy(char16_t* target, const char16_t* source);
// Exactly n units: a shorter source is filled up with 0 units, a longer one leaves no terminator.
char16_t* ucancpy(char16_t* target, const char16_t* source, int n);
char16_t* ucacat(char16_t* target, const char16_t* source);
// Appends at most n units and a terminator.
char16_t* ucancat(char16_t* target, const char16_t* source, int n);

// In place, the units one by one. Returns the text.
char16_t* ucareverse(char16_t* text);
// Under the current locale; the length stays, what would be longer is cut at it.
char16_t* ucaupr(char16_t* text);
char16_t* ucalwr(char16_t* text);

// The first literal occurrence of sub, or null; the text itself for a null or empty sub.
char16_t* ucastr(char16_t* text, const char16_t* sub);
const char16_t* ucastr(const char16_t* text, const char16_t* sub);

// Leading white space, a sign and digits; 0 when there are none.
int ucatoi(const char16_t* text);
// The same with a decimal point, which is "." in every locale, and an exponent.
double ucatof(const char16_t* text);

// "0" to "9", and no other digit of Unicode.
constexpr bool isucdigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

// Order in the current locale's collation: below, equal to or above 0; 0 also when it fails.
int ucacmp(const char16_t* a, const char16_t* b);
int ucacoll(const char16_t* a, const char16_t* b);
int ucaicmp(const char16_t* a, const char16_t* b);
int ucaicoll(const char16_t* a, const char16_t* b);
// Exactly the first n units of both.
int ucancmp(const char16_t* a, const char16_t* b, int n);
int ucancoll(const char16_t* a, const char16_t* b, int n);
int ucanicmp(const char16_t* a, const char16_t* b, int n);
int ucanicoll(const char16_t* a, const char16_t* b, int n);

// The value in radix 10 (signed), 16 (lower-case) or 8; null for another radix.
char16_t* itouca(int value, char16_t* buffer, int radix);

// The code unit of the byte's value (ISO 8859-1).
constexpr char16_t makeUCHFromCH(char byte) {
  return static_cast<unsigned char>(byte);
}

// Widens n bytes, fewer when the terminator comes first; writes no terminator.
void CAtoUCA(const char* source, char16_t* target, int n);
// Narrows n units, those above 255 to "?", and writes a terminator at target[n]; nothing for n < 1.
void UCAtoCA(const char16_t* source, char* target, int n);

// Arrays from and to 8-bit text (ISO 8859-1) and 32-bit wide characters (UTF-32).
//
// The result of a "make" function was allocated with new[] and belongs to the caller (delete[], or
// freeWCA32Str); null for a null argument. An unpaired surrogate or an illegal value ends a
// conversion before it; the rest of the result is 0.

char16_t* makeUCAFromCA(const char* text);
// Null for an empty array. Units above 255 become "?".
char* makeCAFromUCA(const char16_t* text);
// ucalen + 1 elements.
wchar_t* makeWCA32FromUCA(const char16_t* text);
// wcslen + 1 units: when characters above U+FFFF leave too little room, the text ends early.
char16_t* makeUCAFromWCA32(const wchar_t* text);
void freeWCA32Str(wchar_t* text);

// n elements into room for n; the result of the conversion, or n itself when n < 1. Writes no
// terminator.
int UCAtoWCA32(const char16_t* source, wchar_t* target, int n);
int WCA32toUCA(const wchar_t* source, char16_t* target, int n);

// printf and scanf over UTF-16 arrays.
//
// Arguments come with their types (strings/format_text.h): "%s" and "%S" take wide and narrow text
// alike, "%@" a platform object, the rest is printf. In an argument list of C, whose types are what
// the format says, "%S" takes a char16_t array and "%s" zero-terminated 8-bit text. A format that
// cannot be carried out, and a result longer than kMaximumFormattedLength units, gives -1 and
// writes nothing.

// The buffer must be large enough. The result's length.
int vsucaprintf(char16_t* buffer, const char16_t* format, std::va_list arguments);
int vsucaprintf(char16_t* buffer, std::u16string_view format,
                std::span<const FormatArgument> arguments);
template <Formattable... Arguments>
int sucaprintf(char16_t* buffer, FormatTextFor<char16_t, Arguments...> format,
               const Arguments&... arguments) {
  return vsucaprintf(buffer, format.View(), FormatList(arguments...));
}

// At most size - 1 units and a terminator. The result's length when it is below size - 1, `size`
// when it was cut or filled the buffer. Nothing is written for size 0.
int vsnucaprintf(char16_t* buffer, int size, const char16_t* format, std::va_list arguments);
int vsnucaprintf(char16_t* buffer, int size, std::u16string_view format,
                 std::span<const FormatArgument> arguments);
template <Formattable... Arguments>
int snucaprintf(char16_t* buffer, int size, FormatTextFor<char16_t, Arguments...> format,
                const Arguments&... arguments) {
  return vsnucaprintf(buffer, size, format.View(), FormatList(arguments...));
}

// Writes the units, two bytes each in machine order. The number of units, -1 when not all could be
// written. ucaprintf writes to the standard output.
int vfucaprintf(std::FILE* stream, const char16_t* format, std::va_list arguments);
int vfucaprintf(std::FILE* stream, std::u16string_view format,
                std::span<const FormatArgument> arguments);
template <Formattable... Arguments>
int fucaprintf(std::FILE* stream, FormatTextFor<char16_t, Arguments...> format,
               const Arguments&... arguments) {
  return vfucaprintf(stream, format.View(), FormatList(arguments...));
}
int vucaprintf(const char16_t* format, std::va_list arguments);
template <Formattable... Arguments>
int ucaprintf(FormatTextFor<char16_t, Arguments...> format, const Arguments&... arguments) {
  return vfucaprintf(stdout, format.View(), FormatList(arguments...));
}

// libc's vswscanf over the UTF-32 forms; string conversions store 32-bit wide characters.
int vsucascanf(const char16_t* input, const char16_t* format, std::va_list arguments);
int sucascanf(const char16_t* input, const char16_t* format, ...);

}  // namespace orvik
