// The arguments and the conversions of a format, and whether they fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

// One argument of a format, with its type.
struct FormatArgument {
  enum class Kind : unsigned char {
    kInteger,      // as large as an int, or smaller
    kLongInteger,  // larger
    kByte,         // a char
    kUnit,         // a char16_t
    kReal,
    kLongReal,  // the pointer leads to a long double
    kNarrow,    // a text in Mac OS Roman; null is "(null)"
    kWide,      // a text in UTF-16; null is "(null)"
    kObject,    // a platform object, or null
    kPointer,
  };

  static constexpr FormatArgument Integer(Kind kind, std::intmax_t value) {
    FormatArgument argument{kind, 0, {}};
    argument.integer = value;
    return argument;
  }
  static constexpr FormatArgument Real(double value) {
    FormatArgument argument{Kind::kReal, 0, {}};
    argument.real = value;
    return argument;
  }
  static constexpr FormatArgument Pointer(Kind kind, const void* value, std::size_t length = 0) {
    FormatArgument argument{kind, length, {}};
    argument.pointer = value;
    return argument;
  }

  Kind kind;
  std::size_t length;  // units of a text
  union {
    std::intmax_t integer;
    double real;
    const void* pointer;
  };
};

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

// Which arguments a format takes.

constexpr bool TakesArgument(FormatClass format_class, FormatArgument::Kind kind) {
  using Kind = FormatArgument::Kind;
  switch (format_class) {
    case FormatClass::kInteger:
      return kind <= Kind::kUnit;
    case FormatClass::kReal:
      return kind == Kind::kReal || kind == Kind::kLongReal;
    case FormatClass::kText:
      return kind == Kind::kNarrow || kind == Kind::kWide;
    case FormatClass::kObject:
      return kind == Kind::kNarrow || kind == Kind::kWide || kind == Kind::kObject;
    case FormatClass::kPointer:
      return kind >= Kind::kNarrow && kind <= Kind::kPointer;
    case FormatClass::kNone:
      break;
  }
  return false;
}

// Whether the format can be carried out with arguments of these kinds: each that it names is there
// and of a type that the conversion takes. Positions may leave some out, and are given to all
// arguments or to none.
template <class Unit>
constexpr bool FormatFits(std::basic_string_view<Unit> format,
                          std::span<const FormatArgument::Kind> kinds) {
  std::size_t next = 0;
  bool has_positions = false;
  const auto takes = [&](int position, FormatClass format_class) {
    if (position != FormatSpec::kNextArgument) {
      has_positions = true;
      const auto index = static_cast<std::size_t>(position) - 1;
      return index < kinds.size() && TakesArgument(format_class, kinds[index]);
    }
    const std::size_t index = next++;
    return index < kinds.size() && TakesArgument(format_class, kinds[index]);
  };
  for (std::size_t index = 0; (index = format.find(Unit{'%'}, index)) != format.npos;) {
    const FormatSpec spec = ParseFormatSpec(format, ++index);
    const FormatClass format_class = ClassOf(spec.conversion);
    if (format_class == FormatClass::kNone) continue;
    if (spec.width_is_argument && !takes(spec.width_position, FormatClass::kInteger)) return false;
    if (spec.precision_is_argument && !takes(spec.precision_position, FormatClass::kInteger)) {
      return false;
    }
    if (!takes(spec.position, format_class)) return false;
  }
  return !has_positions || next == 0;
}

}  // namespace orvik
