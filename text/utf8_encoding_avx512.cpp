// UTF-16 to UTF-8 with 512-bit vectors.
//
// A block is 32 units, less a high surrogate at its end. Every unit has a lane of 32 bits for its
// bytes; a pair of surrogates uses the lane of its first unit. Then the used bytes are packed. The
// last block of a text is loaded under a mask, and every store writes only the bytes of the units.
#include "text/transcoding_variants.h"

#if defined(__x86_64__)

#include <bit>

#include "text/vector_lanes.h"

namespace orvik::transcoding {

using namespace avx512;

namespace {

constexpr std::ptrdiff_t kBlock = 32;

// Sets of the units of a block, one bit for each unit.
struct Kinds {
  std::uint32_t present;
  std::uint32_t above_7f;
  std::uint32_t above_7ff;
  std::uint32_t high;  // surrogates
  std::uint32_t low;

  Kinds First(int n) const {
    const std::uint32_t kept = (std::uint32_t{1} << n) - 1;
    return {present & kept, above_7f & kept, above_7ff & kept, high & kept, low & kept};
  }
  // The units before the first unpaired surrogate.
  Kinds UpToUnpaired() const {
    const std::uint64_t unpaired = std::uint64_t{high} << 1 ^ low;
    if (unpaired == 0) return *this;
    const int first = std::countr_zero(unpaired);
    return First((std::uint64_t{low} >> first & 1) != 0 ? first : first - 1);
  }
};

ORVIK_AVX512 Kinds KindsOf(__m512i units, std::uint32_t present) {
  Kinds kinds{present, _mm512_cmpgt_epu16_mask(units, Units(0x7F)), 0, 0, 0};
  if (kinds.above_7f != 0) kinds.above_7ff = _mm512_cmpgt_epu16_mask(units, Units(0x7FF));
  if (kinds.above_7ff != 0) {
    const __m512i kind = _mm512_and_si512(units, Units(0xFC00));
    kinds.high = _mm512_cmpeq_epi16_mask(kind, Units(0xD800));
    kinds.low = _mm512_cmpeq_epi16_mask(kind, Units(0xDC00));
  }
  return kinds;
}

// Each byte takes eight bits of its half of the lane, from the bit that `shifts` gives for it.
ORVIK_AVX512 __m512i ShiftedBytes(__m512i lanes, std::uint32_t shifts) {
  constexpr std::uint64_t kUpperLane = 0x2020202000000000;
  const std::uint64_t both = kUpperLane + (std::uint64_t{shifts} << 32 | shifts);
  return _mm512_multishift_epi64_epi8(_mm512_set1_epi64(static_cast<long long>(both)), lanes);
}

// The four bytes of pairs of surrogates.
ORVIK_AVX512 __m512i FourBytesOf(__m512i high, __m512i low) {
  const __m512i ten_bits = Words(0x3FF);
  const __m512i character =
      _mm512_add_epi32(_mm512_or_si512(_mm512_slli_epi32(_mm512_and_si512(high, ten_bits), 10),
                                       _mm512_and_si512(low, ten_bits)),
                       Words(0x10000));
  return SelectedOr(ShiftedBytes(character, 0x00060C12), Words(0x3F3F3F07), Words(0x808080F0));
}

// Bytes, and one bit for each used byte.
struct Encoded {
  __m512i bytes;
  std::uint64_t kept;
};

// Encodes up to 16 units, each in a lane of 32 bits.
template <bool kHasPairs>
ORVIK_AVX512 Encoded EncodeHalf(__m512i lanes, __m512i following, const Kinds& kinds, int from) {
  const auto half = [from](std::uint32_t bits) { return static_cast<__mmask16>(bits >> from); };
  const __m512i of_two =
      SelectedOr(ShiftedBytes(lanes, 0x00000006), Words(0x00003F1F), Words(0x000080C0));
  const __m512i of_three =
      SelectedOr(ShiftedBytes(lanes, 0x0000060C), Words(0x003F3F0F), Words(0x008080E0));
  __m512i bytes = _mm512_mask_mov_epi32(lanes, half(kinds.above_7f), of_two);
  bytes = _mm512_mask_mov_epi32(bytes, half(kinds.above_7ff), of_three);
  std::uint32_t taken = half(kinds.present);
  if constexpr (kHasPairs) {
    bytes = _mm512_mask_mov_epi32(bytes, half(kinds.high), FourBytesOf(lanes, following));
    taken &= ~std::uint32_t{half(kinds.low)};
  }
  // Except in ASCII, all used bytes are nonzero.
  const std::uint64_t of_one = _pdep_u64(taken, 0x1111111111111111);
  const std::uint64_t lanes_taken = of_one * 0xF;
  return {bytes, (_mm512_test_epi8_mask(bytes, bytes) | of_one) & lanes_taken};
}

ORVIK_AVX512 bool Put(const Encoded& encoded, Writer<char>& writer, bool is_last) {
  const std::ptrdiff_t count = Count(encoded.kept);
  if (!writer.Begin(count, is_last)) return false;
  writer.Put(_mm512_maskz_compress_epi8(encoded.kept, encoded.bytes), count);
  return true;
}

template <bool kHasPairs>
ORVIK_AVX512 bool EncodeBlock(__m512i units, const Kinds& kinds, Writer<char>& writer,
                              bool is_last) {
  const __m512i low = _mm512_cvtepu16_epi32(LowHalf(units));
  const __m512i high = _mm512_cvtepu16_epi32(HighHalf(units));
  const Encoded first = EncodeHalf<kHasPairs>(low, _mm512_alignr_epi32(high, low, 1), kinds, 0);
  if (kinds.present >> 16 == 0) return Put(first, writer, is_last);
  const Encoded second = EncodeHalf<kHasPairs>(high, _mm512_alignr_epi32(high, high, 1), kinds, 16);
  const std::ptrdiff_t counts[] = {Count(first.kept), Count(second.kept)};
  if (!writer.Begin(counts[0] + counts[1], is_last)) return false;
  writer.Put(_mm512_maskz_compress_epi8(first.kept, first.bytes), counts[0]);
  writer.Put(_mm512_maskz_compress_epi8(second.kept, second.bytes), counts[1]);
  return true;
}

// Encodes units below U+0800, each in a lane of 16 bits.
ORVIK_AVX512 bool EncodeUpToTwoBytes(__m512i units, const Kinds& kinds, Writer<char>& writer,
                                     bool is_last) {
  const __m512i of_two =
      SelectedOr(_mm512_or_si512(_mm512_srli_epi16(units, 6), _mm512_slli_epi16(units, 8)),
                 Units(0x3F1F), Units(0x80C0));
  return Put({_mm512_mask_mov_epi16(units, kinds.above_7f, of_two),
              _pdep_u64(kinds.present, 0x5555555555555555) |
                  _pdep_u64(kinds.above_7f, 0xAAAAAAAAAAAAAAAA)},
             writer, is_last);
}

// Encodes one block; false when there is not enough room.
ORVIK_AVX512 bool EncodeBlock(__m512i units, const Kinds& kinds, Writer<char>& writer,
                              bool is_last) {
  if (kinds.above_7f == 0) {
    const std::ptrdiff_t count = Count(kinds.present);
    if (!writer.Begin(count, is_last)) return false;
    writer.Put(_mm512_zextsi256_si512(_mm512_cvtepi16_epi8(units)), count);
    return true;
  }
  if (kinds.above_7ff == 0) return EncodeUpToTwoBytes(units, kinds, writer, is_last);
  if (kinds.high == 0) return EncodeBlock<false>(units, kinds, writer, is_last);
  if (kinds.high != 0x55555555) return EncodeBlock<true>(units, kinds, writer, is_last);
  // Only pairs, each in a lane of 32 bits.
  return Put({FourBytesOf(units, _mm512_srli_epi32(units, 16)), ~std::uint64_t{0}}, writer,
             is_last);
}

// Hands pairs of ASCII blocks to the sink as long as more than another block follows them.
template <class Sink>
ORVIK_AVX512 const char16_t* WalkAscii(const char16_t* s, const char16_t* end, Sink& sink) {
  while (end - s > 3 * kBlock) {
    const __m512i first = LoadAll(s);
    const __m512i second = LoadAll(s + kBlock);
    if (_mm512_cmpgt_epu16_mask(_mm512_or_si512(first, second), Units(0x7F)) != 0) break;
    if (!sink.TakeAscii(first, second)) break;
    s += 2 * kBlock;
  }
  return s;
}

// Hands block after block to the sink as long as it takes them. Returns the position of the first
// unit that was not taken or that is an unpaired surrogate.
template <class Sink>
ORVIK_AVX512 const char16_t* WalkBlocks(const char16_t* s, const char16_t* end, Sink& sink) {
  while (end - s > kBlock) {
    const __m512i units = LoadAll(s);
    Kinds kinds = KindsOf(units, 0xFFFFFFFF);
    std::ptrdiff_t size = kBlock;
    if (kinds.high >> 31 != 0) {  // the low surrogate may follow
      kinds = kinds.First(kBlock - 1);
      size = kBlock - 1;
    }
    kinds = kinds.UpToUnpaired();
    if (!sink.Take(units, kinds, false)) return s;
    if (kinds.present >> (size - 1) == 0) return s + Count(kinds.present);
    s += size;
    if (kinds.above_7f == 0) s = WalkAscii(s, end, sink);
  }
  const auto present = static_cast<std::uint32_t>(Below(end - s));
  const __m512i units = _mm512_maskz_loadu_epi16(present, s);
  const Kinds kinds = KindsOf(units, present).UpToUnpaired();
  return sink.Take(units, kinds, true) ? s + Count(kinds.present) : s;
}

struct ByteWriter {
  Writer<char> bytes;

