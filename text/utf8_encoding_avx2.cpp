// UTF-16 to UTF-8 with 256-bit vectors: sixteen units at a time, each with a lane for its bytes.
// Shuffles pack the bytes.
#include "text/transcoding_variants.h"

#if defined(__x86_64__)

#include <cstring>

#include "text/vector_lanes.h"

namespace orvik::transcoding {

using namespace avx2;

namespace {

constexpr std::ptrdiff_t kStep = 16;       // units
constexpr std::ptrdiff_t kStepBytes = 64;  // room for sixteen units, the last store whole

struct HalfShuffle {
  alignas(8) unsigned char index[8];
};

// For each set of eight bytes, the shuffle that packs them.
constexpr std::array<HalfShuffle, 256> kBytePacking = [] {
  std::array<HalfShuffle, 256> shuffles{};
  for (unsigned set = 0; set < 256; ++set) {
    unsigned next = 0;
    for (unsigned byte = 0; byte < 8; ++byte) {
      if ((set >> byte & 1) != 0) shuffles[set].index[next++] = static_cast<unsigned char>(byte);
    }
  }
  return shuffles;
}();

// The bytes behind a block that its last store overwrites.
using Behind = std::uint64_t;
inline Behind Read(const char* place) {
  Behind behind = 0;
  std::memcpy(&behind, place, sizeof behind);
  return behind;
}

// Writes the bytes whose bits are set in the lower sixteen bits of `kept`.
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char* StorePacked(__m128i bytes,
                                                                            std::uint32_t kept,
                                                                            char* t) {
  const unsigned first_set = kept & 0xFF;
  const unsigned second_set = kept >> 8 & 0xFF;
  const __m128i first =
      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kBytePacking[first_set].index));
  const __m128i second =
      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kBytePacking[second_set].index));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(t), _mm_shuffle_epi8(bytes, first));
  t += _mm_popcnt_u32(first_set);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(t),
                   _mm_shuffle_epi8(_mm_srli_si128(bytes, 8), second));
  return t + _mm_popcnt_u32(second_set);
}

// Encodes sixteen units below U+0800.
[[gnu::target("avx2,bmi2,popcnt"), gnu::always_inline]] inline char* EncodeUpToTwoBytes(
    __m256i units, char* t, Behind& behind) {
  const __m256i is_long = _mm256_cmpgt_epi16(units, Units(0x7F));
  const __m256i of_two =
      _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(units, 6),
                                      _mm256_slli_epi16(_mm256_and_si256(units, Units(0x3F)), 8)),
                      Units(0x80C0));
  const __m256i bytes = _mm256_blendv_epi8(units, of_two, is_long);
  const std::uint32_t set = UnitMask(is_long);
  const unsigned first_set = set & 0xFF;
  const unsigned second_set = set >> 8;
  behind = Read(t + kStep + _mm_popcnt_u32(set));
  Store(t, _mm_shuffle_epi8(_mm256_castsi256_si128(bytes),
                            LoadHalf(kPacking<false>[first_set].index)));
  t += 8 + _mm_popcnt_u32(first_set);
  Store(t, _mm_shuffle_epi8(_mm256_extracti128_si256(bytes, 1),
                            LoadHalf(kPacking<false>[second_set].index)));
  return t + 8 + _mm_popcnt_u32(second_set);
}

// The three bytes of units from U+0800, in lanes of 32 bits.
ORVIK_AVX2 __m256i ThreeBytesOf(__m256i units) {
  const __m256i six_bits = Words(0x3F);
  return _mm256_or_si256(
      _mm256_or_si256(Words(0x8080E0), _mm256_srli_epi32(units, 12)),
      _mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(units, 6), six_bits), 8),
                      _mm256_slli_epi32(_mm256_and_si256(units, six_bits), 16)));
}

