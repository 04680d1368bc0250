// UTF-8 and UTF-16 with 256-bit vectors.
//
// Both directions compute in every lane what its own byte or unit gives if a character begins
// there; the bytes or units that follow are loaded a second time at an offset. A shuffle then moves
// the lanes together in which something does begin. It is found in a table that has an entry for
// every set of eight lanes.
#include "text/transcoding_variants.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <array>
#include <bit>
#include <cstdint>

#include "text/transcoding.h"

namespace orvik::transcoding {

namespace {

constexpr std::ptrdiff_t kBlock = 64;      // bytes of UTF-8
constexpr std::ptrdiff_t kStep = 16;       // bytes of UTF-8, or units
constexpr std::ptrdiff_t kLookAhead = 2;   // bytes after a block that are loaded
constexpr std::ptrdiff_t kStepBytes = 64;  // more than sixteen units become, with a whole store

struct UnitShuffle {
  alignas(16) unsigned char index[16];
};

// For each set of eight 16-bit lanes.
constexpr std::array<UnitShuffle, 256> kUnitShuffles = [] {
  std::array<UnitShuffle, 256> shuffles{};
  for (unsigned set = 0; set < 256; ++set) {
    unsigned next = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if ((set >> lane & 1) == 0) continue;
      shuffles[set].index[next++] = static_cast<unsigned char>(2 * lane);
      shuffles[set].index[next++] = static_cast<unsigned char>(2 * lane + 1);
    }
  }
  return shuffles;
}();

struct ByteShuffle {
  alignas(8) unsigned char index[8];
};

// For each set of eight bytes.
constexpr std::array<ByteShuffle, 256> kByteShuffles = [] {
  std::array<ByteShuffle, 256> shuffles{};
  for (unsigned set = 0; set < 256; ++set) {
    unsigned next = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if ((set >> lane & 1) != 0) shuffles[set].index[next++] = static_cast<unsigned char>(lane);
    }
  }
  return shuffles;
}();

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i LoadWide(const void* place) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(place));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void StoreWide(void* place, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(place), value);
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m128i LoadHalf(const void* place) {
  return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

// Sixteen bytes, each in a lane of 16 bits.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i LoadBytes(const char* place) {
  return _mm256_cvtepu8_epi16(LoadHalf(place));
}

// Eight units, each in a lane of 32 bits.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i LoadUnits(const char16_t* place) {
  return _mm256_cvtepu16_epi32(LoadHalf(place));
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::uint32_t ByteMask(__m256i value) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(value));
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t ByteMask(__m256i low,
                                                                          __m256i high) {
  return ByteMask(low) | std::uint64_t{ByteMask(high)} << 32;
}

// The bytes that stand `kCount` before those of `input`, which follows `previous`.
template <int kCount>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i BytesBefore(__m256i input,
                                                                       __m256i previous) {
  return _mm256_alignr_epi8(input, _mm256_permute2x128_si256(previous, input, 0x21), 16 - kCount);
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i LookUp(const unsigned char (&table)[16],
                                                                  __m256i nibbles) {
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(LoadHalf(table)), nibbles);
}

// What can be wrong with two bytes in a row. Each of three tables says, for the upper and the lower
// half of the first byte and the upper half of the second, what is still possible; what all three
// allow is wrong.
constexpr unsigned char kTooShort = 1 << 0;   // a first byte without what must follow
constexpr unsigned char kTooLong = 1 << 1;    // ASCII, and a continuation
constexpr unsigned char kOverlong3 = 1 << 2;  // E0 80..9F
constexpr unsigned char kTooLarge = 1 << 3;   // F4 90..BF, F5..FF
constexpr unsigned char kSurrogate = 1 << 4;  // ED A0..BF
constexpr unsigned char kOverlong2 = 1 << 5;  // C0, C1
constexpr unsigned char kOverlong4 = 1 << 6;  // F0 80..8F, and F5..FF 80..8F
constexpr unsigned char kTwoFollow = 1 << 7;  // two continuations: wrong where none is due
constexpr unsigned char kAnyLower = kTooShort | kTooLong | kTwoFollow;
constexpr unsigned char kAbove4 = kAnyLower | kTooLarge | kOverlong4;
constexpr unsigned char kContinues = kTooLong | kOverlong2 | kTwoFollow;

