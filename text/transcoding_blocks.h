// Sixteen bytes or units at a time: the steps under transcoding.cpp, with the vector instructions
// every x86-64 processor has and, elsewhere, in plain loops.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvik {

inline constexpr size_t kBlock = 16;

// The UTF-8 length of two blocks, each surrogate counted as half of a pair: two bytes.
struct BlocksLength {
  unsigned bytes;
  bool has_surrogates;
};

// One bit for each high, and for each low surrogate of a block.
struct SurrogateBits {
  unsigned high;
  unsigned low;
};

// Units or-ed together, eight at a time.
inline constexpr size_t kOrBlock = 8;

#if defined(__SSE2__)

inline __m128i Load(const void* place) {
  return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

inline void Store(void* place, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(place), value);
}

// One bit for each of two times eight 16-bit comparisons.
inline unsigned BitsOf(__m128i first, __m128i second) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(first, second)));
}

// One bit for each byte above 0x7F.
inline unsigned NonAsciiBits(const char* bytes) {
  return static_cast<unsigned>(_mm_movemask_epi8(Load(bytes)));
}

// One bit for each unit above `limit`.
template <short kLimit>
unsigned BitsAbove(const char16_t* units) {
  const __m128i limit = _mm_set1_epi16(kLimit);
  const __m128i zero = _mm_setzero_si128();
  const __m128i first = _mm_cmpeq_epi16(_mm_subs_epu16(Load(units), limit), zero);
  const __m128i second = _mm_cmpeq_epi16(_mm_subs_epu16(Load(units + 8), limit), zero);
  return BitsOf(first, second) ^ 0xFFFF;
}

inline void WidenBlock(const char* source, char16_t* target) {
  const __m128i bytes = Load(source);
  Store(target, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
  Store(target + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}

// The low bytes.
inline void NarrowBlock(const char16_t* source, char* target) {
  const __m128i low = _mm_set1_epi16(0xFF);
  Store(target,
        _mm_packus_epi16(_mm_and_si128(Load(source), low), _mm_and_si128(Load(source + 8), low)));
}

// Whether two blocks are ASCII.
inline bool AreAscii(const char* bytes) {
  return _mm_movemask_epi8(_mm_or_si128(Load(bytes), Load(bytes + 16))) == 0;
}

inline bool AreAscii(const char16_t* units) {
  const __m128i all = _mm_or_si128(_mm_or_si128(Load(units), Load(units + 8)),
                                   _mm_or_si128(Load(units + 16), Load(units + 24)));
  const __m128i above = _mm_and_si128(all, _mm_set1_epi16(static_cast<short>(0xFF80)));
  return _mm_movemask_epi8(_mm_cmpeq_epi16(above, _mm_setzero_si128())) == 0xFFFF;
}

inline BlocksLength LengthOfBlocks(const char16_t* units) {
  const __m128i zero = _mm_setzero_si128();
  __m128i few = zero;
  __m128i surrogates = zero;
  for (int i = 0; i < 4; ++i) {
    const __m128i v = Load(units + 8 * i);
    // -1 in each lane for every byte that the unit does not need of three.
    few = _mm_add_epi16(few, _mm_cmpeq_epi16(_mm_subs_epu16(v, _mm_set1_epi16(0x7F)), zero));
    few = _mm_add_epi16(few, _mm_cmpeq_epi16(_mm_subs_epu16(v, _mm_set1_epi16(0x7FF)), zero));
    const __m128i is_surrogate =
        _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xF800))),
                        _mm_set1_epi16(static_cast<short>(0xD800)));
    few = _mm_add_epi16(few, is_surrogate);
    surrogates = _mm_or_si128(surrogates, is_surrogate);
  }
  // Negated, every lane is between 0 and 8, so that its bytes can be summed.
  const __m128i sum = _mm_sad_epu8(_mm_sub_epi16(zero, few), zero);
  const int saved = _mm_cvtsi128_si32(sum) + _mm_extract_epi16(sum, 4);
  return {6 * unsigned{kBlock} - static_cast<unsigned>(saved), _mm_movemask_epi8(surrogates) != 0};
}

