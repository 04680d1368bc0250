// Searches in runs of units, 8 or 16 bits wide, by value. The time grows only with the distance to
// the occurrence.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvik {

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Index of the first unit equal to `unit`, or kNotFound.
std::size_t FindUnit(std::u16string_view content, char16_t unit);
std::size_t FindUnit(std::string_view content, char unit);

// Index of the first occurrence of the text, or kNotFound. An empty text is found at 0.
std::size_t FindUnits(std::u16string_view content, std::u16string_view text);
std::size_t FindUnits(std::string_view content, std::string_view text);
// The same in the content up to its first 0 byte. The text must not contain a 0 byte.
std::size_t FindUnitsBeforeZero(std::string_view content, std::string_view text);

}  // namespace orvik
