// The arguments and the conversions of a format, and the check that they fit.
//
// The parser is in this header because formats that are literals are checked at compile time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

// The type of an argument, and the type that a conversion takes.
enum class FormatType : unsigned char {
  kNone,  // "%%", and text without a valid conversion
  // Integers. A conversion cuts its argument to char and short, which C passes as int.
  kChar,
  kShort,
  kInt,
  kLong,
  kLongLong,
  kSize,
  kDifference,
  kMaximum,
  kByte,  // a character of Mac OS Roman
  kUnit,  // a UTF-16 unit
  kReal,
  kLongReal,
  kNarrow,  // a text in Mac OS Roman; null is "(null)"
  kWide,    // a text in UTF-16; null is "(null)"
  kObject,  // a platform object, or null
  kPointer,
};

// Integers, characters included.
constexpr bool IsIntegerType(FormatType type) {
  return type >= FormatType::kChar && type <= FormatType::kUnit;
}
constexpr bool IsRealType(FormatType type) {
  return type == FormatType::kReal || type == FormatType::kLongReal;
}
constexpr bool IsTextType(FormatType type) {
  return type == FormatType::kNarrow || type == FormatType::kWide;
}

// Whether a conversion of the type `wanted` can show an argument of the type `given`:
//
//   wanted     given
//   integer    any integer or character     kObject    a text or an object
//   real       kReal, kLongReal             kPointer   a text, an object or a pointer
//   text       a narrow or a wide text      kNone      nothing
constexpr bool TakesArgument(FormatType wanted, FormatType given) {
  if (wanted == FormatType::kPointer) return given >= FormatType::kNarrow;
  if (wanted == FormatType::kObject) return IsTextType(given) || given == FormatType::kObject;
  return (IsIntegerType(wanted) && IsIntegerType(given)) ||
         (IsRealType(wanted) && IsRealType(given)) || (IsTextType(wanted) && IsTextType(given));
}

// One argument with its type. It refers to its text, object or long double, which the caller must
// keep until the formatter returns.
struct FormatArgument {
  // The length of a text that ends with a 0 unit.
  static constexpr std::size_t kTerminated = static_cast<std::size_t>(-1);

  // `type` says how many bits of `value` count and whether it is a character.
  static constexpr FormatArgument Integer(FormatType type, std::intmax_t value) {
    FormatArgument argument{type, 0, {}};
    argument.integer = value;
    return argument;
  }
  static constexpr FormatArgument Real(double value) {
    FormatArgument argument{FormatType::kReal, 0, {}};
    argument.real = value;
    return argument;
  }
  // A text of `length` units or kTerminated, an object, or an address; for kLongReal the address of
  // the number. All of these but the last may be null.
  static constexpr FormatArgument Pointer(FormatType type, const void* value,
                                          std::size_t length = 0) {
    FormatArgument argument{type, length, {}};
    argument.pointer = value;
    return argument;
  }

  FormatType type;
  std::size_t length;  // units of a text
  union {
    std::intmax_t integer;
    double real;
    const void* pointer;  // of kLongReal: to a long double
  };
};

// A conversion as it is written in the format: "%[n$][flags][width][.precision][length]conversion"
// of printf. Numbers beyond kMaximumNumber become kMaximumNumber. A "-" before a width sets `left`
// and does not make the number negative; a negative argument for a width sets `left` when the
// format is carried out.
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
  FormatType type = FormatType::kNone;
  char16_t conversion = 0;  // 0: the format ended within the conversion
};

namespace format_tags {

// Each row holds the conversion letters that take the same kind of argument.
inline constexpr std::string_view kLetters[] = {"dDiuUxXoO", "c", "C", "eEfFgGaA",
                                                "s",         "S", "@", "p"};
// The length letters, in the order of the table's rows; "hh" and "ll" have the rows after "h" and
// "l".
inline constexpr std::string_view kLengths = " h_l_Lztj";

// The type for each length and kind of letter.
using enum FormatType;
inline constexpr FormatType kTypes[9][8] = {
    {kInt, kByte, kUnit, kReal, kNarrow, kWide, kObject, kPointer},
    {kShort, kByte, kByte, kReal, kNarrow, kNarrow, kObject, kPointer},       // h
    {kChar, kByte, kUnit, kReal, kNarrow, kWide, kObject, kPointer},          // hh
    {kLong, kUnit, kUnit, kReal, kWide, kWide, kObject, kPointer},            // l
    {kLongLong, kByte, kUnit, kReal, kNarrow, kWide, kObject, kPointer},      // ll, q
    {kLongLong, kByte, kUnit, kLongReal, kNarrow, kWide, kObject, kPointer},  // L
    {kSize, kByte, kUnit, kReal, kNarrow, kWide, kObject, kPointer},          // z
    {kDifference, kByte, kUnit, kReal, kNarrow, kWide, kObject, kPointer},    // t
    {kMaximum, kByte, kUnit, kReal, kNarrow, kWide, kObject, kPointer},       // j
};

// The type of the argument for a conversion letter with the length letter of the row `length`;
// kNone for a letter without a conversion.
constexpr FormatType TypeOf(unsigned letter, std::size_t length) {
  for (std::size_t kind = 0; letter < 0x80 && kind < std::size(kLetters); ++kind) {
    if (kLetters[kind].find(static_cast<char>(letter)) != std::string_view::npos) {
      return kTypes[length][kind];
    }
  }
  return kNone;
}

}  // namespace format_tags

