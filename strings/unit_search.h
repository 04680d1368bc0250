// Searching runs of units, 8 or 16 bits wide, by value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvik {

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Index of the first unit of that value, or kNotFound.
std::size_t FindUnit(std::u16string_view content, char16_t unit);
std::size_t FindUnit(std::string_view content, char unit);

// Index of the first occurrence of the text, or kNotFound. An empty text is found at 0.
std::size_t FindUnits(std::u16string_view content, std::u16string_view text);
std::size_t FindUnits(std::string_view content, std::string_view text);

inline std::size_t UnitValue(char16_t unit) {
  return unit;
}
inline std::size_t UnitValue(char unit) {
  return static_cast<unsigned char>(unit);
}

// A set of units. The view it was made of must outlive it.
template <typename Unit>
class UnitSet {
 public:
  explicit UnitSet(std::basic_string_view<Unit> units) : units_(units) {
    for (const Unit unit : units) {
      const std::size_t value = UnitValue(unit);
      if (value < 256) {
        low_[value / 64] |= std::uint64_t{1} << (value % 64);
      } else {
        has_high_ = true;
      }
    }
  }

  bool Contains(Unit unit) const {
    const std::size_t value = UnitValue(unit);
    if (value < 256) return (low_[value / 64] >> (value % 64) & 1) != 0;
    return has_high_ && units_.find(unit) != units_.npos;
  }

  // Length of the leading run of units that are in the set, or that are not.
  std::size_t RunIn(std::basic_string_view<Unit> content) const {
    std::size_t i = 0;
    while (i < content.size() && Contains(content[i])) ++i;
    return i;
  }
  std::size_t RunOut(std::basic_string_view<Unit> content) const {
    std::size_t i = 0;
    while (i < content.size() && !Contains(content[i])) ++i;
    return i;
  }

 private:
  std::basic_string_view<Unit> units_;
  std::array<std::uint64_t, 4> low_{};
  bool has_high_ = false;
};

}  // namespace orvik
