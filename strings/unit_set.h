// A set of units, 8 or 16 bits wide. It lives on the stack, allocates nothing and takes 8 KiB for
// 16-bit units. Reading does not change it, so threads may share a complete set.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

// Most sets have a few units, which are compared one by one. A larger set has a bit for every
// possible unit. So the time to build a set grows with its number of units, and a lookup takes the
// same time in every set.
template <typename Unit>
class UnitSet {
 public:
  static constexpr std::size_t kFew = 4;

  explicit UnitSet(std::basic_string_view<Unit> units) {
    if (units.size() > kFew) {
      for (const Unit unit : units) Add(unit);
      return;
    }
    // A unit may be stored twice: that does no harm.
    count_ = units.size();
    for (std::size_t i = 0; i < kFew && count_ != 0; ++i) few_[i] = units[i < count_ ? i : 0];
  }
  UnitSet(const UnitSet&) = delete;
  UnitSet& operator=(const UnitSet&) = delete;

  // Adds one unit; does nothing when it is already in the set.
  void Add(Unit unit) {
    if (count_ > kFew) {
      AddBit(unit);
      return;
    }
    if (count_ != 0 && Contains(unit)) return;
    // Unused places repeat a unit of the set.
    if (count_ == 0) few_.fill(unit);
    if (count_ < kFew) {
      few_[count_++] = unit;
      return;
    }
    low_.fill(0);
    for (const Unit known : few_) AddBit(known);
    AddBit(unit);
    ++count_;
  }

  bool Contains(Unit unit) const {
    if (count_ > kFew) return ContainsBit(unit);
    // A sum needs no branches.
    const int equal = (unit == few_[0]) + (unit == few_[1]) + (unit == few_[2]) + (unit == few_[3]);
    return count_ != 0 && equal != 0;
  }

  // The length of the leading run of units that are in the set (RunIn) or not in it (RunOut).
  std::size_t RunIn(std::basic_string_view<Unit> content) const {
    std::size_t i = 0;
    while (i < content.size() && Contains(content[i])) ++i;
    return i;
  }
  std::size_t RunOut(std::basic_string_view<Unit> content) const {
    if (count_ == 0) return content.size();
    if (count_ <= kFew) return RunOutOfFew(content, few_);
    std::size_t i = 0;
    while (i < content.size() && !ContainsBit(content[i])) ++i;
    return i;
  }

 private:
  static constexpr std::size_t kLow = 256;
  static constexpr std::size_t kBits = 64;

  static std::size_t Value(Unit unit) { return static_cast<std::make_unsigned_t<Unit>>(unit); }
  static std::uint64_t Bit(std::size_t value) { return std::uint64_t{1} << (value % kBits); }

  void AddBit(Unit unit) {
    const std::size_t value = Value(unit);
    if (value < kLow) {
      low_[value / kBits] |= Bit(value);
      return;
    }
    if (!has_high_) all_.fill(0);
    has_high_ = true;
    all_[value / kBits] |= Bit(value);
  }
  bool ContainsBit(Unit unit) const {
    const std::size_t value = Value(unit);
    if (value < kLow) return (low_[value / kBits] & Bit(value)) != 0;
    return has_high_ && (all_[value / kBits] & Bit(value)) != 0;
  }
  static std::size_t RunOutOfFew(std::basic_string_view<Unit> content,
                                 const std::array<Unit, kFew>& few);

  std::size_t count_ = 0;  // kFew + 1 when there are more
  std::array<Unit, kFew> few_;
  // The bits of units below kLow, and in all_ those of other units once one was added.
  bool has_high_ = false;
  std::array<std::uint64_t, kLow / kBits> low_;
  std::array<std::uint64_t, sizeof(Unit) == 1 ? 1 : 0x10000 / kBits> all_;
};

template <>
std::size_t UnitSet<char>::RunOutOfFew(std::string_view content, const std::array<char, kFew>& few);
template <>
std::size_t UnitSet<char16_t>::RunOutOfFew(std::u16string_view content,
                                           const std::array<char16_t, kFew>& few);

}  // namespace orvik