constexpr unsigned char kFirstUpper[16] = {kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTwoFollow,
                                           kTwoFollow,
                                           kTwoFollow,
                                           kTwoFollow,
                                           kTooShort | kOverlong2,
                                           kTooShort,
                                           kTooShort | kOverlong3 | kSurrogate,
                                           kTooShort | kTooLarge | kOverlong4};
constexpr unsigned char kFirstLower[16] = {kAnyLower | kOverlong2 | kOverlong3 | kOverlong4,
                                           kAnyLower | kOverlong2,
                                           kAnyLower,
                                           kAnyLower,
                                           kAnyLower | kTooLarge,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4,
                                           kAbove4 | kSurrogate,
                                           kAbove4,
                                           kAbove4};
constexpr unsigned char kSecondUpper[16] = {kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kContinues | kOverlong3 | kOverlong4,
                                            kContinues | kOverlong3 | kTooLarge,
                                            kContinues | kSurrogate | kTooLarge,
                                            kContinues | kSurrogate | kTooLarge,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort,
                                            kTooShort};

// Not 0 in each byte that cannot follow the ones before it.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Malformed(__m256i input,
                                                                     __m256i previous) {
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i first = BytesBefore<1>(input, previous);
  const __m256i wrong = _mm256_and_si256(
      _mm256_and_si256(LookUp(kFirstUpper, _mm256_and_si256(_mm256_srli_epi16(first, 4), nibble)),
                       LookUp(kFirstLower, _mm256_and_si256(first, nibble))),
      LookUp(kSecondUpper, _mm256_and_si256(_mm256_srli_epi16(input, 4), nibble)));
  // Two continuations in a row are due after a first byte of three (E0 and above) two before, and
  // one of four (F0 and above) three before. The subtraction leaves the top bit to these alone.
  const __m256i third = _mm256_subs_epu8(BytesBefore<2>(input, previous), _mm256_set1_epi8(0x60));
  const __m256i fourth = _mm256_subs_epu8(BytesBefore<3>(input, previous), _mm256_set1_epi8(0x70));
  const __m256i due = _mm256_and_si256(_mm256_or_si256(third, fourth),
                                       _mm256_set1_epi8(static_cast<char>(kTwoFollow)));
  return _mm256_xor_si256(due, wrong);
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t MalformedBytes(__m256i low,
                                                                                __m256i high,
                                                                                __m256i previous) {
  const __m256i zero = _mm256_setzero_si256();
  return ~ByteMask(_mm256_cmpeq_epi8(Malformed(low, previous), zero),
                   _mm256_cmpeq_epi8(Malformed(high, low), zero));
}

[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t BytesFrom(__m256i low,
                                                                           __m256i high,
                                                                           unsigned char limit) {
  const __m256i limits = _mm256_set1_epi8(static_cast<char>(limit));
  return ByteMask(_mm256_cmpeq_epi8(_mm256_max_epu8(low, limits), low),
                  _mm256_cmpeq_epi8(_mm256_max_epu8(high, limits), high));
}

// Continuations are the 64 lowest values of signed bytes.
[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t Continuations(__m256i low,
                                                                               __m256i high) {
  const __m256i limits = _mm256_set1_epi8(-64);
  return ByteMask(_mm256_cmpgt_epi8(limits, low), _mm256_cmpgt_epi8(limits, high));
}

enum class Longest { kTwoBytes, kThreeBytes, kFourBytes };

// Converts sixteen bytes. The lanes of `kept` give a unit each: first bytes, and the second byte of
// four for the low surrogate.
template <Longest kLongest>
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char16_t* DecodeStep(const char* s,
                                                                               char16_t* t,
                                                                               std::uint64_t kept) {
  const __m256i six_bits = _mm256_set1_epi16(0x3F);
  const __m256i byte = LoadBytes(s);
  const __m256i next = LoadBytes(s + 1);
  const __m256i next_bits = _mm256_and_si256(next, six_bits);
  const __m256i of_two = _mm256_or_si256(
      _mm256_slli_epi16(_mm256_and_si256(byte, _mm256_set1_epi16(0x1F)), 6), next_bits);
  __m256i units =
      _mm256_blendv_epi8(byte, of_two, _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0x7F)));
  if constexpr (kLongest >= Longest::kThreeBytes) {
    const __m256i last_bits = _mm256_and_si256(LoadBytes(s + 2), six_bits);
    const __m256i tail = _mm256_or_si256(_mm256_slli_epi16(next_bits, 6), last_bits);
    const __m256i of_three = _mm256_or_si256(_mm256_slli_epi16(byte, 12), tail);
    units = _mm256_blendv_epi8(units, of_three, _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0xDF)));
    if constexpr (kLongest == Longest::kFourBytes) {
      // 0xD7C0 takes the 0x10000 off that a pair of surrogates does not count.
      const __m256i high = _mm256_add_epi16(
          _mm256_set1_epi16(static_cast<short>(0xD7C0)),
          _mm256_or_si256(
              _mm256_slli_epi16(_mm256_and_si256(byte, _mm256_set1_epi16(0x07)), 8),
              _mm256_or_si256(_mm256_slli_epi16(next_bits, 2), _mm256_srli_epi16(last_bits, 4))));
      // The lane of the second byte sees the third and the fourth after it.
      const __m256i low = _mm256_or_si256(_mm256_set1_epi16(static_cast<short>(0xDC00)),
                                          _mm256_and_si256(tail, _mm256_set1_epi16(0x3FF)));
      units = _mm256_blendv_epi8(units, high, _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0xEF)));
      const __m256i continues = _mm256_cmpeq_epi16(_mm256_and_si256(byte, _mm256_set1_epi16(0xC0)),
                                                   _mm256_set1_epi16(0x80));
      units = _mm256_blendv_epi8(units, low, continues);
    }
  }
  const unsigned first_set = kept & 0xFF;
  const unsigned second_set = kept >> 8 & 0xFF;
  _mm_storeu_si128(
      reinterpret_cast<__m128i*>(t),
      _mm_shuffle_epi8(_mm256_castsi256_si128(units), LoadHalf(kUnitShuffles[first_set].index)));
  t += _mm_popcnt_u32(first_set);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(t),
                   _mm_shuffle_epi8(_mm256_extracti128_si256(units, 1),
                                    LoadHalf(kUnitShuffles[second_set].index)));
  return t + _mm_popcnt_u32(second_set);
}

