// UTF-8 to UTF-16 with 512-bit vectors.
//
// A block is 64 bytes, less a character that is cut at its end. Every byte has a lane of 16 bits,
// which computes the unit of a character that starts at this byte. The following bytes are loaded a
// second time at an offset. Then the lanes in which a character does start are packed. The last
// block of a text is loaded under a mask.
#include "text/transcoding_variants.h"

#if defined(__x86_64__)

#include <bit>

#include "text/vector_lanes.h"

namespace orvik::transcoding {

using namespace avx512;

namespace {

constexpr std::ptrdiff_t kBlock = 64;
constexpr std::ptrdiff_t kLookAhead = 2;  // bytes after a block that are loaded

// Sets of the bytes of a block, one bit for each byte.
struct Kinds {
  std::uint64_t present;
  std::uint64_t continuations;  // 80..BF
  std::uint64_t firsts;         // C0 and above
  std::uint64_t of_three;       // E0 and above
  std::uint64_t of_four;        // F0 and above
  std::uint64_t unused;         // C0 and C1, which are never valid
};

ORVIK_AVX512 Kinds KindsOf(__m512i bytes, std::uint64_t above_ascii, std::uint64_t present) {
  Kinds kinds{present,
              0,
              _mm512_cmpge_epu8_mask(bytes, Bytes(0xC0)),
              _mm512_cmpge_epu8_mask(bytes, Bytes(0xE0)),
              0,
              0};
  kinds.continuations = above_ascii & ~kinds.firsts;
  kinds.unused = kinds.firsts & ~_mm512_cmpge_epu8_mask(bytes, Bytes(0xC2));
  if (kinds.of_three != 0) kinds.of_four = _mm512_cmpge_epu8_mask(bytes, Bytes(0xF0));
  return kinds;
}

// The bytes of the block without a last character that is cut.
std::ptrdiff_t WholeCharacters(const char* s) {
  const auto byte = [s](int i) { return static_cast<unsigned char>(s[i]); };
  return byte(61) >= 0xF0 ? 61 : byte(62) >= 0xE0 ? 62 : byte(63) >= 0xC0 ? 63 : 64;
}

// 32 bytes of the block from `offset` on, each in a lane of 16 bits.
template <bool kIsWhole>
ORVIK_AVX512 __m512i LoadBytes(const char* s, int offset, std::uint64_t present) {
  if constexpr (kIsWhole) {
    return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + offset)));
  } else {
    return _mm512_cvtepu8_epi16(
        _mm256_maskz_loadu_epi8(static_cast<__mmask32>(present >> offset), s + offset));
  }
}

enum class Longest { kTwoBytes, kThreeBytes, kFourBytes };

struct Half {
  __m512i units;
  // The characters of three and four bytes that are overlong, surrogates, or too large.
  std::uint32_t malformed = 0;
};

// Decodes the lanes from the byte `kFrom` of the block on.
template <Longest kLongest, bool kIsWhole, int kFrom>
ORVIK_AVX512 Half DecodeHalf(const char* s, const Kinds& kinds) {
  const auto half = [](std::uint64_t bits) { return static_cast<__mmask32>(bits >> kFrom); };
  const __m512i byte = LoadBytes<kIsWhole>(s, kFrom, kinds.present);
  const __m512i next =
      _mm512_and_si512(LoadBytes<kIsWhole>(s, kFrom + 1, kinds.present), Units(0x3F));
  const __m512i of_two = SelectedOr(_mm512_slli_epi16(byte, 6), Units(0x7C0), next);
  Half result{_mm512_mask_mov_epi16(byte, half(kinds.firsts), of_two)};
  if constexpr (kLongest >= Longest::kThreeBytes) {
    const __m512i last =
        _mm512_and_si512(LoadBytes<kIsWhole>(s, kFrom + 2, kinds.present), Units(0x3F));
    const __m512i tail = _mm512_or_si512(_mm512_slli_epi16(next, 6), last);
    const __m512i of_three = _mm512_or_si512(_mm512_slli_epi16(byte, 12), tail);
    const __mmask32 three = half(kinds.of_three & ~kinds.of_four);
    result.malformed = _mm512_mask_cmplt_epu16_mask(three, of_three, Units(0x800)) |
                       _mm512_mask_cmplt_epu16_mask(
                           three, _mm512_sub_epi16(of_three, Units(0xD800)), Units(0x800));
    result.units = _mm512_mask_mov_epi16(result.units, three, of_three);
    if constexpr (kLongest == Longest::kFourBytes) {
      // The bits of a high surrogate, less the 0x10000 that a pair does not encode.
      const __m512i upper =
          _mm512_sub_epi16(Or(_mm512_slli_epi16(_mm512_and_si512(byte, Units(0x0F)), 8),
                              _mm512_slli_epi16(next, 2), _mm512_srli_epi16(last, 4)),
                           Units(0x40));
      const __mmask32 four = half(kinds.of_four);
      result.malformed |= _mm512_mask_cmpgt_epu16_mask(four, upper, Units(0x3FF));
      result.units =
          _mm512_mask_mov_epi16(result.units, four, _mm512_add_epi16(upper, Units(0xD800)));
      // The lane of the second byte has the third and the fourth byte.
      result.units = _mm512_mask_mov_epi16(result.units, half(kinds.of_four << 1),
                                           SelectedOr(tail, Units(0x3FF), Units(0xDC00)));
    }
  }
  return result;
}

