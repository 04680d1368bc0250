// Loads, stores and masks of 256-bit vectors. For sources that are compiled for x86-64; the
// functions may run only on a processor that has AVX2.
#pragma once

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace orvik::avx2 {

[[gnu::target("avx2"), gnu::always_inline]] inline __m128i LoadHalf(const void* place) {
  return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i LoadWide(const void* place) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(place));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void Store(void* place, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(place), value);
}

[[gnu::target("avx2"), gnu::always_inline]] inline void Store(void* place, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(place), value);
}

// The same value in every lane of 8, 16 or 32 bits.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Bytes(int value) {
  return _mm256_set1_epi8(static_cast<char>(value));
}
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Units(int value) {
  return _mm256_set1_epi16(static_cast<short>(value));
}
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Words(std::uint32_t value) {
  return _mm256_set1_epi32(static_cast<int>(value));
}

// The top bit of each byte.
[[gnu::target("avx2"), gnu::always_inline]] inline std::uint32_t ByteMask(__m256i value) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(value));
}
[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t ByteMask(__m256i low,
                                                                          __m256i high) {
  return ByteMask(low) | std::uint64_t{ByteMask(high)} << 32;
}

// One bit for each of sixteen lanes, which are all ones or all zeros.
[[gnu::target("avx2,bmi2"), gnu::always_inline]] inline std::uint32_t UnitMask(__m256i comparison) {
  return _pext_u32(ByteMask(comparison), 0x55555555u);
}

struct Shuffle {
  alignas(16) unsigned char index[16];
};

// For each set of eight 16-bit lanes: moves their bytes together. `kWholeLanes` keeps both bytes of
// the lanes in the set and none of the others; else both bytes of those in the set and the lower
// one of the others.
template <bool kWholeLanes>
inline constexpr std::array<Shuffle, 256> kPacking = [] {
  std::array<Shuffle, 256> shuffles{};
  for (unsigned set = 0; set < 256; ++set) {
    unsigned next = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      const bool in_set = (set >> lane & 1) != 0;
      if (in_set || !kWholeLanes) {
        shuffles[set].index[next++] = static_cast<unsigned char>(2 * lane);
      }
      if (in_set) shuffles[set].index[next++] = static_cast<unsigned char>(2 * lane + 1);
    }
  }
  return shuffles;
}();

}  // namespace orvik::avx2
