// The checksum: every way to compute it, also in two pieces, gives the result of the definition.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "files/checksum.h"
#include "files/checksum_variants.h"
#include "fuzz/choices.h"
#include "fuzz/require.h"

namespace orvik::fuzz {
namespace {

std::uint32_t BitByBit(std::uint32_t checksum, std::span<const unsigned char> bytes) {
  for (const unsigned char byte : bytes) {
    checksum ^= std::uint32_t{byte} << 24;
    for (int bit = 0; bit < 8; ++bit) {
      checksum = (checksum << 1) ^ ((checksum & 0x80000000u) != 0 ? 0x04C11DB7u : 0u);
    }
  }
  return checksum;
}

std::string ChecksumFault(std::string_view input) {
  Choices choices(input);
  const std::size_t skipped = choices.Next(1) % 17;  // tests every alignment
  const auto seed = static_cast<std::uint32_t>(choices.Next(4));
  const std::vector<unsigned char> copy(input.begin(), input.end());
  const auto bytes = std::span(copy).subspan(std::min(skipped, copy.size()));
  const std::uint32_t expected = BitByBit(seed, bytes);
  const auto differs = [&](bool present, auto variant) {
    return present && variant(seed, bytes) != expected;
  };
  if (differs(true, crc32::Portable) ||
      differs(crc32::HasCarrylessMultiplication(), crc32::CarrylessMultiplication) ||
      differs(crc32::HasWideCarrylessMultiplication(), crc32::WideCarrylessMultiplication)) {
    return "a variant gives another checksum";
  }
  const auto first = bytes.first(choices.Below(bytes.size() + 1));
  const auto rest = bytes.subspan(first.size());
  const auto length = static_cast<long>(bytes.size());
  if (crc32::Join(BitByBit(seed, first), BitByBit(0, rest), rest.size()) != expected ||
      ContinueCRC32(CalculateCRC32(bytes.data(), static_cast<long>(first.size())), rest.data(),
                    static_cast<long>(rest.size())) != CalculateCRC32(bytes.data(), length) ||
      CalculateCRC32(bytes.data(), length) != BitByBit(0, bytes)) {
    return "two pieces give another checksum";
  }
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::ChecksumFault, data, size);
}
