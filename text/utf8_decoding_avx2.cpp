// UTF-8 to UTF-16 with 256-bit vectors.
//
// Every byte has a lane, which computes the unit of a character that starts at this byte. The
// following bytes are loaded a second time at an offset. A shuffle then packs the lanes in which a
// character does start. The shuffle comes from a table with an entry for every set of eight lanes.
#include "text/transcoding_variants.h"

#if defined(__x86_64__)

#include <bit>
#include <cstring>

#include "text/vector_lanes.h"

namespace orvik::transcoding {

using namespace avx2;

namespace {

// The tables by which vectors validate UTF-8.
//
// Each bit is a fault of two bytes in a row. Three tables say which faults one half of a byte still
// allows: the upper half of the first byte, the lower half of the first byte, and the upper half of
// the second byte. A fault is present when all three allow it.

constexpr unsigned char kTooShort = 1 << 0;   // a first byte without its continuation
constexpr unsigned char kTooLong = 1 << 1;    // a continuation after ASCII
constexpr unsigned char kOverlong3 = 1 << 2;  // E0 80..9F
constexpr unsigned char kTooLarge = 1 << 3;   // F4 90..BF, F5..FF 90..BF
constexpr unsigned char kSurrogate = 1 << 4;  // ED A0..BF
constexpr unsigned char kOverlong2 = 1 << 5;  // C0, C1
constexpr unsigned char kOverlong4 = 1 << 6;  // F0 80..8F, and F5..FF 80..8F, which is too large
constexpr unsigned char kTwoFollow = 1 << 7;  // two continuations: a fault unless they are due
constexpr unsigned char kAnyLower = kTooShort | kTooLong | kTwoFollow;
constexpr unsigned char kAbove4 = kAnyLower | kTooLarge | kOverlong4;
constexpr unsigned char kContinues = kTooLong | kOverlong2 | kTwoFollow;

// One entry for each value of half a byte.
struct Table {
  unsigned char entries[16];
};
constexpr Table TableOf(unsigned char (*entry)(int half)) {
  Table table{};
  for (int half = 0; half < 16; ++half) table.entries[half] = entry(half);
  return table;
}
constexpr Table kFirstUpper = TableOf([](int half) -> unsigned char {
  if (half < 12) return half < 8 ? kTooLong : kTwoFollow;
  if (half == 12) return kTooShort | kOverlong2;
  if (half == 13) return kTooShort;
  return kTooShort | (half == 14 ? kOverlong3 | kSurrogate : kTooLarge | kOverlong4);
});
constexpr Table kFirstLower = TableOf([](int half) -> unsigned char {
  if (half > 4) return half == 13 ? kAbove4 | kSurrogate : kAbove4;
  if (half == 0) return kAnyLower | kOverlong2 | kOverlong3 | kOverlong4;
  return kAnyLower | (half == 1 ? kOverlong2 : half == 4 ? kTooLarge : 0);
});
constexpr Table kSecondUpper = TableOf([](int half) -> unsigned char {
  if (half < 8 || half > 11) return kTooShort;
  if (half > 9) return kContinues | kSurrogate | kTooLarge;
  return kContinues | kOverlong3 | (half == 8 ? kOverlong4 : kTooLarge);
});

// The number of bytes before `s` that belong to a character which goes on at `s`.
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

constexpr std::ptrdiff_t kBlock = 64;
constexpr std::ptrdiff_t kStep = 16;
constexpr std::ptrdiff_t kLookAhead = 2;    // bytes after a block that are loaded
constexpr std::ptrdiff_t kOverwritten = 8;  // units behind a block that its stores overwrite
constexpr std::ptrdiff_t kLongAscii = 40;   // a run at the start that has a loop of its own

// Sixteen bytes, each in a lane of 16 bits.
ORVIK_AVX2 __m256i LoadBytes(const char* place) {
  return _mm256_cvtepu8_epi16(LoadHalf(place));
}

// The bytes that are `kCount` places before those of `input`, which follows `previous`.
template <int kCount>
ORVIK_AVX2 __m256i BytesBefore(__m256i input, __m256i previous) {
  return _mm256_alignr_epi8(input, _mm256_permute2x128_si256(previous, input, 0x21), 16 - kCount);
}

ORVIK_AVX2 __m256i LookUp(const Table& table, __m256i nibbles) {
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(LoadHalf(table.entries)), nibbles);
}

// Nonzero in each byte that cannot follow the bytes before it.
ORVIK_AVX2 __m256i Malformed(__m256i input, __m256i previous) {
  const __m256i nibble = Bytes(0x0F);
  const __m256i first = BytesBefore<1>(input, previous);
  const __m256i wrong = _mm256_and_si256(
      _mm256_and_si256(LookUp(kFirstUpper, _mm256_and_si256(_mm256_srli_epi16(first, 4), nibble)),
                       LookUp(kFirstLower, _mm256_and_si256(first, nibble))),
      LookUp(kSecondUpper, _mm256_and_si256(_mm256_srli_epi16(input, 4), nibble)));
  // A second continuation in a row is due two bytes after E0 or more and three bytes after F0 or
  // more. The saturated subtraction sets the top bit for these bytes only.
  const __m256i third = _mm256_subs_epu8(BytesBefore<2>(input, previous), Bytes(0xE0 - 0x80));
  const __m256i fourth = _mm256_subs_epu8(BytesBefore<3>(input, previous), Bytes(0xF0 - 0x80));
  const __m256i due = _mm256_and_si256(_mm256_or_si256(third, fourth), Bytes(kTwoFollow));
  return _mm256_xor_si256(due, wrong);
}

// A block, and sets of its bytes, one bit for each byte.
struct Block {
  __m256i low;
  __m256i high;
  std::uint64_t continuations;  // 80..BF
  std::uint64_t of_three;       // E0 and above
  std::uint64_t of_four;        // F0 and above
};

ORVIK_AVX2 std::uint64_t BytesFrom(const Block& block, int limit) {
  const __m256i limits = Bytes(limit);
  return ByteMask(_mm256_cmpeq_epi8(_mm256_max_epu8(block.low, limits), block.low),
                  _mm256_cmpeq_epi8(_mm256_max_epu8(block.high, limits), block.high));
}

ORVIK_AVX2 void Classify(Block& block) {
  // As signed bytes, continuations are the 64 lowest values.
  const __m256i limits = Bytes(-64);
  block.continuations =
      ByteMask(_mm256_cmpgt_epi8(limits, block.low), _mm256_cmpgt_epi8(limits, block.high));
  block.of_three = BytesFrom(block, 0xE0);
  block.of_four = block.of_three != 0 ? BytesFrom(block, 0xF0) : 0;
}

// A bit for each byte that cannot follow the bytes before it. `due` is DueAfter of the block
// before.
ORVIK_AVX2 std::uint64_t MalformedBytes(const Block& block, __m256i previous, std::uint64_t due) {
  if (block.of_three == 0 && due <= 1) {
    // Without longer characters, a continuation follows every byte of C2 or more and no other byte.
    const std::uint64_t of_two = BytesFrom(block, 0xC2);
    const std::uint64_t others = ByteMask(block.low, block.high) & ~block.continuations & ~of_two;
    return (block.continuations ^ (of_two << 1 | due)) | others;
  }
  const __m256i zero = _mm256_setzero_si256();
  return ~ByteMask(_mm256_cmpeq_epi8(Malformed(block.low, previous), zero),
                   _mm256_cmpeq_epi8(Malformed(block.high, block.low), zero));
}

// The continuations due after a well-formed block: 0 for none, 1 for one, 2 or 3 for more than one.
ORVIK_AVX2 std::uint64_t DueAfter(const Block& block) {
  const std::uint64_t starts = ByteMask(block.high) >> 31 & ~block.continuations >> 63;
  const std::uint64_t more = block.of_three >> 63 | (block.of_four >> 62 & 1);
  return starts | (block.of_three >> 62 & 1) | (block.of_four >> 61 & 1) | more << 1;
}

enum class Longest { kTwoBytes, kThreeBytes, kFourBytes };

// Converts sixteen bytes. Each lane in `kept` gives a unit: the first bytes of characters, and for
// the low surrogate the second byte of a character of four bytes.
template <Longest kLongest>
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char16_t* DecodeStep(const char* s,
                                                                               char16_t* t,
                                                                               std::uint64_t kept) {
  const __m256i six_bits = Units(0x3F);
  const __m256i byte = LoadBytes(s);
  const __m256i next_bits = _mm256_and_si256(LoadBytes(s + 1), six_bits);
  const __m256i of_two =
      _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(byte, Units(0x1F)), 6), next_bits);
  __m256i units = _mm256_blendv_epi8(byte, of_two, _mm256_cmpgt_epi16(byte, Units(0x7F)));
  if constexpr (kLongest >= Longest::kThreeBytes) {
    const __m256i last_bits = _mm256_and_si256(LoadBytes(s + 2), six_bits);
    const __m256i tail = _mm256_or_si256(_mm256_slli_epi16(next_bits, 6), last_bits);
    const __m256i of_three = _mm256_or_si256(_mm256_slli_epi16(byte, 12), tail);
    units = _mm256_blendv_epi8(units, of_three, _mm256_cmpgt_epi16(byte, Units(0xDF)));
    if constexpr (kLongest == Longest::kFourBytes) {
      // 0xD7C0 subtracts the 0x10000 that a pair of surrogates does not encode.
      const __m256i high = _mm256_add_epi16(
          Units(0xD7C0), _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(byte, Units(0x07)), 8),
                                         _mm256_or_si256(_mm256_slli_epi16(next_bits, 2),
                                                         _mm256_srli_epi16(last_bits, 4))));
      // The lane of the second byte has the third and the fourth byte.
      const __m256i low = _mm256_or_si256(Units(0xDC00), _mm256_and_si256(tail, Units(0x3FF)));
      units = _mm256_blendv_epi8(units, high, _mm256_cmpgt_epi16(byte, Units(0xEF)));
      const __m256i continues =
          _mm256_cmpeq_epi16(_mm256_and_si256(byte, Units(0xC0)), Units(0x80));
      units = _mm256_blendv_epi8(units, low, continues);
    }
  }
  const unsigned first_set = kept & 0xFF;
  const unsigned second_set = kept >> 8 & 0xFF;
  Store(t,
        _mm_shuffle_epi8(_mm256_castsi256_si128(units), LoadHalf(kPacking<true>[first_set].index)));
  t += _mm_popcnt_u32(first_set);
  Store(t, _mm_shuffle_epi8(_mm256_extracti128_si256(units, 1),
                            LoadHalf(kPacking<true>[second_set].index)));
  return t + _mm_popcnt_u32(second_set);
}