// The four bytes of pairs of surrogates, in lanes of 32 bits.
ORVIK_AVX2 __m256i FourBytesOf(__m256i high, __m256i low) {
  const __m256i six_bits = Words(0x3F);
  const __m256i ten_bits = Words(0x3FF);
  const __m256i character =
      _mm256_add_epi32(_mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(high, ten_bits), 10),
                                       _mm256_and_si256(low, ten_bits)),
                       Words(0x10000));
  return _mm256_or_si256(
      _mm256_or_si256(
          _mm256_or_si256(Words(0x808080F0), _mm256_srli_epi32(character, 18)),
          _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(character, 12), six_bits), 8)),
      _mm256_or_si256(
          _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(character, 6), six_bits), 16),
          _mm256_slli_epi32(_mm256_and_si256(character, six_bits), 24)));
}

// Encodes eight units from U+0800 that are not surrogates: 24 bytes; the store writes 28.
ORVIK_AVX2 char* EncodeThreeBytes(__m128i units, char* t) {
  const __m256i packed =
      _mm256_shuffle_epi8(ThreeBytesOf(_mm256_cvtepu16_epi32(units)),
                          _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12,
                                                                    13, 14, -1, -1, -1, -1)));
  Store(t, _mm256_castsi256_si128(packed));
  Store(t + 12, _mm256_extracti128_si256(packed, 1));
  return t + 24;
}

// Encodes eight units of any kind; `following` has the unit after each. The lane of a high
// surrogate gives the bytes of the pair, the lane of a low surrogate gives none.
template <bool kHasPairs>
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char* EncodeAny(__m128i eight,
                                                                          __m128i following,
                                                                          char* t, Behind& behind) {
  const __m256i units = _mm256_cvtepu16_epi32(eight);
  const __m256i above_7f = _mm256_cmpgt_epi32(units, Words(0x7F));
  const __m256i above_7ff = _mm256_cmpgt_epi32(units, Words(0x7FF));
  const __m256i of_two =
      _mm256_or_si256(_mm256_or_si256(Words(0x80C0), _mm256_srli_epi32(units, 6)),
                      _mm256_slli_epi32(_mm256_and_si256(units, Words(0x3F)), 8));
  __m256i bytes = _mm256_blendv_epi8(units, of_two, above_7f);
  bytes = _mm256_blendv_epi8(bytes, ThreeBytesOf(units), above_7ff);
  // A true comparison is -1.
  __m256i length = _mm256_sub_epi32(Words(1), _mm256_add_epi32(above_7f, above_7ff));
  if constexpr (kHasPairs) {
    const __m256i kind = _mm256_and_si256(units, Words(0xFC00));
    const __m256i is_high = _mm256_cmpeq_epi32(kind, Words(0xD800));
    const __m256i is_low = _mm256_cmpeq_epi32(kind, Words(0xDC00));
    bytes =
        _mm256_blendv_epi8(bytes, FourBytesOf(units, _mm256_cvtepu16_epi32(following)), is_high);
    length = _mm256_andnot_si256(is_low, _mm256_sub_epi32(length, is_high));
  }
  const __m256i lengths =
      _mm256_shuffle_epi8(length, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                      0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12)));
  const std::uint32_t kept = ByteMask(_mm256_cmpgt_epi8(lengths, Words(0x03020100)));
  behind = Read(t + _mm_popcnt_u32(kept));
  t = StorePacked(_mm256_castsi256_si128(bytes), kept, t);
  return StorePacked(_mm256_extracti128_si256(bytes, 1), kept >> 16, t);
}

// The surrogates in sixteen units, one bit for each unit.
struct Surrogates {
  std::uint32_t high;
  std::uint32_t low;

  // Whether every low surrogate follows a high one and a low one follows every high one. The last
  // unit may be a high surrogate.
  bool ArePaired() const { return low == (high << 1 & 0xFFFF); }
  bool EndHigh() const { return high >> 15 != 0; }
};

[[gnu::target("avx2,bmi2"), gnu::always_inline]] inline Surrogates SurrogatesAmong(__m256i units) {
  const __m256i kind = _mm256_and_si256(units, Units(0xFC00));
  return {UnitMask(_mm256_cmpeq_epi16(kind, Units(0xD800))),
          UnitMask(_mm256_cmpeq_epi16(kind, Units(0xDC00)))};
}

}  // namespace