// Reads the conversion whose "%" is just before `index`, and moves `index` behind it. Never fails:
// an unknown conversion gets the type kNone and its letter in `conversion`, or 0 at the end of the
// format. Any number of length letters is accepted; the last one counts.
template <class Unit>
constexpr FormatSpec ParseFormatSpec(std::basic_string_view<Unit> format, std::size_t& index) {
  FormatSpec spec;
  const auto at = [&]() -> unsigned {
    return index < format.size() ? static_cast<std::make_unsigned_t<Unit>>(format[index]) : 0u;
  };
  const auto takes = [&](char letter) {
    const bool is_there = at() == static_cast<unsigned char>(letter);
    if (is_there) ++index;
    return is_there;
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
  // A number followed by "$"; without it nothing is consumed.
  const auto position = [&] {
    const std::size_t start = index;
    const int value = number();
    if (value > 0 && takes('$')) return value;
    index = start;
    return FormatSpec::kNextArgument;
  };

  if (at() >= '1' && at() <= '9') spec.position = position();
  for (bool is_flag = true; is_flag;) {
    is_flag = false;
    if (takes('-')) is_flag = spec.left = true;
    if (takes('+')) is_flag = spec.plus = true;
    if (takes(' ')) is_flag = spec.space = true;
    if (takes('0')) is_flag = spec.zero = true;
    if (takes('#')) is_flag = spec.alternative = true;
    if (takes('\'')) is_flag = true;
  }
  if (takes('*')) {
    spec.width_is_argument = true;
    spec.width_position = position();
  } else if (at() >= '1' && at() <= '9') {
    spec.width = number();
  }
  if (takes('.')) {
    spec.precision_is_argument = takes('*');
    if (spec.precision_is_argument) {
      spec.precision_position = position();
    } else {
      spec.precision = number();
    }
  }
  // The last length letter counts, or the last two when they are "hh" or "ll".
  std::size_t length = 0;
  for (;; ++index) {
    const unsigned letter = at() == 'q' ? 'l' : at();
    const std::size_t row = letter > ' ' && letter < 0x80
                                ? format_tags::kLengths.find(static_cast<char>(letter))
                                : std::string_view::npos;
    if (row == std::string_view::npos || letter == '_') break;
    const bool is_double = at() == 'q' || (length == row && (letter == 'h' || letter == 'l'));
    length = is_double ? row + 1 : row;
  }
  if (index < format.size()) {
    spec.conversion = static_cast<char16_t>(at());
    spec.type = format_tags::TypeOf(at(), length);
    ++index;
  }
  return spec;
}

// Whether the format can be carried out with arguments of these types: every argument that the
// format uses must exist and have a type that its conversion takes. Either all conversions have
// positions or none has. Positions may leave arguments out.
template <class Unit>
constexpr bool FormatFits(std::basic_string_view<Unit> format, std::span<const FormatType> given) {
  std::size_t next = 0;
  bool has_positions = false;
  const auto takes = [&](int position, FormatType wanted) {
    const bool has_position = position != FormatSpec::kNextArgument;
    has_positions = has_positions || has_position;
    const std::size_t index = has_position ? static_cast<std::size_t>(position) - 1 : next++;
    return index < given.size() && TakesArgument(wanted, given[index]);
  };
  for (std::size_t index = 0; (index = format.find(Unit{'%'}, index)) != format.npos;) {
    const FormatSpec spec = ParseFormatSpec(format, ++index);
    if (spec.type == FormatType::kNone) continue;
    if (spec.width_is_argument && !takes(spec.width_position, FormatType::kInt)) return false;
    if (spec.precision_is_argument && !takes(spec.precision_position, FormatType::kInt)) {
      return false;
    }
    if (!takes(spec.position, spec.type)) return false;
  }
  return !has_positions || next == 0;
}

}  // namespace orvik