template <Longest kLongest>
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char16_t* DecodeSteps(
    const char* s, char16_t* t, std::uint64_t kept, std::ptrdiff_t steps) {
  for (std::ptrdiff_t step = 0; step < steps; ++step) {
    t = DecodeStep<kLongest>(s + step * kStep, t, kept >> (step * kStep));
  }
  return t;
}

// How many of the bytes before `s` belong to a character that does not end before it.
std::ptrdiff_t BytesOfCutCharacter(const char* start, const char* s) {
  for (std::ptrdiff_t back = 1; back <= 3 && s - start >= back; ++back) {
    const auto byte = static_cast<unsigned char>(s[-back]);
    if (byte < 0x80) return 0;
    if (byte < 0xC0) continue;
    const std::ptrdiff_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    return length > back ? back : 0;
  }
  return 0;
}

// Packs the bytes that the lower sixteen bits of `kept` name.
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char* StorePacked(__m128i bytes,
                                                                            std::uint32_t kept,
                                                                            char* t) {
  const unsigned first_set = kept & 0xFF;
  const unsigned second_set = kept >> 8 & 0xFF;
  const __m128i first =
      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kByteShuffles[first_set].index));
  const __m128i second =
      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kByteShuffles[second_set].index));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(t), _mm_shuffle_epi8(bytes, first));
  t += _mm_popcnt_u32(first_set);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(t),
                   _mm_shuffle_epi8(_mm_srli_si128(bytes, 8), second));
  return t + _mm_popcnt_u32(second_set);
}

