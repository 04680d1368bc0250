// Carry-less multiplication on x86-64. A run of bytes is a polynomial over two elements, first bit
// highest. Its 128-bit lanes are multiplied by a power of x modulo the generator and added to the
// lanes that lie as many bits further on, until one lane is left; the tables give its remainder.
#include "files/checksum_variants.h"

#if defined(__x86_64__)

#include <immintrin.h>

namespace orvik::crc32 {
namespace {

// x^exponent modulo the generator.
constexpr std::uint64_t PowerOfX(int exponent) {
  std::uint32_t power = 1;
  for (; exponent > 0; --exponent) {
    power = (power << 1) ^ ((power & 0x80000000u) != 0 ? kPolynomial : 0);
  }
  return power;
}

// The constants that move a lane on by `bits`: the high half is multiplied by x^(bits + 64), the
// low half by x^bits.
struct Fold {
  std::uint64_t low;
  std::uint64_t high;
};
constexpr Fold FoldBy(int bits) {
  return {PowerOfX(bits), PowerOfX(bits + 64)};
}
constexpr Fold kFold128 = FoldBy(128);
constexpr Fold kFold256 = FoldBy(256);
constexpr Fold kFold384 = FoldBy(384);
constexpr Fold kFold512 = FoldBy(512);
constexpr Fold kFold1024 = FoldBy(1024);

[[gnu::target("pclmul,ssse3"), gnu::always_inline]] inline __m128i Constants(const Fold& fold) {
  return _mm_set_epi64x(static_cast<long long>(fold.high), static_cast<long long>(fold.low));
}

[[gnu::target("pclmul,ssse3"), gnu::always_inline]] inline __m128i Reverse(__m128i lane) {
  return _mm_shuffle_epi8(lane, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

// 16 bytes, the first one highest.
[[gnu::target("pclmul,ssse3"), gnu::always_inline]] inline __m128i Load(const unsigned char* at) {
  return Reverse(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)));
}

[[gnu::target("pclmul,ssse3"), gnu::always_inline]] inline __m128i Multiply(__m128i lane,
                                                                            __m128i constants) {
  return _mm_xor_si128(_mm_clmulepi64_si128(lane, constants, 0x11),
                       _mm_clmulepi64_si128(lane, constants, 0x00));
}

struct Lanes {
  __m128i first, second, third, fourth;
};

// Folds the bytes after the lanes into them, 64 bytes per step, and leaves the remainder to the
// tables.
[[gnu::target("pclmul,ssse3"), gnu::always_inline]] inline std::uint32_t Finish(
    Lanes lanes, const unsigned char* next, const unsigned char* end) {
  const __m128i by_512 = Constants(kFold512);
  for (; end - next >= 64; next += 64) {
    lanes.first = _mm_xor_si128(Multiply(lanes.first, by_512), Load(next));
    lanes.second = _mm_xor_si128(Multiply(lanes.second, by_512), Load(next + 16));
    lanes.third = _mm_xor_si128(Multiply(lanes.third, by_512), Load(next + 32));
    lanes.fourth = _mm_xor_si128(Multiply(lanes.fourth, by_512), Load(next + 48));
  }
  const __m128i front = _mm_xor_si128(Multiply(lanes.first, Constants(kFold384)),
                                      Multiply(lanes.second, Constants(kFold256)));
  const __m128i rest =
      _mm_xor_si128(front, _mm_xor_si128(Multiply(lanes.third, Constants(kFold128)), lanes.fourth));
  unsigned char last[16];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(last), Reverse(rest));
  return Portable(Portable(0, last), {next, static_cast<std::size_t>(end - next)});
}

// Load and Multiply for two lanes at a time.
[[gnu::target("avx2,vpclmulqdq"), gnu::always_inline]] inline __m256i LoadWide(
    const unsigned char* at) {
  const __m256i reverse = _mm256_broadcastsi128_si256(
      _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)), reverse);
}

[[gnu::target("avx2,vpclmulqdq"), gnu::always_inline]] inline __m256i MultiplyWide(
    __m256i lanes, __m256i constants) {
  return _mm256_xor_si256(_mm256_clmulepi64_epi128(lanes, constants, 0x11),
                          _mm256_clmulepi64_epi128(lanes, constants, 0x00));
}

}  // namespace

bool HasCarrylessMultiplication() {
  return __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("ssse3") != 0;
}

[[gnu::target("pclmul,ssse3")]] std::uint32_t CarrylessMultiplication(
    std::uint32_t checksum, std::span<const unsigned char> bytes) {
  if (bytes.size() < 128) return Portable(checksum, bytes);
  const unsigned char* const next = bytes.data();
  const __m128i before = _mm_set_epi32(static_cast<int>(checksum), 0, 0, 0);
  return Finish(
      {_mm_xor_si128(Load(next), before), Load(next + 16), Load(next + 32), Load(next + 48)},
      next + 64, next + bytes.size());
}

bool HasWideCarrylessMultiplication() {
  return HasCarrylessMultiplication() && __builtin_cpu_supports("avx2") != 0 &&
         __builtin_cpu_supports("vpclmulqdq") != 0;
}

[[gnu::target("avx2,pclmul,vpclmulqdq")]] std::uint32_t WideCarrylessMultiplication(
    std::uint32_t checksum, std::span<const unsigned char> bytes) {
  if (bytes.size() < 256) return CarrylessMultiplication(checksum, bytes);
  const unsigned char* next = bytes.data();
  const unsigned char* const end = next + bytes.size();
  __m256i first = _mm256_xor_si256(
      LoadWide(next), _mm256_set_epi32(0, 0, 0, 0, static_cast<int>(checksum), 0, 0, 0));
  __m256i second = LoadWide(next + 32);
  __m256i third = LoadWide(next + 64);
  __m256i fourth = LoadWide(next + 96);
  const __m256i by_1024 = _mm256_broadcastsi128_si256(Constants(kFold1024));
  for (next += 128; end - next >= 128; next += 128) {
    first = _mm256_xor_si256(MultiplyWide(first, by_1024), LoadWide(next));
    second = _mm256_xor_si256(MultiplyWide(second, by_1024), LoadWide(next + 32));
    third = _mm256_xor_si256(MultiplyWide(third, by_1024), LoadWide(next + 64));
    fourth = _mm256_xor_si256(MultiplyWide(fourth, by_1024), LoadWide(next + 96));
  }
  const __m256i by_512 = _mm256_broadcastsi128_si256(Constants(kFold512));
  third = _mm256_xor_si256(MultiplyWide(first, by_512), third);
  fourth = _mm256_xor_si256(MultiplyWide(second, by_512), fourth);
  return Finish({_mm256_castsi256_si128(third), _mm256_extracti128_si256(third, 1),
                 _mm256_castsi256_si128(fourth), _mm256_extracti128_si256(fourth, 1)},
                next, end);
}

}  // namespace orvik::crc32

#else

namespace orvik::crc32 {

bool HasCarrylessMultiplication() {
  return false;
}

std::uint32_t CarrylessMultiplication(std::uint32_t checksum,
                                      std::span<const unsigned char> bytes) {
  return Portable(checksum, bytes);
}

bool HasWideCarrylessMultiplication() {
  return false;
}

std::uint32_t WideCarrylessMultiplication(std::uint32_t checksum,
                                          std::span<const unsigned char> bytes) {
  return Portable(checksum, bytes);
}

}  // namespace orvik::crc32

#endif
