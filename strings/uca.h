// Zero-terminated arrays of UTF-16 code units (UCA), the counterpart of libc's <string.h>.
//
// No function looks at surrogate pairs. All counts are code units. Targets must be large enough. A
// null array counts as an empty one where a function only reads it.
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

// The functions that copy and append return the target.

char16_t* ucacpy(char16_t* target, const char16_t* source);
// Writes exactly n units: a shorter source is padded with 0 units; a longer one leaves no
// terminator.
char16_t* ucancpy(char16_t* target, const char16_t* source, int n);
char16_t* ucacat(char16_t* target, const char16_t* source);
// Appends at most n units and a terminator.
char16_t* ucancat(char16_t* target, const char16_t* source, int n);

// Reverses the units in place. Returns the text.
char16_t* ucareverse(char16_t* text);
// Map the case in place, under the current locale. A longer result is cut at the old length.
char16_t* ucaupr(char16_t* text);
char16_t* ucalwr(char16_t* text);

// The first literal occurrence of sub, or null; the text itself for a null or empty sub.
char16_t* ucastr(char16_t* text, const char16_t* sub);
const char16_t* ucastr(const char16_t* text, const char16_t* sub);

// Reads leading white space, a sign and digits; 0 when there are no digits.
int ucatoi(const char16_t* text);
// The same with an exponent and a decimal point, which is "." in every locale.
double ucatof(const char16_t* text);

// "0" to "9"; false for other Unicode digits.
constexpr bool isucdigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

// Order in the current locale's collation: below, equal to or above 0; 0 also when it fails.
int ucacmp(const char16_t* a, const char16_t* b);
int ucacoll(const char16_t* a, const char16_t* b);
int ucaicmp(const char16_t* a, const char16_t* b);
int ucaicoll(const char16_t* a, const char16_t* b);
// The same for exactly the first n units of both.
int ucancmp(const char16_t* a, const char16_t* b, int n);
int ucancoll(const char16_t* a, const char16_t* b, int n);
int ucanicmp(const char16_t* a, const char16_t* b, int n);
int ucanicoll(const char16_t* a, const char16_t* b, int n);

// Writes the value in radix 10 (signed), 16 (lower-case) or 8; returns null for another radix.
char16_t* itouca(int value, char16_t* buffer, int radix);

// The code unit of the byte's value (ISO 8859-1).
constexpr char16_t makeUCHFromCH(char byte) {
  return static_cast<unsigned char>(byte);
}

// Widens n bytes, or fewer up to the terminator; writes no terminator.
void CAtoUCA(const char* source, char16_t* target, int n);
// Narrows n units and writes a terminator at target[n]. Units above 255 become "?". Does nothing
// for n < 1.
void UCAtoCA(const char16_t* source, char* target, int n);

// Arrays from and to 8-bit text (ISO 8859-1) and 32-bit wide characters (UTF-32).
//
// A "make" function allocates its result with new[] for the caller (delete[], or freeWCA32Str). It
// returns null for a null argument. A conversion stops before an unpaired surrogate or an illegal
// value; the rest of the result is 0.

char16_t* makeUCAFromCA(const char* text);
// Null for an empty array. Units above 255 become "?".
char* makeCAFromUCA(const char16_t* text);
// ucalen + 1 elements.
wchar_t* makeWCA32FromUCA(const char16_t* text);
// wcslen + 1 units: when characters above U+FFFF leave too little room, the text ends early.
char16_t* makeUCAFromWCA32(const wchar_t* text);
void freeWCA32Str(wchar_t* text);

// Convert n elements into room for n. Return the ConversionResult, or n itself when n < 1. Write no
// terminator.
int UCAtoWCA32(const char16_t* source, wchar_t* target, int n);
int WCA32toUCA(const wchar_t* source, char16_t* target, int n);

// printf and scanf over UTF-16 arrays.
//
// Arguments come with their types (strings/format_text.h): "%s" and "%S" take wide and narrow
// text, "%@" takes a platform object; the rest is as in printf. In a va_list the format decides the
// types: "%S" takes a char16_t array and "%s" zero-terminated 8-bit text. An invalid format and a
// result longer than kMaximumFormattedLength units give -1 and write nothing.

// The buffer must be large enough. Returns the length of the result.
int vsucaprintf(char16_t* buffer, const char16_t* format, std::va_list arguments);
int vsucaprintf(char16_t* buffer, std::u16string_view format,
                std::span<const FormatArgument> arguments);
template <Formattable... Arguments>
int sucaprintf(char16_t* buffer, FormatTextFor<char16_t, Arguments...> format,
               const Arguments&... arguments) {
  return vsucaprintf(buffer, format.View(), FormatList(arguments...));
}

// Writes at most size - 1 units and a terminator. Returns the length of the result if it is below
// size - 1, and `size` if the result filled the buffer or was cut. Writes nothing for size 0.
int vsnucaprintf(char16_t* buffer, int size, const char16_t* format, std::va_list arguments);
int vsnucaprintf(char16_t* buffer, int size, std::u16string_view format,
                 std::span<const FormatArgument> arguments);
template <Formattable... Arguments>
int snucaprintf(char16_t* buffer, int size, FormatTextFor<char16_t, Arguments...> format,
                const Arguments&... arguments) {
  return vsnucaprintf(buffer, size, format.View(), FormatList(arguments...));
}

// Write the units, two bytes each in machine order. Return the number of units, or -1 when not all
// were written. ucaprintf writes to the standard output.
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

// libc's vswscanf on the UTF-32 forms; string conversions such as "%ls" store 32-bit wide
// characters.
int vsucascanf(const char16_t* input, const char16_t* format, std::va_list arguments);
int sucascanf(const char16_t* input, const char16_t* format, ...);

}  // namespace orvik