[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char* StorePacked(__m256i bytes,
                                                                            std::uint32_t kept,
                                                                            char* t) {
  t = StorePacked(_mm256_castsi256_si128(bytes), kept, t);
  return StorePacked(_mm256_extracti128_si256(bytes, 1), kept >> 16, t);
}

// Sixteen units below U+0800.
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char* EncodeUpToTwoBytes(__m256i units,
                                                                                   char* t) {
  const __m256i is_long = _mm256_cmpgt_epi16(units, _mm256_set1_epi16(0x7F));
  const __m256i of_two = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(units, 6),
                      _mm256_slli_epi16(_mm256_and_si256(units, _mm256_set1_epi16(0x3F)), 8)),
      _mm256_set1_epi16(static_cast<short>(0x80C0)));
  return StorePacked(_mm256_blendv_epi8(units, of_two, is_long), ByteMask(is_long) | 0x55555555u,
                     t);
}

// The three bytes of units from U+0800, in lanes of 32 bits.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i ThreeBytesOf(__m256i units) {
  const __m256i six_bits = _mm256_set1_epi32(0x3F);
  return _mm256_or_si256(
      _mm256_or_si256(_mm256_set1_epi32(0x8080E0), _mm256_srli_epi32(units, 12)),
      _mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(units, 6), six_bits), 8),
                      _mm256_slli_epi32(_mm256_and_si256(units, six_bits), 16)));
}

// The four bytes of pairs of surrogates, in lanes of 32 bits.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i FourBytesOf(__m256i high, __m256i low) {
  const __m256i six_bits = _mm256_set1_epi32(0x3F);
  const __m256i ten_bits = _mm256_set1_epi32(0x3FF);
  const __m256i character =
      _mm256_add_epi32(_mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(high, ten_bits), 10),
                                       _mm256_and_si256(low, ten_bits)),
                       _mm256_set1_epi32(0x10000));
  return _mm256_or_si256(
      _mm256_or_si256(
          _mm256_or_si256(_mm256_set1_epi32(static_cast<int>(0x808080F0)),
                          _mm256_srli_epi32(character, 18)),
          _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(character, 12), six_bits), 8)),
      _mm256_or_si256(
          _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(character, 6), six_bits), 16),
          _mm256_slli_epi32(_mm256_and_si256(character, six_bits), 24)));
}

// Eight units from U+0800 that are no surrogates: 24 bytes, with a store of 28.
[[gnu::target("avx2"), gnu::always_inline]] inline char* EncodeThreeBytes(const char16_t* s,
                                                                          char* t) {
  const __m256i packed = _mm256_shuffle_epi8(
      ThreeBytesOf(LoadUnits(s)), _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                      0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(t), _mm256_castsi256_si128(packed));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(t + 12), _mm256_extracti128_si256(packed, 1));
  return t + 24;
}