[[gnu::target("avx2,bmi2,popcnt")]] void EncodeBlocksAvx2(const char16_t*& source,
                                                          const char16_t* source_end, char*& target,
                                                          char* target_end) {
  const char16_t* s = source;
  char* t = target;
  Behind behind = 0;
  while (source_end - s >= kStep && target_end - t >= kStepBytes) {
    const __m256i units = LoadWide(s);
    const __m128i first = _mm256_castsi256_si128(units);
    const __m128i second = _mm256_extracti128_si256(units, 1);
    if (_mm256_testz_si256(units, Units(0xFF80)) != 0) {
      Store(t, _mm_packus_epi16(first, second));
      s += kStep;
      t += kStep;
      behind = Read(t);
      continue;
    }
    const __m256i upper = _mm256_and_si256(units, Units(0xF800));
    const std::uint32_t below_800 = ByteMask(_mm256_cmpeq_epi16(upper, _mm256_setzero_si256()));
    if (below_800 == 0xFFFFFFFF) {
      t = EncodeUpToTwoBytes(units, t, behind);
      s += kStep;
      continue;
    }
    if (ByteMask(_mm256_cmpeq_epi16(upper, Units(0xD800))) == 0) {
      if (below_800 == 0) {
        behind = Read(t + 3 * kStep);
        t = EncodeThreeBytes(second, EncodeThreeBytes(first, t));
      } else {
        t = EncodeAny<false>(first, first, t, behind);
        t = EncodeAny<false>(second, second, t, behind);
      }
      s += kStep;
      continue;
    }
    const Surrogates surrogates = SurrogatesAmong(units);
    const bool ends_high = surrogates.EndHigh();
    if (!surrogates.ArePaired() ||
        (ends_high && (source_end - s == kStep || !IsLowSurrogate(s[kStep])))) {
      break;
    }
    if (surrogates.high == 0x5555) {
      // Only pairs, each in a lane of 32 bits.
      Store(t, FourBytesOf(units, _mm256_srli_epi32(units, 16)));
      t += 32;
      behind = Read(t);
    } else {
      const int after = ends_high ? s[kStep] : 0;
      t = EncodeAny<true>(first, _mm_alignr_epi8(second, first, 2), t, behind);
      t = EncodeAny<true>(second, _mm_insert_epi16(_mm_srli_si128(second, 2), after, 7), t, behind);
    }
    // If the last unit was a high surrogate, its low surrogate has been encoded, too.
    s += ends_high ? kStep + 1 : kStep;
  }
  if (t != target) std::memcpy(t, &behind, sizeof behind);
  source = s;
  target = t;
}

[[gnu::target("avx2,bmi2,popcnt")]] size_t MeasureBlocksAvx2(const char16_t*& source,
                                                             const char16_t* source_end) {
  const char16_t* s = source;
  size_t bytes = 0;
  while (source_end - s >= kStep) {
    const __m256i units = LoadWide(s);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i upper = _mm256_and_si256(units, Units(0xF800));
    const std::uint32_t ascii =
        ByteMask(_mm256_cmpeq_epi16(_mm256_and_si256(units, Units(0xFF80)), zero));
    const std::uint32_t below_800 = ByteMask(_mm256_cmpeq_epi16(upper, zero));
    // Every unit has two bits in a mask.
    const auto saved = static_cast<unsigned>(_mm_popcnt_u32(ascii) + _mm_popcnt_u32(below_800)) / 2;
    if (ByteMask(_mm256_cmpeq_epi16(upper, Units(0xD800))) == 0) {
      bytes += 3 * kStep - saved;
      s += kStep;
      continue;
    }
    const Surrogates surrogates = SurrogatesAmong(units);
    const bool ends_high = surrogates.EndHigh();
    if (!surrogates.ArePaired() ||
        (ends_high && (source_end - s == kStep || !IsLowSurrogate(s[kStep])))) {
      break;
    }
    // A high surrogate counts as four bytes, a low surrogate as none.
    bytes += 3 * kStep - saved + static_cast<unsigned>(_mm_popcnt_u32(surrogates.high)) -
             3 * static_cast<unsigned>(_mm_popcnt_u32(surrogates.low));
    s += ends_high ? kStep + 1 : kStep;
  }
  source = s;
  return bytes;
}

}  // namespace orvik::transcoding

#endif
