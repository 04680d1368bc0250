#include <array>
#include <cstdint>
#include <cstring>

#include "xml/base64_roads.h"

namespace orvik::base64 {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kInvalid = 0x80000000u;

struct CharacterPair {
  char characters[2];
};

// The two characters of every 12 bits.
constexpr std::array<CharacterPair, 4096> kPairs = [] {
  std::array<CharacterPair, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = {{kAlphabet[i >> 6], kAlphabet[i & 63]}};
  }
  return pairs;
}();

// The value of every character, or kInvalid.
constexpr std::array<std::uint32_t, 256> kValues = [] {
  std::array<std::uint32_t, 256> values{};
  values.fill(kInvalid);
  for (std::uint32_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kAlphabet[i])] = i;
  return values;
}();

std::uint32_t ValueOf(char character) {
  return kValues[static_cast<unsigned char>(character)];
}

// One group with padding or a bad character in it.
bool DecodeOddGroup(const char* group, unsigned char*& output) {
  const std::uint32_t a = ValueOf(group[0]), b = ValueOf(group[1]);
  const std::uint32_t c = group[2] == '=' ? 0 : ValueOf(group[2]);
  const std::uint32_t d = group[3] == '=' ? 0 : ValueOf(group[3]);
  if (((a | b | c | d) & kInvalid) != 0) return false;
  *output++ = static_cast<unsigned char>(a << 2 | b >> 4);
  if (group[2] == '=') return true;
  *output++ = static_cast<unsigned char>(b << 4 | c >> 2);
  if (group[3] == '=') return true;
  *output++ = static_cast<unsigned char>(c << 6 | d);
  return true;
}

}  // namespace

void EncodePortable(const unsigned char* input, std::size_t groups, char* output) {
  for (; groups != 0; --groups, input += 3, output += 4) {
    const unsigned bits = unsigned{input[0]} << 16 | unsigned{input[1]} << 8 | input[2];
    std::memcpy(output, kPairs[bits >> 12].characters, 2);
    std::memcpy(output + 2, kPairs[bits & 0xFFF].characters, 2);
  }
}

bool DecodePortable(const char* input, std::size_t groups, unsigned char*& output) {
  unsigned char* next = output;
  bool good = true;
  for (; groups != 0; --groups, input += 4) {
    const std::uint32_t bits = ValueOf(input[0]) << 18 | ValueOf(input[1]) << 12 |
                               ValueOf(input[2]) << 6 | ValueOf(input[3]);
    const std::uint32_t bad =
        ValueOf(input[0]) | ValueOf(input[1]) | ValueOf(input[2]) | ValueOf(input[3]);
    if ((bad & kInvalid) != 0) {
      good = DecodeOddGroup(input, next);
      if (!good) break;
      continue;
    }
    next[0] = static_cast<unsigned char>(bits >> 16);
    next[1] = static_cast<unsigned char>(bits >> 8);
    next[2] = static_cast<unsigned char>(bits);
    next += 3;
  }
  output = next;
  return good;
}

}  // namespace orvik::base64