inline SurrogateBits SurrogatesOf(const char16_t* units) {
  const __m128i kind = _mm_set1_epi16(static_cast<short>(0xFC00));
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xD800));
  const __m128i low = _mm_set1_epi16(static_cast<short>(0xDC00));
  const __m128i first = _mm_and_si128(Load(units), kind);
  const __m128i second = _mm_and_si128(Load(units + 8), kind);
  return {BitsOf(_mm_cmpeq_epi16(first, high), _mm_cmpeq_epi16(second, high)),
          BitsOf(_mm_cmpeq_epi16(first, low), _mm_cmpeq_epi16(second, low))};
}

class UnitsOr {
 public:
  void Add(const char16_t* units) { all_ = _mm_or_si128(all_, Load(units)); }
  char16_t Result() const {
    const __m128i four = _mm_or_si128(all_, _mm_srli_si128(all_, 8));
    const __m128i two = _mm_or_si128(four, _mm_srli_si128(four, 4));
    const auto pair = static_cast<unsigned>(_mm_cvtsi128_si32(two));
    return static_cast<char16_t>(pair | pair >> 16);
  }

 private:
  __m128i all_ = _mm_setzero_si128();
};

#else

inline unsigned NonAsciiBits(const char* bytes) {
  unsigned bits = 0;
  for (size_t i = 0; i < kBlock; ++i) {
    bits |= static_cast<unsigned>(static_cast<unsigned char>(bytes[i]) >= 0x80) << i;
  }
  return bits;
}

template <short kLimit>
unsigned BitsAbove(const char16_t* units) {
  unsigned bits = 0;
  for (size_t i = 0; i < kBlock; ++i) bits |= static_cast<unsigned>(units[i] > kLimit) << i;
  return bits;
}

inline void WidenBlock(const char* source, char16_t* target) {
  for (size_t i = 0; i < kBlock; ++i) target[i] = static_cast<unsigned char>(source[i]);
}

inline void NarrowBlock(const char16_t* source, char* target) {
  for (size_t i = 0; i < kBlock; ++i) target[i] = static_cast<char>(source[i]);
}

inline bool AreAscii(const char* bytes) {
  return NonAsciiBits(bytes) == 0 && NonAsciiBits(bytes + kBlock) == 0;
}

inline bool AreAscii(const char16_t* units) {
  return BitsAbove<0x7F>(units) == 0 && BitsAbove<0x7F>(units + kBlock) == 0;
}

inline BlocksLength LengthOfBlocks(const char16_t* units) {
  BlocksLength length{0, false};
  for (size_t i = 0; i < 2 * kBlock; ++i) {
    const bool is_surrogate = (units[i] & 0xF800) == 0xD800;
    length.has_surrogates |= is_surrogate;
    length.bytes +=
        1u + (units[i] >= 0x80 ? 1u : 0u) + (units[i] >= 0x800 && !is_surrogate ? 1u : 0u);
  }
  return length;
}

inline SurrogateBits SurrogatesOf(const char16_t* units) {
  SurrogateBits bits{0, 0};
  for (size_t i = 0; i < kBlock; ++i) {
    bits.high |= static_cast<unsigned>((units[i] & 0xFC00) == 0xD800) << i;
    bits.low |= static_cast<unsigned>((units[i] & 0xFC00) == 0xDC00) << i;
  }
  return bits;
}

class UnitsOr {
 public:
  void Add(const char16_t* units) {
    for (size_t i = 0; i < kOrBlock; ++i) all_ |= units[i];
  }
  char16_t Result() const { return all_; }

 private:
  char16_t all_ = 0;
};

#endif

}  // namespace orvik
