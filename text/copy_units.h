// Copying texts, most of which are short.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

// Copies n units. Up to 32 bytes go without a call, as two parts that may overlap. The places may
// overlap as well.
template <typename Unit>
void CopyUnits(Unit* to, const Unit* from, std::size_t n) {
  const std::size_t bytes = n * sizeof(Unit);
  char* const target = reinterpret_cast<char*>(to);
  const char* const source = reinterpret_cast<const char*>(from);
  const auto copy_ends = [&]<std::size_t kSize>(std::integral_constant<std::size_t, kSize>) {
    char first[kSize];
    char last[kSize];
    std::memcpy(first, source, kSize);
    std::memcpy(last, source + bytes - kSize, kSize);
    std::memcpy(target, first, kSize);
    std::memcpy(target + bytes - kSize, last, kSize);
  };
  if (bytes > 32) {
    std::memmove(target, source, bytes);
  } else if (bytes >= 16) {
    copy_ends(std::integral_constant<std::size_t, 16>());
  } else if (bytes >= 8) {
    copy_ends(std::integral_constant<std::size_t, 8>());
  } else if (bytes >= 4) {
    copy_ends(std::integral_constant<std::size_t, 4>());
  } else {
    Unit few[3];
    for (std::size_t i = 0; i < n; ++i) few[i] = from[i];
    for (std::size_t i = 0; i < n; ++i) to[i] = few[i];
  }
}

}  // namespace orvik
