// The texts of the XML form: numbers, dates, data, and the characters of strings.
//
//   element   read                                       written
//   integer   ParseInteger  -0x10, +16, 16               AppendInteger      decimal
//   real      ParseReal     1.5e3, inf, NaN              AppendReal         the fewest exact digits
//   date      ParseDate     2001-01-01T00:00:00Z (ISO    AppendDate         the same
//                           8601), exact="..."           AppendExactDate    exact="...", if needed
//   data      ParseData     Base64 (RFC 4648)            AppendData         Base64 in lines
//   string    UnescapeText  U+FDD0 0000                  AppendEscapedText  as forms.h says
//
// The functions hold no state and may be called from any thread. They fail only where they say so;
// an allocation failure throws std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/sink.h"

namespace orvik::plist {

// Each Parse function takes the whole text of an element, including white space around it, and
// returns nothing if the text is not a value of that type.

// Decimal digits, or hexadecimal ones after "0x", with an optional sign.
std::optional<Integer> ParseInteger(std::string_view text);

// A decimal number, "nan", or "inf" or "infinity" with an optional sign, in any case.
std::optional<double> ParseReal(std::string_view text);

// YYYY-MM-DDTHH:MM:SSZ (ISO 8601, time zone UTC), in seconds from 2001-01-01. The time, or its end,
// may be missing, and the year may have a sign and more digits. `exact` is the value of the
// element's attribute of that name, or empty. It counts only if the text is exactly the text of its
// date, so that a program that changes only the text changes the date.
std::optional<double> ParseDate(std::string_view text, std::string_view exact = {});

// Base64 (RFC 4648). Skips characters outside the alphabet.
std::optional<std::string> ParseData(std::string_view text);

// Decimal digits, with "-" for a negative number.
void AppendInteger(std::string& xml, Integer value);

// The fewest digits that read back as the same double.
void AppendReal(std::string& xml, double value);

// Rounds down to the second. A date without a year of at most eight digits is written as the start
// of year 1, the end of year 9999, or (not a number) the start of 2001.
void AppendDate(std::string& xml, double seconds);

// Appends the attribute of a date whose text alone would not read back as the same date, after a
// space: the 16 hexadecimal digits of the IEEE 754 double. Appends nothing for other dates.
inline constexpr std::string_view kExactDate = "exact";
void AppendExactDate(std::string& xml, double seconds);

// Appends lines of Base64 with `indentation` tabs, at most 76 columns wide if a tab is eight
// columns.
void AppendData(std::string& xml, std::string_view bytes, int indentation);

// Appends the text as UTF-8 character data of XML: units that XML cannot carry are escaped, markup
// characters become entities, and a carriage return becomes "&#13;".
void AppendEscapedText(std::string& xml, const Text& text);

// Returns the position of the first byte from `position` on that is not plain. Plain character data
// is ASCII that AppendEscapedText would write unchanged; "<", references and other characters are
// not plain.
size_t PlainTextEnd(std::string_view xml, size_t position);

// The UTF-8 of a text for a form that can carry controls but not lone surrogates. Lone surrogates,
// and text that would read as an escape, are escaped.
std::string EscapedSurrogates(const Text& text);

// Reverses both kinds of escapes in place; the text never grows. Text of other programs that only
// resembles an escape stays unchanged.
void UnescapeText(std::u16string& text);

}  // namespace orvik::plist
