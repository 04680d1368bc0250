// Copying texts, most of which are short.
#pragma once

#include <cstddef>
#include <cstring>

namespace [[gnu::visibility("default")]] orvik {

// Copies between kSize and twice kSize bytes, as two parts that may overlap. Both parts are read
// before one is written.
template <std::size_t kSize>
void CopyEnds(char* to, const char* from, std::size_t bytes) {
  char first[kSize];
  char last[kSize];
  std::memcpy(first, from, kSize);
  std::memcpy(last, from + bytes - kSize, kSize);
  std::memcpy(to, first, kSize);
  std::memcpy(to + bytes - kSize, last, kSize);
}

// Copies n units. Up to 32 bytes go without a call. The places may overlap.
template <typename Unit>
void CopyUnits(Unit* to, const Unit* from, std::size_t n) {
  const std::size_t bytes = n * sizeof(Unit);
  char* const target = reinterpret_cast<char*>(to);
  const char* const source = reinterpret_cast<const char*>(from);
  if (bytes > 32) {
    std::memmove(target, source, bytes);
  } else if (bytes >= 16) {
    CopyEnds<16>(target, source, bytes);
  } else if (bytes >= 8) {
    CopyEnds<8>(target, source, bytes);
  } else if (bytes >= 4) {
    CopyEnds<4>(target, source, bytes);
  } else {
    Unit few[3];
    for (std::size_t i = 0; i < n; ++i) few[i] = from[i];
    for (std::size_t i = 0; i < n; ++i) to[i] = few[i];
  }
}

}  // namespace orvik
