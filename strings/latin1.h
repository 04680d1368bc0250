// ISO 8859-1: a byte is the code unit of the same value.
#pragma once

#include <cstddef>

namespace orvik {

// Widens `count` bytes, 0 bytes too, and writes no terminator.
inline void WidenBytes(const char* from, std::size_t count, char16_t* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<unsigned char>(from[i]);
}

// The byte of a unit; "?" for a unit above 255.
inline char NarrowUnit(char16_t unit) { return unit < 256 ? static_cast<char>(unit) : '?'; }

// Narrows `count` units, 0 units too, and writes no terminator.
inline void NarrowUnits(const char16_t* from, std::size_t count, char* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = NarrowUnit(from[i]);
}

}  // namespace orvik
