// Numbers in the form that a conversion asks for, appended to a result; false when that would
// become too long.
#pragma once

#include <cstdint>

#include "text/format_buffer.h"
#include "text/format_spec.h"

namespace orvik {

// The argument is cut to the conversion's length and taken as signed or not as it says.
bool PutInteger(FormatBuffer& out, const FormatSpec& spec, std::intmax_t argument);
// By "d", "u" or "x", without flags, width and precision.
bool PutPlainInteger(FormatBuffer& out, std::uintmax_t magnitude, bool is_negative,
                     char16_t conversion);

bool PutReal(FormatBuffer& out, const FormatSpec& spec, double value);
bool PutReal(FormatBuffer& out, const FormatSpec& spec, long double value);

bool PutAddress(FormatBuffer& out, const FormatSpec& spec, const void* address);

}  // namespace orvik
