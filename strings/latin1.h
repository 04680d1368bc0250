// ISO 8859-1: a byte is the code unit of the same value.
#pragma once

#include <cstddef>

namespace orvik {

// Widens `count` bytes, 0 bytes too, and writes no terminator.
inline void WidenLatin1(const char* from, std::size_t count, char16_t* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<unsigned char>(from[i]);
}

// The byte of a unit; "?" for a unit above 255.
inline char NarrowLatin1Unit(char16_t unit) {
  return unit < 256 ? static_cast<char>(unit) : '?';
}

// Narrows `count` units, 0 units too, and writes no terminator.
inline void NarrowLatin1(const char16_t* from, std::size_t count, char* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = NarrowLatin1Unit(from[i]);
}

}  // namespace orvik
