// A set of units, 8 or 16 bits wide.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

// Building a set takes a step for each unit, looking a unit up takes the same time for every set.
template <typename Unit>
class UnitSet {
 public:
  explicit UnitSet(std::basic_string_view<Unit> units) {
    for (const Unit unit : units) Add(unit);
  }
  UnitSet(const UnitSet&) = delete;
  UnitSet& operator=(const UnitSet&) = delete;

  void Add(Unit unit) {
    const std::size_t value = Value(unit);
    if (value < kLow) {
      low_[value / kBits] |= Bit(value);
    } else {
      AddHigh(unit);
    }
  }

  bool Contains(Unit unit) const {
    const std::size_t value = Value(unit);
    if (value < kLow) return (low_[value / kBits] & Bit(value)) != 0;
    return high_count_ != 0 && ContainsHigh(unit);
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
  static constexpr std::size_t kLow = 256;
  static constexpr std::size_t kBits = 64;
  // A few units above U+00FF are compared one by one. More get one bit for each unit there is,
  // which is not touched before.
  static constexpr std::size_t kFew = 4;

  static std::size_t Value(Unit unit) { return static_cast<std::make_unsigned_t<Unit>>(unit); }
  static std::uint64_t Bit(std::size_t value) { return std::uint64_t{1} << (value % kBits); }

  void AddHigh(Unit unit) {
    if (high_count_ <= kFew && ContainsHigh(unit)) return;
    if (high_count_ < kFew) {
      few_[high_count_++] = unit;
      return;
    }
    if (high_count_ == kFew) {
      all_.fill(0);
      for (const Unit known : few_) AddBit(known);
      ++high_count_;
    }
    AddBit(unit);
  }
  void AddBit(Unit unit) { all_[Value(unit) / kBits] |= Bit(Value(unit)); }
  bool ContainsHigh(Unit unit) const {
    if (high_count_ > kFew) return (all_[Value(unit) / kBits] & Bit(Value(unit))) != 0;
    return std::find(few_.begin(), few_.begin() + high_count_, unit) != few_.begin() + high_count_;
  }

  std::array<std::uint64_t, kLow / kBits> low_{};
  std::size_t high_count_ = 0;  // up to kFew + 1
  std::array<Unit, kFew> few_;
  std::array<std::uint64_t, sizeof(Unit) == 1 ? 1 : 0x10000 / kBits> all_;
};

}  // namespace orvik
