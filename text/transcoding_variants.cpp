#include "text/transcoding_variants.h"

#if defined(__x86_64__)

namespace orvik::transcoding {

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

}  // namespace orvik::transcoding

#endif
