// Searching runs of units, 8 or 16 bits wide, by value. The time grows with the distance of what is
// found, and with nothing else.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvik {

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Index of the first unit of that value, or kNotFound.
std::size_t FindUnit(std::u16string_view content, char16_t unit);
std::size_t FindUnit(std::string_view content, char unit);

// Index of the first occurrence of the text, or kNotFound. An empty text is found at 0.
std::size_t FindUnits(std::u16string_view content, std::u16string_view text);
std::size_t FindUnits(std::string_view content, std::string_view text);
// The same in the content up to its first 0 byte. The text has none.
std::size_t FindUnitsBeforeZero(std::string_view content, std::string_view text);

}  // namespace orvik
