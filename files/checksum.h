// The 32-bit cyclic redundancy check over the generator polynomial of IEEE 802.3 (0x04C11DB7),
// most significant bit first, initial value 0, no reflection and no final inversion.
//
//   "123456789" -> 0x89A1897F      "a" -> 0xA864DB20      an empty text -> 0
//
// Thread-safe. A length (in bytes) of 0 or less, or a null pointer, gives 0.
#pragma once

#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {

// Continues a checksum: the result for A followed by B is ContinueCRC32(CalculateCRC32(A), B).
std::uint32_t ContinueCRC32(std::uint32_t checksum, const unsigned char* bytes, long length);

inline std::uint32_t CalculateCRC32(const unsigned char* bytes, long length) {
  return ContinueCRC32(0, bytes, length);
}

// The same over characters.
inline std::uint32_t _CalculateCRC32(const char* text, long length) {
  return CalculateCRC32(reinterpret_cast<const unsigned char*>(text), length);
}

// Builds the table early; otherwise the first checksum builds it.
void gen_crc_table();

}  // namespace orvik
