// The texts of the XML form for integers, reals, dates and data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

// An integer of -2^63 to 2^64 - 1: the bits of a signed value, or of an unsigned one that the
// signed range does not hold.
struct PropertyListInteger {
  std::uint64_t bits = 0;
  bool is_unsigned = false;
};

// Each takes the whole text of an element, with white space around it, and gives nothing when it is
// not a value of the kind.

// Decimal digits, or hexadecimal ones after "0x", with an optional sign.
std::optional<PropertyListInteger> ParsePropertyListInteger(std::string_view text);

// A decimal number, "nan", or "inf" or "infinity" with an optional sign, in any case.
std::optional<double> ParsePropertyListReal(std::string_view text);

// YYYY-MM-DDTHH:MM:SSZ (ISO 8601, time zone UTC), in seconds from 2001-01-01. The time, or the end
// of it, may be missing, and the year may have a sign and more digits.
std::optional<double> ParsePropertyListDate(std::string_view text);

// Base64 (RFC 4648). Characters outside its alphabet are passed over.
std::optional<std::string> ParsePropertyListData(std::string_view text);

void AppendPropertyListInteger(std::string& xml, PropertyListInteger value);

// As few digits as read back as the same double.
void AppendPropertyListReal(std::string& xml, double value);

// Whether the date's year can be written.
bool IsPropertyListDate(double seconds);

// Rounded down to the second.
void AppendPropertyListDate(std::string& xml, double seconds);

// Lines of Base64, each behind the indentation, no wider than 76 columns with tabs of eight.
void AppendPropertyListData(std::string& xml, std::string_view bytes, int indentation);

}  // namespace orvik
