// printf and scanf over UTF-16 arrays.
//
// Arguments come with their types (strings/format_text.h): "%s" and "%S" take wide and narrow text
// alike, "%@" a platform object, the rest is printf. In an argument list of C, whose types are what
// the format says, "%S" takes a char16_t array and "%s" zero-terminated 8-bit text. A format that
// cannot be carried out, and a result longer than kMaximumFormattedLength units, gives -1 and
// writes nothing.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <span>
#include <string_view>

#include "strings/format_text.h"

namespace [[gnu::visibility("default")]] orvik {

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
