#include "strings/unit_search.h"

#include <cstring>

namespace orvik {

std::size_t FindUnit(std::u16string_view content, char16_t unit) {
  // Blocks without an early exit are compared several units at a time.
  constexpr std::size_t kBlock = 32;
  const char16_t* const units = content.data();
  const std::size_t size = content.size();
  std::size_t i = 0;
  for (; i + kBlock <= size; i += kBlock) {
    char16_t found = 0;
    for (std::size_t k = 0; k < kBlock; ++k) {
      found |= static_cast<char16_t>(units[i + k] == unit ? 1 : 0);
    }
    if (found != 0) break;
  }
  for (; i < size; ++i) {
    if (units[i] == unit) return i;
  }
  return kNotFound;
}

std::size_t FindUnit(std::string_view content, char unit) {
  if (content.empty()) return kNotFound;
  const void* const found = std::memchr(content.data(), unit, content.size());
  return found == nullptr ? kNotFound : static_cast<const char*>(found) - content.data();
}

std::size_t FindUnits(std::u16string_view content, std::u16string_view text) {
  if (text.empty()) return 0;
  std::size_t start = 0;
  while (content.size() - start >= text.size()) {
    const std::size_t last = content.size() - text.size();
    const std::size_t hop = FindUnit(content.substr(start, last - start + 1), text[0]);
    if (hop == kNotFound) break;
    start += hop;
    if (std::memcmp(content.data() + start, text.data(), text.size() * sizeof(char16_t)) == 0) {
      return start;
    }
    ++start;
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
