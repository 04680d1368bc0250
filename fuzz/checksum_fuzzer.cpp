// The checksum: every way of computing it gives the same, and so does computing it in two pieces.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "files/checksum.h"
#include "files/checksum_variants.h"
#include "fuzz/require.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> copy(data, data + size);
  const std::span<const unsigned char> bytes(copy);
  const std::uint32_t whole = orvik::CalculateCRC32(copy.data(), static_cast<long>(size));
  Require(orvik::crc32::Portable(0, bytes) == whole);
  if (orvik::crc32::HasCarrylessMultiplication()) {
    Require(orvik::crc32::CarrylessMultiplication(0, bytes) == whole);
  }
  if (orvik::crc32::HasWideCarrylessMultiplication()) {
    Require(orvik::crc32::WideCarrylessMultiplication(0, bytes) == whole);
  }
  if (size == 0) return 0;
  const long first = static_cast<long>(data[0] % size);
  Require(orvik::ContinueCRC32(orvik::CalculateCRC32(copy.data(), first), copy.data() + first,
                               static_cast<long>(size) - first) == whole);
  return 0;
}
