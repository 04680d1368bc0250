// The texts of the XML form: numbers, dates, data, and the characters of strings.
//
//   element   read                                         written
//   integer   ParseInteger  -0x10, +16, 16                 AppendInteger  decimal
//   real      ParseReal     1.5e3, inf, NaN                AppendReal     the shortest that reads
//   back date      ParseDate     2001-01-01T00:00:00Z (ISO      AppendDate     the same, and with a
//                           8601), exact="..."             AppendExactDate  fraction its attribute
//   data      ParseData     Base64 (RFC 4648)              AppendData     Base64 in lines
//   string    UnescapeText  U+FDD0 0000                    AppendEscapedText  as forms.h says
//
// The functions hold no state and may be called from any thread. They fail only where they say so;
// an allocation failure throws std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/sink.h"

namespace orvik::plist {

// Each Parse function takes the whole text of an element, with white space around it, and gives
// nothing if the text is not a value of the kind.

// Decimal digits, or hexadecimal ones after "0x", with an optional sign.
std::optional<Integer> ParseInteger(std::string_view text);

// A decimal number, "nan", or "inf" or "infinity" with an optional sign, in any case.
std::optional<double> ParseReal(std::string_view text);

// YYYY-MM-DDTHH:MM:SSZ (ISO 8601, time zone UTC), in seconds from 2001-01-01. The time, or the end
// of it, may be missing, and the year may have a sign and more digits. `exact` is the value of the
// element's attribute of that name, or empty. It counts only if the text is the one that is written
// for its date, so that a program that changes the text alone changes the date.
std::optional<double> ParseDate(std::string_view text, std::string_view exact = {});

// Base64 (RFC 4648). Characters outside its alphabet are passed over.
std::optional<std::string> ParseData(std::string_view text);

// Decimal digits, with "-" for a negative number.
void AppendInteger(std::string& xml, Integer value);

// As few digits as read back as the same double.
void AppendReal(std::string& xml, double value);

// Rounded down to the second. A date that has no year of at most eight digits is written as the
// start of year 1, the end of year 9999, or the start of 2001 (not a number).
void AppendDate(std::string& xml, double seconds);

// The attribute of a date that its text does not give back, with a space before it: the 16
// hexadecimal digits of the IEEE 754 double. Nothing for other dates.
inline constexpr std::string_view kExactDate = "exact";
void AppendExactDate(std::string& xml, double seconds);

// Lines of Base64, each behind the indentation, no wider than 76 columns with tabs of eight.
void AppendData(std::string& xml, std::string_view bytes, int indentation);

// Appends the text as UTF-8 character data of XML: every unit that XML cannot carry escaped, markup
// characters as entities, a carriage return as "&#13;".
void AppendEscapedText(std::string& xml, const Text& text);

// Character data of XML is plain when it is ASCII and the function above would write the same.
// (Some that it would write is not plain: text with references, or beyond ASCII.) This finds the
// first byte that is not plain, "<" included.
size_t PlainTextEnd(std::string_view xml, size_t position);

// UTF-8 of a text for a form that carries controls, but no lone surrogates: those, and what would
// read as an escape, are escaped.
std::string EscapedSurrogates(const Text& text);

// Undoes the escapes of either in place; the text never grows. Text that other programs have
// written and that only looks like an escape in part stays as it is.
void UnescapeText(std::u16string& text);

}  // namespace orvik::plist
