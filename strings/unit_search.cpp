#include "strings/unit_search.h"

#include <algorithm>
#include <cstring>

namespace orvik {

std::size_t FindUnit(std::u16string_view content, char16_t unit) {
  return FindUnits(content, {&unit, 1});
}

std::size_t FindUnit(std::string_view content, char unit) {
  if (content.empty()) return kNotFound;
  const void* const found = std::memchr(content.data(), unit, content.size());
  return found == nullptr ? kNotFound : static_cast<const char*>(found) - content.data();
}

std::size_t FindUnits(std::u16string_view content, std::u16string_view text) {
  if (text.empty()) return 0;
  if (content.size() < text.size()) return kNotFound;
  const char16_t* const units = content.data();
  const std::size_t gap = text.size() - 1;
  const std::size_t starts = content.size() - gap;
  const char16_t first = text[0];
  const char16_t last = text[gap];
  // Blocks without an early exit are tested several units at a time, by two units of the text.
  constexpr std::size_t kBlock = 32;
  std::size_t i = 0;
  while (i < starts) {
    const std::size_t end = std::min(i + kBlock, starts);
    if (end - i == kBlock) {
      char16_t candidates = 0;
      for (std::size_t k = 0; k < kBlock; ++k) {
        candidates |= static_cast<char16_t>((units[i + k] == first) & (units[i + k + gap] == last));
      }
      if (candidates == 0) {
        i = end;
        continue;
      }
    }
    for (; i < end; ++i) {
      if (units[i] == first && units[i + gap] == last &&
          std::memcmp(units + i, text.data(), text.size() * sizeof(char16_t)) == 0) {
        return i;
      }
    }
  }
  return kNotFound;
}

std::size_t FindUnits(std::string_view content, std::string_view text) {
  if (text.empty()) return 0;
  if (content.size() < text.size()) return kNotFound;
  const void* const found = ::memmem(content.data(), content.size(), text.data(), text.size());
  return found == nullptr ? kNotFound : static_cast<const char*>(found) - content.data();
}

}  // namespace orvik
