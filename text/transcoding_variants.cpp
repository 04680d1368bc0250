// Other processors than x86-64 have the plain loops alone.
#include "text/transcoding_variants.h"

namespace orvik::transcoding {

#if defined(__x86_64__)

bool HasAvx2() {
  static const bool has =
      __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
      __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("popcnt") != 0;
  return has;
}

bool HasAvx512() {
  static const bool has =
      HasAvx2() && __builtin_cpu_supports("avx512f") != 0 &&
      __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
      __builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0;
  return has;
}

#else

bool HasAvx2() {
  return false;
}

bool HasAvx512() {
  return false;
}

void DecodeBlocksAvx2(const char*&, const char*, char16_t*&, char16_t*) {}

void EncodeBlocksAvx2(const char16_t*&, const char16_t*, char*&, char*) {}

size_t CountBlocksAvx2(const char*&, const char*) {
  return 0;
}

size_t MeasureBlocksAvx2(const char16_t*&, const char16_t*) {
  return 0;
}

void DecodeAvx512(const char*&, const char*, char16_t*&, char16_t*) {}

void EncodeAvx512(const char16_t*&, const char16_t*, char*&, char*) {}

size_t CountAvx512(const char*&, const char*) {
  return 0;
}

size_t MeasureAvx512(const char16_t*&, const char16_t*) {
  return 0;
}

#endif

}  // namespace orvik::transcoding
