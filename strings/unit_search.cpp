#include "strings/unit_search.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "strings/unit_set.h"

namespace orvik {

namespace {

// The number of units that are compared at once.
constexpr std::size_t kBlock = 8;

#if defined(__SSE2__)

// One bit for each of the eight units that equals `first` and has `last` `gap` units behind it.
unsigned Candidates(const char16_t* units, char16_t first, char16_t last, std::size_t gap) {
  const auto equal = [](const char16_t* at, char16_t unit) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    return _mm_cmpeq_epi16(block, _mm_set1_epi16(static_cast<short>(unit)));
  };
  const __m128i both = _mm_and_si128(equal(units, first), equal(units + gap, last));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(both, _mm_setzero_si128())));
}

#else

unsigned Candidates(const char16_t* units, char16_t first, char16_t last, std::size_t gap) {
  unsigned bits = 0;
  for (std::size_t k = 0; k < kBlock; ++k) {
    bits |= static_cast<unsigned>((units[k] == first) & (units[k + gap] == last)) << k;
  }
  return bits;
}

#endif

// Whether the bytes between the first and the last of `text` also match at `at`. A separate
// function, so that the loops that call it keep their constants in registers.
[[gnu::noinline]] bool HasMiddle(const char* at, std::string_view text) {
  return std::memcmp(at + 1, text.data() + 1, text.size() - 2) == 0;
}

// The limit of units compared without a match, per unit passed, before the linear search is faster.
constexpr std::size_t kPatience = 16;

// Finds a text without a 0 byte before the first 0 byte of the content. Gives up after too many
// comparisons without a match; `at` is then where the search must continue.
struct Finding {
  std::size_t at;
  bool gave_up = false;
};
Finding FindBeforeZero(std::string_view content, std::string_view text) {
  const std::size_t gap = text.size() - 1;
  if (content.size() <= gap) return {kNotFound};
  const char* const begin = content.data();
  const char* const end = begin + (content.size() - gap);
  const char first = text[0];
  const char last = text[gap];
  const char* at = begin;
  std::size_t in_vain = 0;
  const auto index = [&](const char* place) { return static_cast<std::size_t>(place - begin); };
#if defined(__SSE2__)
  // Multiplied, because a byte that is stored and loaded again as an int stalls on the store.
  const auto all = [](char byte) {
    return _mm_set1_epi32(static_cast<int>(static_cast<unsigned char>(byte) * 0x01010101u));
  };
  const auto block_at = [](const char* place) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(place));
  };
  const __m128i firsts = all(first);
  const __m128i lasts = all(last);
  constexpr std::ptrdiff_t kBytes = sizeof(__m128i);
  for (; end - at >= kBytes; at += kBytes) {
    const __m128i block = block_at(at);
    const __m128i zeros = _mm_cmpeq_epi8(block, _mm_setzero_si128());
    const __m128i both =
        _mm_and_si128(_mm_cmpeq_epi8(block, firsts), _mm_cmpeq_epi8(block_at(at + gap), lasts));
    auto bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(both, zeros)));
    if (bits == 0) continue;
    const auto zero = static_cast<unsigned>(_mm_movemask_epi8(zeros));
    if (zero != 0) bits &= (zero & -zero) - 1;
    for (; bits != 0; bits &= bits - 1) {
      const char* const found = at + std::countr_zero(bits);
      if (gap < 2 || HasMiddle(found, text)) return {index(found)};
      in_vain += gap;
    }
    if (zero != 0) return {kNotFound};
    if (in_vain > kPatience * (index(at) + text.size())) return {index(at) + kBytes, true};
  }
#endif
  for (; at != end && *at != 0; ++at) {
    if (*at != first || at[gap] != last) continue;
    if (gap < 2 || HasMiddle(at, text)) return {index(at)};
    in_vain += gap;
    if (in_vain > kPatience * (index(at) + text.size())) return {index(at) + 1, true};
  }
  return {kNotFound};
}

