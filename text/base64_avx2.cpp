// Base64 with 256-bit vectors: 24 bytes become 32 characters. Byte shuffles, which serve as tables
// of 16 entries, translate values to characters and back.
#include "text/byte_encodings.h"

#if defined(__x86_64__)

#include "text/vector_lanes.h"

namespace orvik::base64 {
namespace {

constexpr std::size_t kCharacters = 32;
constexpr std::size_t kBytes = 24;
constexpr std::size_t kGroups = 8;

// A table with the same 16 bytes in both halves.
template <typename... Bytes>
ORVIK_AVX2 __m256i Table(Bytes... bytes) {
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(static_cast<char>(bytes)...));
}

// Reads 28 bytes and uses the first 24.
ORVIK_AVX2 __m256i SixBitValues(const unsigned char* at) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 12));
  const __m256i triples =
      _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1),
                          Table(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
  const __m256i first_and_third = _mm256_mulhi_epu16(
      _mm256_and_si256(triples, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
  const __m256i second_and_fourth = _mm256_mullo_epi16(
      _mm256_and_si256(triples, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
  return _mm256_or_si256(first_and_third, second_and_fourth);
}

// Adds to each value the distance to its character. The classes are A-Z, a-z, ten digits, "+" and
// "/".
ORVIK_AVX2 __m256i Characters(__m256i values) {
  const __m256i above_25 = _mm256_cmpgt_epi8(values, _mm256_set1_epi8(25));
  const __m256i kind = _mm256_sub_epi8(_mm256_subs_epu8(values, _mm256_set1_epi8(51)), above_25);
  const __m256i distance = _mm256_shuffle_epi8(
      Table('A', 'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
            '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 0, 0),
      kind);
  return _mm256_add_epi8(values, distance);
}

// Packs 32 values into 24 bytes at the low end.
ORVIK_AVX2 __m256i Packed(__m256i values) {
  const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
  const __m256i triples = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i lanes =
      _mm256_shuffle_epi8(triples, Table(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  return _mm256_permutevar8x32_epi32(lanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
}

}  // namespace

bool HasAvx2() {
  return __builtin_cpu_supports("avx2") != 0;
}

[[gnu::target("avx2")]] void EncodeAvx2(const unsigned char* input, std::size_t groups,
                                        char* output) {
  constexpr std::size_t kGroupsRead = 10;  // 28 bytes, rounded up to whole groups
  for (; groups >= kGroupsRead; groups -= kGroups, input += kBytes, output += kCharacters) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(output), Characters(SixBitValues(input)));
  }
  EncodePortable(input, groups, output);
}

[[gnu::target("avx2")]] bool DecodeAvx2(const char* input, std::size_t groups,
                                        unsigned char*& output) {
  // A character is valid when the sets of its two halves have no common bit.
  const __m256i low_sets = Table(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13,
                                 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m256i high_sets = Table(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10,
                                  0x10, 0x10, 0x10, 0x10, 0x10);
  // The distance to the value, by the high half of the character; "/" uses the entry below its own.
  const __m256i distances = Table(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i slash = _mm256_set1_epi8('/');
  constexpr std::size_t kGroupsWritten = 11;  // a store writes 32 bytes
  while (groups >= kGroupsWritten) {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(input));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), slash);
    const __m256i low = _mm256_and_si256(text, slash);
    if (_mm256_testz_si256(_mm256_shuffle_epi8(low_sets, low),
                           _mm256_shuffle_epi8(high_sets, high)) != 0) {
      const __m256i kind = _mm256_add_epi8(_mm256_cmpeq_epi8(text, slash), high);
      const __m256i values = _mm256_add_epi8(text, _mm256_shuffle_epi8(distances, kind));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(output), Packed(values));
      output += kBytes;
    } else if (!DecodePortable(input, kGroups, output)) {
      return false;
    }
    input += kCharacters;
    groups -= kGroups;
  }
  return DecodePortable(input, groups, output);
}

}  // namespace orvik::base64

#endif