// Each of the eight stores starts no further on than its bytes do, so 64 units of room are enough.
template <Longest kLongest>
[[gnu::target("avx2,popcnt"), gnu::always_inline]] inline char16_t* DecodeBlock(
    const char* s, char16_t* t, std::uint64_t kept) {
  t = DecodeStep<kLongest>(s, t, kept);
  t = DecodeStep<kLongest>(s + kStep, t, kept >> kStep);
  t = DecodeStep<kLongest>(s + 2 * kStep, t, kept >> (2 * kStep));
  return DecodeStep<kLongest>(s + 3 * kStep, t, kept >> (3 * kStep));
}

}  // namespace

[[gnu::target("avx2,bmi,popcnt")]] void DecodeBlocksAvx2(const char*& source,
                                                         const char* source_end, char16_t*& target,
                                                         char16_t* target_end) {
  const char* s = source;
  char16_t* t = target;
  Block block{};
  std::uint64_t due = 0;
  bool goes_on = true;
  // The units behind and right before the end of the target, which are restored at the end.
  __m128i behind = _mm_setzero_si128();
  char16_t last_units[2] = {};
  while (goes_on && source_end - s >= kBlock + kLookAhead &&
         target_end - t >= kBlock + kOverwritten) {
    const __m256i previous = block.high;
    const std::uint64_t low_surrogate = block.of_four >> 63;
    block.low = LoadWide(s);
    block.high = LoadWide(s + 32);
    const std::uint64_t above_ascii = ByteMask(block.low, block.high);
    const std::ptrdiff_t ascii = above_ascii != 0 ? std::countr_zero(above_ascii) : kBlock;
    if (ascii >= kLongAscii) {
      if (due != 0) break;
      for (const char* const ascii_end = s + ascii; ascii_end - s >= kStep;
           s += kStep, t += kStep) {
        Store(t, LoadBytes(s));
      }
      behind = LoadHalf(t);
      // The next block starts with a character, as the first block does.
      block = Block{};
      continue;
    }
    Classify(block);
    const std::uint64_t malformed = MalformedBytes(block, previous, due);
    std::ptrdiff_t taken = kBlock;
    std::uint64_t kept = ~block.continuations | block.of_four << 1 | low_surrogate;
    if (malformed != 0) {
      // Everything before the last character start up to there is well formed.
      const std::uint64_t before = (malformed & -malformed) - 1;
      const std::uint64_t firsts = ~block.continuations & before;
      if (firsts <= 1) break;
      taken = 63 - std::countl_zero(firsts);
      const std::uint64_t wanted = (std::uint64_t{1} << taken) - 1;
      kept &= wanted;
      block.of_three &= wanted;
      block.of_four &= wanted;
      goes_on = false;
      // This block may be shorter than the memory that the block before it has overwritten.
      if (t != target) Store(t, behind);
    }
    char16_t* const block_end = t + _mm_popcnt_u64(kept);
    behind = LoadHalf(block_end);
    if (block_end - t >= 2) std::memcpy(last_units, block_end - 2, sizeof last_units);
    if ((block.of_four | low_surrogate) != 0) {
      t = DecodeBlock<Longest::kFourBytes>(s, t, kept);
    } else if (block.of_three != 0) {
      t = DecodeBlock<Longest::kThreeBytes>(s, t, kept);
    } else {
      t = DecodeBlock<Longest::kTwoBytes>(s, t, kept);
    }
    s += taken;
    due = DueAfter(block);
  }
  // The end of a cut last character was not validated, so the character is converted again.
  if (t != target) Store(t, behind);
  const std::ptrdiff_t cut = BytesOfCutCharacter(source, s);
  if (cut != 0) {
    s -= cut;
    const std::ptrdiff_t units = cut >= 2 && static_cast<unsigned char>(*s) >= 0xF0 ? 2 : 1;
    for (std::ptrdiff_t i = 0; i < units; ++i) *--t = last_units[1 - i];
  }
  source = s;
  target = t;
}

[[gnu::target("avx2,popcnt")]] size_t CountBlocksAvx2(const char*& source, const char* source_end) {
  const char* s = source;
  size_t count = 0;
  Block block{};
  std::uint64_t due = 0;
  for (; source_end - s >= kBlock; s += kBlock) {
    const __m256i previous = block.high;
    block.low = LoadWide(s);
    block.high = LoadWide(s + 32);
    if (ByteMask(_mm256_or_si256(block.low, block.high)) == 0) {
      if (due != 0) break;
      count += kBlock;
      continue;
    }
    Classify(block);
    if (MalformedBytes(block, previous, due) != 0) break;
    count += static_cast<size_t>(kBlock - _mm_popcnt_u64(block.continuations) +
                                 _mm_popcnt_u64(block.of_four));
    due = DueAfter(block);
  }
  const std::ptrdiff_t cut = BytesOfCutCharacter(source, s);
  if (cut != 0) {
    s -= cut;
    count -= static_cast<unsigned char>(*s) >= 0xF0 ? 2 : 1;
  }
  source = s;
  return count;
}

}  // namespace orvik::transcoding

#endif