// The byte where the first malformed character of the block starts, 64 if there is none.
ORVIK_AVX512 int FirstMalformed(const Kinds& kinds, std::uint64_t wrong_firsts) {
  const std::uint64_t due = kinds.firsts << 1 | kinds.of_three << 2 | kinds.of_four << 3;
  const std::uint64_t malformed = wrong_firsts | (due ^ kinds.continuations);
  if (malformed == 0) return kBlock;
  const int first = std::countr_zero(malformed);
  const bool is_missing = (due & ~kinds.continuations & malformed & -malformed) != 0;
  return is_missing ? 63 - std::countl_zero(kinds.firsts & Below(first)) : first;
}

// Decodes a block that is not all ASCII. Hands the units before its first malformed character to
// the sink and returns the position of that character; -1 when the sink does not take them.
template <Longest kLongest, bool kIsWhole, class Sink>
ORVIK_AVX512 int DecodeBlock(const char* s, const Kinds& kinds, Sink& sink) {
  const Half low = DecodeHalf<kLongest, kIsWhole, 0>(s, kinds);
  const Half high = DecodeHalf<kLongest, kIsWhole, 32>(s, kinds);
  const int taken =
      FirstMalformed(kinds, kinds.unused | low.malformed | std::uint64_t{high.malformed} << 32);
  const std::uint64_t kept =
      (~kinds.continuations | kinds.of_four << 1) & kinds.present & Below(taken);
  return sink.Take(low.units, high.units, kept, !kIsWhole) ? taken : -1;
}

template <bool kIsWhole, class Sink>
ORVIK_AVX512 int DecodeBlock(const char* s, const Kinds& kinds, Sink& sink) {
  if (kinds.of_four != 0) return DecodeBlock<Longest::kFourBytes, kIsWhole>(s, kinds, sink);
  if (kinds.of_three != 0) return DecodeBlock<Longest::kThreeBytes, kIsWhole>(s, kinds, sink);
  return DecodeBlock<Longest::kTwoBytes, kIsWhole>(s, kinds, sink);
}

// Decodes up to the end, a malformed character, or the first block that the sink does not take.
template <class Sink>
ORVIK_AVX512 const char* DecodeBlocks(const char* s, const char* end, Sink& sink) {
  while (s != end) {
    if (end - s >= kBlock + kLookAhead) {
      const __m512i bytes = LoadAll(s);
      const std::uint64_t above_ascii = _mm512_movepi8_mask(bytes);
      if (above_ascii == 0) {
        if (!sink.TakeAscii(bytes, kBlock, false)) return s;
        s += kBlock;
        continue;
      }
      const std::ptrdiff_t size = WholeCharacters(s);
      const std::uint64_t present = Below(size);
      const Kinds kinds =
          KindsOf(_mm512_maskz_mov_epi8(present, bytes), above_ascii & present, present);
      const int taken = DecodeBlock<true>(s, kinds, sink);
      if (taken < size) return taken < 0 ? s : s + taken;
      s += size;
      continue;
    }
    const std::ptrdiff_t size = end - s >= kBlock ? WholeCharacters(s) : end - s;
    const std::uint64_t present = Below(size);
    const __m512i bytes = _mm512_maskz_loadu_epi8(present, s);
    const std::uint64_t above_ascii = _mm512_movepi8_mask(bytes);
    if (above_ascii == 0) {
      if (!sink.TakeAscii(bytes, size, true)) return s;
    } else {
      const int taken = DecodeBlock<false>(s, KindsOf(bytes, above_ascii, present), sink);
      if (taken < size) return taken < 0 ? s : s + taken;
    }
    s += size;
  }
  return s;
}

class UnitWriter {
 public:
  UnitWriter(char16_t* place, char16_t* end) : units_(place, end) {}

  ORVIK_AVX512 bool TakeAscii(__m512i bytes, std::ptrdiff_t n, bool is_last) {
    if (!units_.Begin(n, is_last)) return false;
    units_.Put(_mm512_cvtepu8_epi16(LowHalf(bytes)), n < 32 ? n : 32);
    if (n > 32) units_.Put(_mm512_cvtepu8_epi16(HighHalf(bytes)), n - 32);
    return true;
  }
  ORVIK_AVX512 bool Take(__m512i low, __m512i high, std::uint64_t kept, bool is_last) {
    if (!units_.Begin(Count(kept), is_last)) return false;
    const auto low_kept = static_cast<__mmask32>(kept);
    const auto high_kept = static_cast<__mmask32>(kept >> 32);
    units_.Put(_mm512_maskz_compress_epi16(low_kept, low), Count(low_kept));
    if (high_kept != 0) units_.Put(_mm512_maskz_compress_epi16(high_kept, high), Count(high_kept));
    return true;
  }
  ORVIK_AVX512 char16_t* End() { return units_.End(); }

 private:
  Writer<char16_t> units_;
};

struct UnitCounter {
  size_t count = 0;

  ORVIK_AVX512 bool TakeAscii(__m512i, std::ptrdiff_t n, bool) {
    count += static_cast<size_t>(n);
    return true;
  }
  ORVIK_AVX512 bool Take(__m512i, __m512i, std::uint64_t kept, bool) {
    count += static_cast<size_t>(Count(kept));
    return true;
  }
};

}  // namespace

ORVIK_AVX512_FUNCTION void DecodeAvx512(const char*& source, const char* source_end,
                                        char16_t*& target, char16_t* target_end) {
  UnitWriter writer(target, target_end);
  source = DecodeBlocks(source, source_end, writer);
  target = writer.End();
}

ORVIK_AVX512_FUNCTION size_t CountAvx512(const char*& source, const char* source_end) {
  UnitCounter counter;
  source = DecodeBlocks(source, source_end, counter);
  return counter.count;
}

}  // namespace orvik::transcoding

#endif
