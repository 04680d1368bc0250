// The parsing of one conversion of a format.
#pragma once

#include <cstddef>
#include <string_view>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

enum class FormatLength {
  kNone,
  kHalfHalf,
  kHalf,
  kLong,
  kLongLong,
  kSize,
  kDifference,
  kMaximum,
  kLongDouble
};

// "%[n$][flags][width][.precision][length]conversion"
struct FormatSpec {
  static constexpr int kAbsent = -1;       // no width, no precision
  static constexpr int kNextArgument = 0;  // positions count from 1
  static constexpr int kMaximumNumber = 0x7FFFFFFF;

  bool left = false;         // -
  bool plus = false;         // +
  bool space = false;        // a space
  bool zero = false;         // 0
  bool alternative = false;  // #

  int width = kAbsent;
  int precision = kAbsent;
  bool width_is_argument = false;
  bool precision_is_argument = false;
  int width_position = kNextArgument;
  int precision_position = kNextArgument;

  int position = kNextArgument;
  FormatLength length = FormatLength::kNone;
  char16_t conversion = 0;  // 0: the format ended within the conversion
};

// What kind of argument a conversion takes.
enum class FormatClass { kNone, kInteger, kReal, kText, kObject, kPointer };

// kNone for "%%" and for what is no conversion.
constexpr FormatClass ClassOf(char16_t conversion) {
  switch (conversion) {
    case 'd':
    case 'D':
    case 'i':
    case 'u':
    case 'U':
    case 'x':
    case 'X':
    case 'o':
    case 'O':
    case 'c':
    case 'C':
      return FormatClass::kInteger;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return FormatClass::kReal;
    case 's':
    case 'S':
      return FormatClass::kText;
    case '@':
      return FormatClass::kObject;
    case 'p':
      return FormatClass::kPointer;
    default:
      return FormatClass::kNone;
  }
}

// Reads the conversion whose "%" is just before `index`, which is moved behind it.
template <class Unit>
constexpr FormatSpec ParseFormatSpec(std::basic_string_view<Unit> format, size_t& index) {
  FormatSpec spec;
  const auto at = [&]() -> unsigned {
    return index < format.size() ? static_cast<std::make_unsigned_t<Unit>>(format[index]) : 0u;
  };
  const auto number = [&] {
    int value = 0;
    for (; at() >= '0' && at() <= '9'; ++index) {
      const int digit = static_cast<int>(at() - '0');
      value = value <= (FormatSpec::kMaximumNumber - digit) / 10 ? value * 10 + digit
                                                                 : FormatSpec::kMaximumNumber;
    }
    return value;
  };
  // A number followed by "$"; else nothing is read.
  const auto position = [&] {
    const size_t start = index;
    const int value = number();
    if (value > 0 && at() == '$') {
      ++index;
      return value;
    }
    index = start;
    return FormatSpec::kNextArgument;
  };

  if (at() >= '1' && at() <= '9') spec.position = position();
  for (bool is_flag = true; is_flag;) {
    switch (at()) {
      case '-':
        spec.left = true;
        break;
      case '+':
        spec.plus = true;
        break;
      case ' ':
        spec.space = true;
        break;
      case '0':
        spec.zero = true;
        break;
      case '#':
        spec.alternative = true;
        break;
      case '\'':
        break;
      default:
        is_flag = false;
    }
    if (is_flag) ++index;
  }
  if (at() == '*') {
    ++index;
    spec.width_is_argument = true;
    spec.width_position = position();
  } else if (at() >= '1' && at() <= '9') {
    spec.width = number();
  }
  if (at() == '.') {
    ++index;
    if (at() == '*') {
      ++index;
      spec.precision_is_argument = true;
      spec.precision_position = position();
    } else {
      spec.precision = number();
    }
  }
  for (bool is_length = true; is_length;) {
    switch (at()) {
      case 'h':
        spec.length =
            spec.length == FormatLength::kHalf ? FormatLength::kHalfHalf : FormatLength::kHalf;
        break;
      case 'l':
        spec.length =
            spec.length == FormatLength::kLong ? FormatLength::kLongLong : FormatLength::kLong;
        break;
      case 'q':
        spec.length = FormatLength::kLongLong;
        break;
      case 'L':
        spec.length = FormatLength::kLongDouble;
        break;
      case 'z':
        spec.length = FormatLength::kSize;
        break;
      case 't':
        spec.length = FormatLength::kDifference;
        break;
      case 'j':
        spec.length = FormatLength::kMaximum;
        break;
      default:
        is_length = false;
    }
    if (is_length) ++index;
  }
  if (index < format.size()) {
    spec.conversion = static_cast<char16_t>(at());
    ++index;
  }
  return spec;
}

}  // namespace orvik