// The algorithm of Knuth, Morris and Pratt: at most a few steps for each unit, whatever the text.
std::size_t FindInSteps(std::u16string_view content, std::u16string_view text) {
  // The length of the longest proper prefix of the text that ends at each of its units.
  std::vector<std::uint32_t> prefixes(text.size());
  for (std::size_t i = 1, length = 0; i < text.size(); ++i) {
    while (length > 0 && text[i] != text[length]) length = prefixes[length - 1];
    if (text[i] == text[length]) ++length;
    prefixes[i] = static_cast<std::uint32_t>(length);
  }
  for (std::size_t i = 0, length = 0; i < content.size(); ++i) {
    while (length > 0 && content[i] != text[length]) length = prefixes[length - 1];
    if (content[i] == text[length]) ++length;
    if (length == text.size()) return i + 1 - length;
  }
  return kNotFound;
}

// Calls check(index) for each place where `first` is followed by `last` at a distance of `gap`,
// until it returns kYes or kStop. Returns that index.
enum class Verdict { kNo, kYes, kStop };
template <typename Check>
std::size_t FindByEnds(std::u16string_view content, char16_t first, char16_t last, std::size_t gap,
                       const Check& check) {
  if (content.size() <= gap) return kNotFound;
  const char16_t* const units = content.data();
  const std::size_t starts = content.size() - gap;
  std::size_t i = 0;
  if (starts >= kBlock) {
    while (i < starts) {
      // The last block overlaps the one before it.
      const std::size_t at = std::min(i, starts - kBlock);
      for (unsigned bits = Candidates(units + at, first, last, gap) >> (i - at); bits != 0;) {
        i += static_cast<std::size_t>(std::countr_zero(bits));
        const Verdict verdict = check(i);
        if (verdict != Verdict::kNo) return i;
        bits = (bits >> std::countr_zero(bits)) >> 1;
        ++i;
      }
      i = at + kBlock;
    }
  } else {
    for (; i < starts; ++i) {
      if (units[i] == first && units[i + gap] == last && check(i) != Verdict::kNo) return i;
    }
  }
  return kNotFound;
}

}  // namespace

std::size_t FindUnit(std::u16string_view content, char16_t unit) {
  return FindByEnds(content, unit, unit, 0, [](std::size_t) { return Verdict::kYes; });
}

std::size_t FindUnit(std::string_view content, char unit) {
  if (content.empty()) return kNotFound;
  const void* const found = std::memchr(content.data(), unit, content.size());
  return found == nullptr ? kNotFound : static_cast<const char*>(found) - content.data();
}

std::size_t FindUnits(std::u16string_view content, std::u16string_view text) {
  if (text.empty()) return 0;
  if (text.size() == 1) return FindUnit(content, text[0]);
  std::size_t in_vain = 0;
  bool gave_up = false;
  const std::size_t gap = text.size() - 1;
  const std::size_t found = FindByEnds(content, text[0], text[gap], gap, [&](std::size_t at) {
    if (std::memcmp(content.data() + at, text.data(), gap * sizeof(char16_t)) == 0) {
      return Verdict::kYes;
    }
    in_vain += gap;
    gave_up = in_vain > kPatience * (at + text.size());
    return gave_up ? Verdict::kStop : Verdict::kNo;
  });
  if (!gave_up) return found;
  const std::size_t later = FindInSteps(content.substr(found), text);
  return later == kNotFound ? kNotFound : found + later;
}

std::size_t FindUnits(std::string_view content, std::string_view text) {
  if (text.empty()) return 0;
  if (content.size() < text.size()) return kNotFound;
  const void* const found = ::memmem(content.data(), content.size(), text.data(), text.size());
  return found == nullptr ? kNotFound : static_cast<const char*>(found) - content.data();
}

std::size_t FindUnitsBeforeZero(std::string_view content, std::string_view text) {
  if (text.empty()) return 0;
  const Finding quick = FindBeforeZero(content, text);
  if (!quick.gave_up) return quick.at;
  const std::size_t passed = quick.at;
  content.remove_prefix(passed);
  // Searches parts of growing size, which overlap by the length of the text less one. So the 0 byte
  // is not looked for far beyond the occurrence.
  std::size_t part = std::max<std::size_t>(256, 2 * text.size());
  for (std::size_t at = 0; at < content.size(); at += part - (text.size() - 1), part *= 2) {
    const std::string_view searched = content.substr(at, part);
    const std::size_t found = FindUnits(searched, text);
    const std::size_t zero = FindUnit(searched.substr(0, found), '\0');
    if (zero == kNotFound && found != kNotFound) return passed + at + found;
    if (zero != kNotFound) return kNotFound;
  }
  return kNotFound;
}

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

// Whole blocks first: each is compared with all units of the set at once.
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