// Eight units of any kind. The lane of a high surrogate gives the bytes of the pair, the one of a
// low surrogate none.
template <bool kHasPairs>
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char* EncodeAny(const char16_t* s,
                                                                          char* t) {
  const __m256i units = LoadUnits(s);
  const __m256i above_7f = _mm256_cmpgt_epi32(units, _mm256_set1_epi32(0x7F));
  const __m256i above_7ff = _mm256_cmpgt_epi32(units, _mm256_set1_epi32(0x7FF));
  const __m256i of_two =
      _mm256_or_si256(_mm256_or_si256(_mm256_set1_epi32(0x80C0), _mm256_srli_epi32(units, 6)),
                      _mm256_slli_epi32(_mm256_and_si256(units, _mm256_set1_epi32(0x3F)), 8));
  __m256i bytes = _mm256_blendv_epi8(units, of_two, above_7f);
  bytes = _mm256_blendv_epi8(bytes, ThreeBytesOf(units), above_7ff);
  // A comparison that holds is -1.
  __m256i length = _mm256_sub_epi32(_mm256_set1_epi32(1), _mm256_add_epi32(above_7f, above_7ff));
  if constexpr (kHasPairs) {
    const __m256i kind = _mm256_and_si256(units, _mm256_set1_epi32(0xFC00));
    const __m256i is_high = _mm256_cmpeq_epi32(kind, _mm256_set1_epi32(0xD800));
    const __m256i is_low = _mm256_cmpeq_epi32(kind, _mm256_set1_epi32(0xDC00));
    bytes = _mm256_blendv_epi8(bytes, FourBytesOf(units, LoadUnits(s + 1)), is_high);
    length = _mm256_andnot_si256(is_low, _mm256_sub_epi32(length, is_high));
  }
  const __m256i lengths =
      _mm256_shuffle_epi8(length, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                      0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12)));
  const __m256i is_kept = _mm256_cmpgt_epi8(lengths, _mm256_set1_epi32(0x03020100));
  return StorePacked(bytes, ByteMask(is_kept), t);
}

// One bit for each of sixteen lanes.
[[gnu::target("avx2,bmi2"), gnu::always_inline]] inline std::uint32_t LaneMask(__m256i comparison) {
  return _pext_u32(ByteMask(comparison), 0x55555555u);
}

}  // namespace

bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2") != 0 &&
                          __builtin_cpu_supports("bmi2") != 0 &&
                          __builtin_cpu_supports("popcnt") != 0;
  return has;
}

[[gnu::target("avx2,popcnt")]] void DecodeBlocksAvx2(const char*& source, const char* source_end,
                                                     char16_t*& target, char16_t* target_end) {
  const char* s = source;
  char16_t* t = target;
  __m256i previous = _mm256_setzero_si256();
  std::uint64_t low_surrogate = 0;  // 1 after a block whose last byte is the first of four
  while (source_end - s >= kBlock + kLookAhead && target_end - t >= kBlock) {
    const __m256i low = LoadWide(s);
    const __m256i high = LoadWide(s + 32);
    if (ByteMask(_mm256_or_si256(low, high)) == 0) {
      if (BytesOfCutCharacter(source, s) != 0) break;
      for (std::ptrdiff_t i = 0; i < kBlock; i += kStep) StoreWide(t + i, LoadBytes(s + i));
      s += kBlock;
      t += kBlock;
      previous = high;
      continue;
    }
    const std::uint64_t malformed = MalformedBytes(low, high, previous);
    std::ptrdiff_t steps = kBlock / kStep;
    // A malformed character begins at most three bytes before the byte that shows it.
    if (malformed != 0) {
      const int first = std::countr_zero(malformed);
      steps = first < 3 ? 0 : (first - 3) / kStep;
    }
    const std::uint64_t of_four = BytesFrom(low, high, 0xF0);
    const std::uint64_t kept = ~Continuations(low, high) | of_four << 1 | low_surrogate;
    if ((of_four | low_surrogate) != 0) {
      t = DecodeSteps<Longest::kFourBytes>(s, t, kept, steps);
    } else if (BytesFrom(low, high, 0xE0) != 0) {
      t = DecodeSteps<Longest::kThreeBytes>(s, t, kept, steps);
    } else {
      t = DecodeSteps<Longest::kTwoBytes>(s, t, kept, steps);
    }
    s += steps * kStep;
    if (malformed != 0) break;
    low_surrogate = of_four >> 63;
    previous = high;
  }
  // What follows of the last character was not validated: it is converted again.
  const std::ptrdiff_t cut = BytesOfCutCharacter(source, s);
  if (cut != 0) {
    s -= cut;
    t -= cut >= 2 && static_cast<unsigned char>(*s) >= 0xF0 ? 2 : 1;
  }
  source = s;
  target = t;
}

