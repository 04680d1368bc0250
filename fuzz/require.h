// How a fuzz target reports that a promise was broken, and how it makes texts of its input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace orvik::fuzz {

inline void Require(bool holds) {
  if (!holds) std::abort();
}

inline std::string Bytes(const std::uint8_t* data, std::size_t size) {
  return std::string(data, data + size);
}

// Two bytes a unit, low byte first; a last odd byte is left out.
inline std::u16string Units(const std::uint8_t* data, std::size_t size) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    units += static_cast<char16_t>(data[i] | data[i + 1] << 8);
  }
  return units;
}

// The same up to the first NUL.
inline std::u16string UnitsToNul(const std::uint8_t* data, std::size_t size) {
  const std::u16string units = Units(data, size);
  return units.substr(0, units.find(u'\0'));
}

}  // namespace orvik::fuzz
