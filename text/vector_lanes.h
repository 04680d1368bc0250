// Loads, stores and masks of 256-bit and 512-bit vectors, for sources that are compiled for x86-64.
// Functions of avx2 may run only on a processor that has AVX2, those of avx512 only on one that has
// AVX-512 with VBMI2.
#pragma once

// A header of the compiler reads uninitialised values and uses none of their bits.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#define ORVIK_AVX2 [[gnu::target("avx2"), gnu::always_inline]] inline
#define ORVIK_AVX512_FUNCTION \
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,bmi,bmi2,lzcnt,popcnt")]]
#define ORVIK_AVX512 ORVIK_AVX512_FUNCTION [[gnu::always_inline]] inline

#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace orvik::avx2 {

// Load and store 16 and 32 bytes at any address, aligned or not.
ORVIK_AVX2 __m128i LoadHalf(const void* place) {
  return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

ORVIK_AVX2 __m256i LoadWide(const void* place) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(place));
}

ORVIK_AVX2 void Store(void* place, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(place), value);
}

ORVIK_AVX2 void Store(void* place, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(place), value);
}

// The same value in every lane of 8, 16 or 32 bits.
ORVIK_AVX2 __m256i Bytes(int value) {
  return _mm256_set1_epi8(static_cast<char>(value));
}
ORVIK_AVX2 __m256i Units(int value) {
  return _mm256_set1_epi16(static_cast<short>(value));
}
ORVIK_AVX2 __m256i Words(std::uint32_t value) {
  return _mm256_set1_epi32(static_cast<int>(value));
}

// The top bit of each byte.
ORVIK_AVX2 std::uint32_t ByteMask(__m256i value) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(value));
}
ORVIK_AVX2 std::uint64_t ByteMask(__m256i low, __m256i high) {
  return ByteMask(low) | std::uint64_t{ByteMask(high)} << 32;
}

// One bit for each of sixteen lanes, each of which is all ones or all zeros.
[[gnu::target("avx2,bmi2"), gnu::always_inline]] inline std::uint32_t UnitMask(__m256i comparison) {
  return _pext_u32(ByteMask(comparison), 0x55555555u);
}

// The indices for a byte shuffle within 16 bytes.
struct Shuffle {
  alignas(16) unsigned char index[16];
};

// For each set of eight 16-bit lanes, a shuffle that packs bytes. With `kWholeLanes` it keeps both
// bytes of the lanes in the set and drops the other lanes. Without, it keeps both bytes of the
// lanes in the set and the lower byte of the other lanes.
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

namespace orvik::avx512 {

inline constexpr std::ptrdiff_t kVectorBytes = 64;

// Loads 64 bytes from any address, aligned or not.
ORVIK_AVX512 __m512i LoadAll(const void* place) {
  return _mm512_loadu_si512(place);
}

// The same value in every lane of 8, 16 or 32 bits.
ORVIK_AVX512 __m512i Bytes(int value) {
  return _mm512_set1_epi8(static_cast<char>(value));
}
ORVIK_AVX512 __m512i Units(int value) {
  return _mm512_set1_epi16(static_cast<short>(value));
}
ORVIK_AVX512 __m512i Words(std::uint32_t value) {
  return _mm512_set1_epi32(static_cast<int>(value));
}

// The first and the last 32 bytes.
ORVIK_AVX512 __m256i LowHalf(__m512i vector) {
  return _mm512_castsi512_si256(vector);
}
ORVIK_AVX512 __m256i HighHalf(__m512i vector) {
  return _mm512_extracti64x4_epi64(vector, 1);
}

// The bitwise or of all three, in one instruction.
ORVIK_AVX512 __m512i Or(__m512i a, __m512i b, __m512i c) {
  return _mm512_ternarylogic_epi32(a, b, c, 0xFE);
}
// The bits of `a` that the mask selects, or-ed with `b`.
ORVIK_AVX512 __m512i SelectedOr(__m512i a, __m512i mask, __m512i b) {
  return _mm512_ternarylogic_epi32(a, mask, b, 0xEA);
}

// The lowest n bits set; all 64 when n is larger.
inline std::uint64_t Below(std::ptrdiff_t n) {
  return n >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << n) - 1;
}

