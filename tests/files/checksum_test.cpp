#include "files/checksum.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "files/checksum_variants.h"

namespace orvik {
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

TEST(Checksum, GivesTheCheckValues) {
  gen_crc_table();
  EXPECT_EQ(_CalculateCRC32("123456789", 9), 0x89A1897Fu);
  EXPECT_EQ(_CalculateCRC32("a", 1), 0xA864DB20u);
  EXPECT_EQ(_CalculateCRC32("a", 0), 0u);
  EXPECT_EQ(_CalculateCRC32("a", -1), 0u);
  EXPECT_EQ(CalculateCRC32(nullptr, 5), 0u);
}

TEST(Checksum, EveryVariantAgreesForEveryLengthAndAlignment) {
  struct {
    bool present;
    std::uint32_t (*variant)(std::uint32_t, std::span<const unsigned char>);
  } const variants[] = {
      {true, crc32::Portable},
      {crc32::HasCarrylessMultiplication(), crc32::CarrylessMultiplication},
      {crc32::HasWideCarrylessMultiplication(), crc32::WideCarrylessMultiplication},
  };
  std::mt19937 generator(42);
  std::vector<unsigned char> bytes(700);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator());
  for (std::size_t length = 0; length <= 600; ++length) {
    const auto part = std::span(bytes).subspan(length % 17, length);
    const std::uint32_t expected = BitByBit(0x12345678, part);
    for (const auto& [present, variant] : variants) {
      if (present) {
        ASSERT_EQ(variant(0x12345678, part), expected) << length;
      }
    }
    const std::size_t cut = length / 3;
    ASSERT_EQ(crc32::Join(BitByBit(0x12345678, part.first(cut)), BitByBit(0, part.subspan(cut)),
                          length - cut),
              expected)
        << length;
  }
}

}  // namespace
}  // namespace orvik
