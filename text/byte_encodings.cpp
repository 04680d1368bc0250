#include "text/byte_encodings.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace orvik::base64 {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kInvalid = 0x80000000u;

struct CharacterPair {
  char characters[2];
};

// The two characters for each value of 12 bits.
constexpr std::array<CharacterPair, 4096> kPairs = [] {
  std::array<CharacterPair, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = {{kAlphabet[i >> 6], kAlphabet[i & 63]}};
  }
  return pairs;
}();

// For each of the four places in a group, the bits that a character adds to the three bytes (the
// first byte is the lowest), or kInvalid. Decoding a group is four look-ups or-ed together.
using Contributions = std::array<std::uint32_t, 256>;
constexpr std::array<Contributions, 4> kContributions = [] {
  std::array<Contributions, 4> tables{};
  for (Contributions& table : tables) table.fill(kInvalid);
  for (std::uint32_t value = 0; value < 64; ++value) {
    const auto character = static_cast<unsigned char>(kAlphabet[value]);
    tables[0][character] = value << 2;
    tables[1][character] = value >> 4 | (value & 15) << 12;
    tables[2][character] = value >> 2 << 8 | (value & 3) << 22;
    tables[3][character] = value << 16;
  }
  return tables;
}();

std::uint32_t BytesOf(const char* group) {
  const auto* const characters = reinterpret_cast<const unsigned char*>(group);
  return kContributions[0][characters[0]] | kContributions[1][characters[1]] |
         kContributions[2][characters[2]] | kContributions[3][characters[3]];
}

// Stores the six bytes of two groups, and two extra bytes behind them.
void StoreSix(std::uint32_t first, std::uint32_t second, unsigned char* output) {
  std::uint64_t bytes = first | std::uint64_t{second} << 24;
  if constexpr (std::endian::native == std::endian::big) bytes = __builtin_bswap64(bytes);
  std::memcpy(output, &bytes, sizeof bytes);
}

// Decodes a single group, which may hold padding or a bad character.
bool DecodeOneGroup(const char* group, unsigned char*& output) {
  char padded[4];
  std::memcpy(padded, group, sizeof padded);
  int count = 3;
  for (const int place : {3, 2}) {
    if (group[place] != '=') continue;
    padded[place] = kAlphabet[0];
    count = place - 1;
  }
  const std::uint32_t bytes = BytesOf(padded);
  if ((bytes & kInvalid) != 0) return false;
  for (int i = 0; i < count; ++i) *output++ = static_cast<unsigned char>(bytes >> (8 * i));
  return true;
}

}  // namespace

bool IsInAlphabet(char character) {
  return kContributions[0][static_cast<unsigned char>(character)] != kInvalid;
}

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
  while (good && groups != 0) {
    // Decodes four groups at a time. A store writes two extra bytes, so one more group must follow.
    while (groups > 4) {
      const std::uint32_t a = BytesOf(input), b = BytesOf(input + 4);
      const std::uint32_t c = BytesOf(input + 8), d = BytesOf(input + 12);
      if (((a | b | c | d) & kInvalid) != 0) break;
      StoreSix(a, b, next);
      StoreSix(c, d, next + 6);
      next += 12;
      input += 16;
      groups -= 4;
    }
    // Decodes groups with padding or a bad character, and the groups at the end, one by one.
    for (std::size_t left = groups < 4 ? groups : 4; good && left != 0; --left) {
      good = DecodeOneGroup(input, next);
      input += 4;
      --groups;
    }
  }
  output = next;
  return good;
}
}  // namespace orvik::base64

namespace orvik {

void EncodeBase64(const void* bytes, size_t length, char* text) {
  static const auto kEncode = base64::HasAvx2() ? base64::EncodeAvx2 : base64::EncodePortable;
  const auto* const input = static_cast<const unsigned char*>(bytes);
  const size_t groups = length / 3;
  if (groups != 0) kEncode(input, groups, text);
  const size_t rest = length % 3;
  if (rest == 0) return;
  unsigned char last[3] = {};
  std::memcpy(last, input + groups * 3, rest);
  char* const end = text + groups * 4;
  base64::EncodePortable(last, 1, end);
  end[3] = '=';
  if (rest == 1) end[2] = '=';
}

std::string EncodedBase64(std::string_view bytes) {
  std::string text(Base64Length(bytes.size()), '\0');
  EncodeBase64(bytes.data(), bytes.size(), text.data());
  return text;
}

bool DecodeBase64(const char* text, size_t groups, unsigned char*& bytes) {
  static const auto kDecode = base64::HasAvx2() ? base64::DecodeAvx2 : base64::DecodePortable;
  return kDecode(text, groups, bytes);
}

std::optional<std::string> DecodeLooseBase64(std::string_view text) {
  text = text.substr(0, text.find('='));
  std::string bytes(text.size() / 4 * 3 + 3, '\0');
  auto* const start = reinterpret_cast<unsigned char*>(bytes.data());
  unsigned char* end = start;
  for (;;) {
    // Decodes a whole line at once. Without padding every group gives three bytes, so the number of
    // bytes shows where a bad group stopped it.
    const unsigned char* const before = end;
    DecodeBase64(text.data(), text.size() / 4, end);
    text.remove_prefix(static_cast<size_t>(end - before) / 3 * 4);
    // Collects the next group and skips the characters outside the alphabet.
    char group[4];
    size_t count = 0;
    size_t taken = 0;
    for (; taken < text.size() && count < 4; ++taken) {
      if (base64::IsInAlphabet(text[taken])) group[count++] = text[taken];
    }
    text.remove_prefix(taken);
    if (count == 1) return std::nullopt;
    std::memset(group + count, '=', 4 - count);
    DecodeBase64(group, 1, end);
    if (count < 4) break;
  }
  bytes.resize(static_cast<size_t>(end - start));
  return bytes;
}

std::optional<std::size_t> Base64Fault(std::string_view text) {
  std::size_t end = text.size();
  while (end > 0 && text.size() - end < 2 && text[end - 1] == '=') --end;
  for (std::size_t i = 0; i < end; ++i) {
    if (!base64::IsInAlphabet(text[i])) return i;
  }
  if (text.size() % 4 != 0) return text.size();
  if (end == text.size()) return std::nullopt;
  // The last character before the padding has two or four unused bits, which must be zero.
  const std::string_view unused = text.size() - end == 1 ? "AEIMQUYcgkosw048" : "AQgw";
  if (unused.find(text[end - 1]) == std::string_view::npos) return end - 1;
  return std::nullopt;
}

namespace {

bool IsLetterOrDigit(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9');
}

}  // namespace

std::string PercentEncoded(std::string_view bytes, std::string_view kept) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) {
    if (IsLetterOrDigit(byte) || kept.find(byte) != std::string_view::npos) {
      text += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      text += {'%', kDigits[value >> 4], kDigits[value & 15]};
    }
  }
  return text;
}

}  // namespace orvik
