// The hash of a string's units.
#pragma once

#include <string_view>

#include <cstdint>

namespace orvik::plist {

// SipHash-1-3 with a key that each process draws for itself, so that nobody can put keys into a
// file that meet in a dictionary. Bytes have the hash of the units of the same values.
std::uint32_t HashOfUnits(std::string_view latin1);
std::uint32_t HashOfUnits(std::u16string_view units);

}  // namespace orvik::plist