// The number of bits that are set.
inline std::ptrdiff_t Count(std::uint64_t bits) {
  return __builtin_popcountll(bits);
}

// 0, 1, 2, ...
template <typename Unit, std::size_t kLanes>
constexpr std::array<Unit, kLanes> PlacesOfLanes() {
  std::array<Unit, kLanes> places{};
  for (std::size_t i = 0; i < kLanes; ++i) places[i] = static_cast<Unit>(i);
  return places;
}

// Writes the used lanes of vectors one after the other. Stores whole vectors where there is room
// and afterwards restores the memory behind the text that these stores have overwritten.
template <typename Unit>
class Writer {
 public:
  Writer(Unit* place, Unit* end) : place_(place), end_(end) {}

  // The address behind the text written so far.
  Unit* Place() const { return place_; }

  // Prepares for n units in one or more vectors. Returns false, and nothing is written, when they
  // do not fit. The last block is never stored as whole vectors: reading and writing the memory
  // behind a short text would be wasted work.
  ORVIK_AVX512 bool Begin(std::ptrdiff_t n, bool is_last) {
    const std::ptrdiff_t room = end_ - place_;
    if (room < n) return false;
    if (!is_last && room - n >= kLanes) {
      // An earlier store may already have overwritten up to one vector from place_ on.
      const __m512i now = LoadAll(place_ + n);
      behind_ = stores_whole_ && n < kLanes ? Moved(behind_, n, now) : now;
      stores_whole_ = true;
    } else {
      RestoreOverwritten();
    }
    return true;
  }
  // Writes the first n lanes. All calls after one Begin together must not write more than its n.
  ORVIK_AVX512 void Put(__m512i vector, std::ptrdiff_t n) {
    if (stores_whole_) {
      _mm512_storeu_si512(place_, vector);
    } else if constexpr (sizeof(Unit) == 1) {
      _mm512_mask_storeu_epi8(place_, Below(n), vector);
    } else {
      _mm512_mask_storeu_epi16(place_, static_cast<__mmask32>(Below(n)), vector);
    }
    place_ += n;
  }
  // Writes all lanes of the vector. Returns false, and nothing is written, when it does not fit.
  ORVIK_AVX512 bool PutWhole(__m512i vector) {
    if (end_ - place_ < kLanes) return false;
    _mm512_storeu_si512(place_, vector);
    place_ += kLanes;
    // This store covers everything that earlier whole stores have overwritten.
    stores_whole_ = false;
    return true;
  }
  // Must be called once, after all other calls. Returns the end of the text.
  ORVIK_AVX512 Unit* End() {
    RestoreOverwritten();
    return place_;
  }

 private:
  static constexpr std::ptrdiff_t kLanes = kVectorBytes / sizeof(Unit);
  static constexpr auto kPlaces = PlacesOfLanes<Unit, kLanes>();

  // The lanes from n on, followed by the first lanes of `next`.
  ORVIK_AVX512 static __m512i Moved(__m512i lanes, std::ptrdiff_t n, __m512i next) {
    const std::uint64_t free = ~Below(kLanes - n);
    if constexpr (sizeof(Unit) == 1) {
      const __m512i places = _mm512_add_epi8(LoadAll(kPlaces.data()), Bytes(static_cast<int>(n)));
      return _mm512_mask_mov_epi8(_mm512_permutexvar_epi8(places, lanes), free, next);
    } else {
      const __m512i places = _mm512_add_epi16(LoadAll(kPlaces.data()), Units(static_cast<int>(n)));
      return _mm512_mask_mov_epi16(_mm512_permutexvar_epi16(places, lanes),
                                   static_cast<__mmask32>(free), next);
    }
  }
  ORVIK_AVX512 void RestoreOverwritten() {
    if (stores_whole_) _mm512_storeu_si512(place_, behind_);
    stores_whole_ = false;
  }

  Unit* place_;
  Unit* end_;
  bool stores_whole_ = false;
  __m512i behind_;
};

}  // namespace orvik::avx512
