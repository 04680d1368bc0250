// Copying for the streams, whose callers write many pieces of a few bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace [[gnu::visibility("default")]] orvik {

// memcpy, without the call for up to 16 bytes: two moves that may overlap cover a piece. Nothing is
// touched for 0 bytes.
inline void CopyPiece(unsigned char* to, const void* from_bytes, std::size_t count) {
  const auto* const from = static_cast<const unsigned char*>(from_bytes);
  const auto ends = [&]<typename Word>(Word first, Word last) {
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + count - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + count - sizeof last, &last, sizeof last);
  };
  if (count > 16) {
    std::memcpy(to, from, count);
  } else if (count >= 8) {
    ends(std::uint64_t{}, std::uint64_t{});
  } else if (count >= 4) {
    ends(std::uint32_t{}, std::uint32_t{});
  } else if (count >= 2) {
    ends(std::uint16_t{}, std::uint16_t{});
  } else if (count == 1) {
    *to = *from;
  }
}

}  // namespace orvik
