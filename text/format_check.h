// Which arguments a format takes.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "text/format_argument.h"
#include "text/format_spec.h"

namespace [[gnu::visibility("default")]] orvik {

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