  ORVIK_AVX512 bool Take(__m512i units, const Kinds& kinds, bool is_last) {
    return EncodeBlock(units, kinds, bytes, is_last);
  }
  ORVIK_AVX512 bool TakeAscii(__m512i first, __m512i second) {
    // The instruction alternates 128 bits of the first and of the second vector.
    return bytes.PutWhole(_mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7),
                                                   _mm512_packus_epi16(first, second)));
  }
};

struct ByteCounter {
  std::ptrdiff_t count = 0;

  ORVIK_AVX512 bool Take(__m512i, const Kinds& kinds, bool) {
    // A pair of surrogates has four bytes, not twice three.
    count += Count(kinds.present) + Count(kinds.above_7f) + Count(kinds.above_7ff) -
             2 * Count(kinds.high);
    return true;
  }
  ORVIK_AVX512 bool TakeAscii(__m512i, __m512i) {
    count += 2 * kBlock;
    return true;
  }
};

}  // namespace

ORVIK_AVX512_FUNCTION void EncodeAvx512(const char16_t*& source, const char16_t* source_end,
                                        char*& target, char* target_end) {
  ByteWriter writer{{target, target_end}};
  source = WalkBlocks(source, source_end, writer);
  target = writer.bytes.End();
}

ORVIK_AVX512_FUNCTION size_t MeasureAvx512(const char16_t*& source, const char16_t* source_end) {
  ByteCounter counter;
  source = WalkBlocks(source, source_end, counter);
  return static_cast<size_t>(counter.count);
}

}  // namespace orvik::transcoding

#endif
