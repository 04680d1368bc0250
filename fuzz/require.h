// The report of a broken promise, and texts from the input of a fuzz target.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace orvik::fuzz {

// clang 14 lacks std::source_location.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: a promise is broken\n", file, line);
  std::abort();
}

// A target for a property that the tests check, too.
inline int CheckProperty(std::string (*property)(std::string_view), const std::uint8_t* data,
                         std::size_t size) {
  const std::string fault = property({reinterpret_cast<const char*>(data), size});
  if (!fault.empty()) std::fprintf(stderr, "%s\n", fault.c_str());
  Require(fault.empty());
  return 0;
}

inline std::string Bytes(const std::uint8_t* data, std::size_t size) {
  return std::string(data, data + size);
}

// Makes a unit of two bytes, the low byte first; ignores an odd byte at the end.
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
