// printf and scanf over UTF-16 arrays.
//
// Formats are those of the platform's formatter: "%S" takes a UTF-16 array, "%s" zero-terminated
// 8-bit text, "%@" a platform object, the rest is printf. A format that cannot be carried out gives
// -1 and writes nothing.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace [[gnu::visibility("default")]] orvik {

// The buffer must be large enough. The result's length.
int vsucaprintf(char16_t* buffer, const char16_t* format, std::va_list arguments);
int sucaprintf(char16_t* buffer, const char16_t* format, ...);

// At most size - 1 units and a terminator. The result's length when it is below size - 1, `size`
// when it was cut or filled the buffer. Nothing is written for size 0.
int vsnucaprintf(char16_t* buffer, int size, const char16_t* format, std::va_list arguments);
int snucaprintf(char16_t* buffer, int size, const char16_t* format, ...);

// Writes the units, two bytes each in machine order. The number of units, -1 when not all could be
// written.
int vfucaprintf(std::FILE* stream, const char16_t* format, std::va_list arguments);
int fucaprintf(std::FILE* stream, const char16_t* format, ...);
int vucaprintf(const char16_t* format, std::va_list arguments);
int ucaprintf(const char16_t* format, ...);

// libc's vswscanf over the UTF-32 forms; string conversions store 32-bit wide characters.
int vsucascanf(const char16_t* input, const char16_t* format, std::va_list arguments);
int sucascanf(const char16_t* input, const char16_t* format, ...);

}  // namespace orvik
