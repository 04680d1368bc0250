// Steps of transcoding.cpp for sixteen bytes or units at a time: with the vector instructions that
// every x86-64 processor has, and in plain loops on other processors.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvik {

// The bytes or units of a block. Every function reads, or writes, exactly one block, or two blocks
// where it says so. Addresses need not be aligned; the source and the target must not overlap.
inline constexpr size_t kBlock = 16;

// The number of units that UnitsOr adds at once.
inline constexpr size_t kOrBlock = 8;

#if defined(__SSE2__)

inline __m128i Load(const void* place) {
  return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

inline void Store(void* place, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(place), value);
}

// One bit for each of sixteen 16-bit comparisons, eight in each vector.
inline unsigned BitsOf(__m128i first, __m128i second) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(first, second)));
}

// One bit for each byte of a block, set if the byte is above 0x7F. The first byte has the lowest
// bit.
inline unsigned NonAsciiBits(const char* bytes) {
  return static_cast<unsigned>(_mm_movemask_epi8(Load(bytes)));
}

// One bit for each unit of a block, set if the unit is above kLimit. The first unit has the lowest
// bit. A unit minus the limit, with saturation, is zero for all other units.
template <short kLimit>
unsigned BitsAbove(const char16_t* units) {
  const __m128i limit = _mm_set1_epi16(kLimit);
  const __m128i zero = _mm_setzero_si128();
  const __m128i first = _mm_cmpeq_epi16(_mm_subs_epu16(Load(units), limit), zero);
  const __m128i second = _mm_cmpeq_epi16(_mm_subs_epu16(Load(units + 8), limit), zero);
  return BitsOf(first, second) ^ 0xFFFF;
}

// Converts each byte to the unit of the same number by interleaving the bytes with zero bytes.
inline void WidenBlock(const char* source, char16_t* target) {
  const __m128i bytes = Load(source);
  Store(target, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
  Store(target + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}

// Takes the low byte of each unit. The high bytes are cleared first, because packing would turn
// units above 255 into 255.
inline void NarrowBlock(const char16_t* source, char* target) {
  const __m128i low = _mm_set1_epi16(0xFF);
  Store(target,
        _mm_packus_epi16(_mm_and_si128(Load(source), low), _mm_and_si128(Load(source + 8), low)));
}

// Whether two blocks in a row are ASCII.
inline bool AreAscii(const char* bytes) {
  return _mm_movemask_epi8(_mm_or_si128(Load(bytes), Load(bytes + 16))) == 0;
}

inline bool AreAscii(const char16_t* units) {
  const __m128i all = _mm_or_si128(_mm_or_si128(Load(units), Load(units + 8)),
                                   _mm_or_si128(Load(units + 16), Load(units + 24)));
  const __m128i above = _mm_and_si128(all, _mm_set1_epi16(static_cast<short>(0xFF80)));
  return _mm_movemask_epi8(_mm_cmpeq_epi16(above, _mm_setzero_si128())) == 0xFFFF;
}

// The bitwise or of all units that were added, in blocks of kOrBlock units.
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
