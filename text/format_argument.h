// One argument of a format, with its type.
#pragma once

#include <cstddef>
#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {

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

}  // namespace orvik
