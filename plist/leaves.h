// The texts of the XML form for integers, reals, dates and data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "plist/sink.h"

namespace orvik::plist {

// Each takes the whole text of an element, with white space around it, and gives nothing when it is
// not a value of the kind.

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

}  // namespace orvik::plist