[[gnu::target("avx2,popcnt")]] size_t CountBlocksAvx2(const char*& source, const char* source_end) {
  const char* s = source;
  size_t count = 0;
  __m256i previous = _mm256_setzero_si256();
  for (; source_end - s >= kBlock; s += kBlock) {
    const __m256i low = LoadWide(s);
    const __m256i high = LoadWide(s + 32);
    if (ByteMask(_mm256_or_si256(low, high)) == 0) {
      if (BytesOfCutCharacter(source, s) != 0) break;
      count += kBlock;
    } else {
      if (MalformedBytes(low, high, previous) != 0) break;
      count += static_cast<size_t>(kBlock - _mm_popcnt_u64(Continuations(low, high)) +
                                   _mm_popcnt_u64(BytesFrom(low, high, 0xF0)));
    }
    previous = high;
  }
  const std::ptrdiff_t cut = BytesOfCutCharacter(source, s);
  if (cut != 0) {
    s -= cut;
    count -= static_cast<unsigned char>(*s) >= 0xF0 ? 2 : 1;
  }
  source = s;
  return count;
}

[[gnu::target("avx2,bmi2,popcnt")]] void EncodeBlocksAvx2(const char16_t*& source,
                                                          const char16_t* source_end, char*& target,
                                                          char* target_end) {
  const char16_t* s = source;
  char* t = target;
  std::uint32_t low_due = 0;  // 1 after a step that ended with the high surrogate of a pair
  // One more unit is looked at: the low surrogate of a last high one.
  while (source_end - s > kStep && target_end - t >= kStepBytes) {
    const __m256i units = LoadWide(s);
    if (_mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(0xFF80))) != 0) {
      _mm_storeu_si128(
          reinterpret_cast<__m128i*>(t),
          _mm_packus_epi16(_mm256_castsi256_si128(units), _mm256_extracti128_si256(units, 1)));
      s += kStep;
      t += kStep;
      continue;
    }
    const __m256i upper = _mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xF800)));
    const __m256i is_surrogate =
        _mm256_cmpeq_epi16(upper, _mm256_set1_epi16(static_cast<short>(0xD800)));
    if (ByteMask(is_surrogate) == 0) {
      const std::uint32_t below_800 = ByteMask(_mm256_cmpeq_epi16(upper, _mm256_setzero_si256()));
      if (below_800 == 0xFFFFFFFF) {
        t = EncodeUpToTwoBytes(units, t);
      } else if (below_800 == 0) {
        t = EncodeThreeBytes(s + 8, EncodeThreeBytes(s, t));
      } else {
        t = EncodeAny<false>(s + 8, EncodeAny<false>(s, t));
      }
      s += kStep;
      continue;
    }
    // Every low surrogate must follow a high one, and the other way round.
    const __m256i kind = _mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xFC00)));
    const std::uint32_t high =
        LaneMask(_mm256_cmpeq_epi16(kind, _mm256_set1_epi16(static_cast<short>(0xD800))));
    const std::uint32_t low = LaneMask(is_surrogate) ^ high;
    const std::uint32_t ends_high = high >> 15;
    if (low != ((high << 1 | low_due) & 0xFFFF) || (ends_high != 0 && !IsLowSurrogate(s[kStep]))) {
      break;
    }
    t = EncodeAny<true>(s + 8, EncodeAny<true>(s, t));
    s += kStep;
    low_due = ends_high;
  }
  // The low surrogate of the last pair is part of what was written.
  source = s + low_due;
  target = t;
}

}  // namespace orvik::transcoding

#else

namespace orvik::transcoding {

bool HasAvx2() {
  return false;
}

void DecodeBlocksAvx2(const char*&, const char*, char16_t*&, char16_t*) {}

void EncodeBlocksAvx2(const char16_t*&, const char16_t*, char*&, char*) {}

size_t CountBlocksAvx2(const char*&, const char*) {
  return 0;
}

}  // namespace orvik::transcoding

#endif
