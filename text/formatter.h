// The one formatter, for wide and narrow text.
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
// A null %s, %S or %@ is "(null)"; a precision limits how much of their text is read and shown. An
// unknown conversion is copied to the result and takes no argument. %n is not carried out. Numbers
// with a fraction use "." whatever the locale of libc says.
//
// Arguments come in a list of C, whose types the format alone says, or with their types. With their
// types each is shown as what it is: a wide and a narrow text are right for %s, %S and %@ alike, an
// integer for %d in its full size (hh and h cut it). Positions may then leave out arguments, and a
// format is refused when an argument is missing or its conversion does not take it
// (text/format_spec.h).
//
// A format is refused (false) when the positions of a list of C leave one out ("%2$d" alone: the
// type of the first is not known, so the second cannot be reached), when positions are mixed with
// other arguments, or when the result would exceed kMaximumFormattedLength units; a width or
// precision is part of that.
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
  // As if every "%s" in the format's text had been replaced by "%S" first.
  kSmallStringsAreWide,
};

// The text that "%@" shows of an object, which is not null.
using ObjectDescriber = std::u16string (*)(const void* object);

// Appends the formatted text to the buffer; false leaves a part of it there. Without a describer
// every object is "(null)".
bool FormatUnits(FormatBuffer& result, std::u16string_view format, std::va_list arguments,
                 ObjectDescriber describe, FormatStyle style = FormatStyle::kPlain);

bool FormatUnits(FormatBuffer& result, std::u16string_view format,
                 std::span<const FormatArgument> arguments, ObjectDescriber describe,
                 FormatStyle style = FormatStyle::kPlain);

// The same with the format in Mac OS Roman. The result is UTF-16 all the same.
bool FormatMacRoman(FormatBuffer& result, std::string_view format, std::va_list arguments,
                    ObjectDescriber describe);
bool FormatMacRoman(FormatBuffer& result, std::string_view format,
                    std::span<const FormatArgument> arguments, ObjectDescriber describe);

}  // namespace orvik
