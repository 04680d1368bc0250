// The formatter for wide and narrow text.
//
// A format is text with conversions "%[n$][flags][width][.precision][length]conversion":
//
//   flags      - + space # 0 (' is taken and groups nothing)   width, precision   digits, * or *n$
//   length     hh h l ll q L z t j
//   %@         an object's description           %S  a zero-terminated char16_t array
//   %s         zero-terminated Mac OS Roman      %C  a char16_t      %c  a byte of Mac OS Roman
//   %ls %lc    as %S and %C                      %hS %hC  as %s and %c
//   %d %D %i %u %U %x %X %o %O %p %e %E %f %F %g %G %a %A %%         as printf
//
// A null %s, %S or %@ is shown as "(null)"; a precision limits how much of the text is read and
// shown. An unknown conversion is copied to the result and takes no argument. %n is not carried
// out. Numbers with a fraction have "." in every locale of libc.
//
// Arguments come either as a list of C, where only the format names the types, or together with
// their types. With types, the argument decides how it is shown: %s, %S and %@ all accept a wide
// and a narrow text, and %d shows an integer in its full size (hh and h cut it). Positions may then
// leave out arguments, and a format is refused when an argument is missing or its conversion does
// not take it (text/format_spec.h).
//
// A format is refused (false) when it mixes positions with other arguments, when the positions of a
// list of C leave out an argument ("%2$d" alone: without the type of the first argument, the second
// cannot be reached), or when the result would exceed kMaximumFormattedLength units, its widths and
// precisions included.
#pragma once

#include <cstdarg>
#include <span>
#include <string>
#include <string_view>

#include "text/format_buffer.h"
#include "text/format_spec.h"

namespace [[gnu::visibility("default")]] orvik {

enum class FormatStyle {
  kPlain,
  // Formats as if every "%s" in the format's text had first been replaced by "%S".
  kSmallStringsAreWide,
};

// Returns the text that "%@" shows for the object, which is never null.
using ObjectDescriber = std::u16string (*)(const void* object);

// Appends the formatted text to the buffer. False after a failure, which may leave a part of the
// text in the buffer. Without a describer every object is shown as "(null)".
bool FormatUnits(FormatBuffer& result, std::u16string_view format, std::va_list arguments,
                 ObjectDescriber describe, FormatStyle style = FormatStyle::kPlain);

bool FormatUnits(FormatBuffer& result, std::u16string_view format,
                 std::span<const FormatArgument> arguments, ObjectDescriber describe,
                 FormatStyle style = FormatStyle::kPlain);

// The same with a format in Mac OS Roman. The result is UTF-16, too.
bool FormatMacRoman(FormatBuffer& result, std::string_view format, std::va_list arguments,
                    ObjectDescriber describe);
bool FormatMacRoman(FormatBuffer& result, std::string_view format,
                    std::span<const FormatArgument> arguments, ObjectDescriber describe);

}  // namespace orvik
