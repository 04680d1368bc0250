#include "strings/unit_set.h"

#include <bit>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvik {

namespace {

template <typename Unit>
std::size_t RunInSteps(std::basic_string_view<Unit> content, std::size_t from,
                       const std::array<Unit, 4>& few) {
  while (from < content.size() && content[from] != few[0] && content[from] != few[1] &&
         content[from] != few[2] && content[from] != few[3]) {
    ++from;
  }
  return from;
}

#if defined(__SSE2__)

__m128i Equal(__m128i block, char unit) {
  return _mm_cmpeq_epi8(block, _mm_set1_epi8(unit));
}
__m128i Equal(__m128i block, char16_t unit) {
  return _mm_cmpeq_epi16(block, _mm_set1_epi16(static_cast<short>(unit)));
}

// Whole blocks first, each of which is compared with all units of the set at once.
template <typename Unit>
std::size_t Run(std::basic_string_view<Unit> content, const std::array<Unit, 4>& few) {
  constexpr std::size_t kUnits = sizeof(__m128i) / sizeof(Unit);
  std::size_t i = 0;
  for (; content.size() - i >= kUnits; i += kUnits) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(content.data() + i));
    const __m128i found = _mm_or_si128(_mm_or_si128(Equal(block, few[0]), Equal(block, few[1])),
                                       _mm_or_si128(Equal(block, few[2]), Equal(block, few[3])));
    const auto bits = static_cast<unsigned>(_mm_movemask_epi8(found));
    if (bits != 0) return i + static_cast<std::size_t>(std::countr_zero(bits)) / sizeof(Unit);
  }
  return RunInSteps(content, i, few);
}

#else

template <typename Unit>
std::size_t Run(std::basic_string_view<Unit> content, const std::array<Unit, 4>& few) {
  return RunInSteps(content, 0, few);
}

#endif

}  // namespace

template <>
std::size_t UnitSet<char>::RunOutOfFew(std::string_view content,
                                       const std::array<char, kFew>& few) {
  return Run(content, few);
}

template <>
std::size_t UnitSet<char16_t>::RunOutOfFew(std::u16string_view content,
                                           const std::array<char16_t, kFew>& few) {
  return Run(content, few);
}

}  // namespace orvik
