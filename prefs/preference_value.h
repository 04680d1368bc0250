// Values of property lists in C++ types, with no platform object in them.
//
//   property list    PreferenceValue holds
//   string           std::u16string
//   integer          std::int64_t; std::uint64_t above its range
//   real             double
//   boolean          bool
//   date             PreferenceDate
//   data             PreferenceData
//   array            PreferenceArray
//   dictionary, key  PreferenceDictionary
//
// Values own what they hold and are copied whole.
#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "strings/text_view.h"

namespace [[gnu::visibility("default")]] orvik {

class PreferenceValue;

using PreferenceDate = std::chrono::sys_time<std::chrono::duration<double>>;
using PreferenceData = std::vector<std::byte>;
using PreferenceArray = std::vector<PreferenceValue>;
using PreferenceDictionary = std::map<std::u16string, PreferenceValue, std::less<>>;

class PreferenceValue {
 public:
  using Variant =
      std::variant<std::u16string, std::int64_t, double, bool, PreferenceDate, PreferenceData,
                   PreferenceArray, PreferenceDictionary, std::uint64_t>;

  // NOLINTBEGIN(google-explicit-constructor): a value is what it is made from.
  // A CAtlString, a view, a standard string or a literal; null is empty.
  template <IsTextOf<char16_t> Text>
  PreferenceValue(const Text& text) : held_(std::u16string(TextView<char16_t>(text))) {}
  // Which encoding?
  template <IsTextOf<char> Text>
  PreferenceValue(const Text&) = delete;  // u"..." or CAtlString::FromUtf8
  PreferenceValue(std::nullptr_t) = delete;
  template <std::integral Integer>
  PreferenceValue(Integer number) : held_(Held(number)) {}
  PreferenceValue(double number) : held_(number) {}
  PreferenceValue(PreferenceDate date) : held_(date) {}
  PreferenceValue(PreferenceData data) : held_(std::move(data)) {}
  PreferenceValue(PreferenceArray values) : held_(std::move(values)) {}
  PreferenceValue(PreferenceDictionary entries) : held_(std::move(entries)) {}
  // NOLINTEND

  // The value if it is of this type, else null: value.As<std::u16string>().
  template <class Type>
  const Type* As() const {
    return std::get_if<Type>(&held_);
  }
  const Variant& variant() const { return held_; }

  bool operator==(const PreferenceValue&) const = default;

 private:
  template <class Integer>
  static Variant Held(Integer number) {
    if constexpr (std::same_as<Integer, bool>) {
      return number;
    } else {
      const auto integer = static_cast<std::int64_t>(number);
      if (std::unsigned_integral<Integer> && integer < 0) return static_cast<std::uint64_t>(number);
      return integer;
    }
  }

  Variant held_;
};

}  // namespace orvik
