#include "strings/unit_search.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace orvik {

namespace {

// By the table of Knuth, Morris and Pratt: no text takes more than a few steps a unit.
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

}  // namespace

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
  // What may be compared in vain before the steady way is the better one.
  constexpr std::size_t kPatience = 16;
  std::size_t in_vain = 0;
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
      if (units[i] != first || units[i + gap] != last) continue;
      if (std::memcmp(units + i, text.data(), text.size() * sizeof(char16_t)) == 0) return i;
      in_vain += text.size();
    }
    if (in_vain > kPatience * content.size()) {
      const std::size_t found = FindInSteps(content.substr(i), text);
      return found == kNotFound ? kNotFound : i + found;
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
