// Formats and their arguments, with types.
//
// Every Format-like function takes its format and arguments through these types. An argument is an
// integer, a character, a floating-point number, a text (a string of this library, a
// zero-terminated array, a standard string or a view), a platform object or another pointer; other
// types do not compile. The compiler checks a literal format against its arguments. Other formats
// are checked at run time:
//
//   %d %i %u %x %X %o %c %C and "*"   an integer or a character, shown in its full size
//   %e %f %g %a                       a floating-point number
//   %s %S, with or without width, position or length letters     a text, wide or narrow alike
//   %@                                a platform object by its type (CFStringRef), or a text
//   %p                                a pointer
//
// Narrow text is taken as Mac OS Roman. A null text or object is shown as "(null)". Positions
// ("%2$s") may repeat and leave out arguments.
#pragma once

#include <array>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "strings/platform_reference.h"
#include "strings/text_view.h"
#include "text/format_spec.h"

namespace [[gnu::visibility("default")]] orvik {

template <typename T>
concept FormatNumber = std::is_arithmetic_v<T> ||
    (std::is_enum_v<T>&& std::is_convertible_v<T, std::intmax_t>);
template <typename T>
concept FormatPointer = std::same_as<T, std::nullptr_t> ||
    (std::is_pointer_v<T> && !std::is_function_v<std::remove_pointer_t<T>>);
// A va_list, on platforms where it is not also a text.
template <typename T>
concept IsArgumentList =
    !std::convertible_to<const T&, const char*> && requires(void (&take)(std::va_list), T list) {
  take(list);
};
template <typename T>
concept Formattable =
    !IsArgumentList<T> && (IsTextOf<T, char16_t> || IsTextOf<T, char> || FormatNumber<T> ||
                           FormatPointer<std::decay_t<const T>>);

template <Formattable T>
consteval FormatType FormatTypeOf() {
  // A null pointer is wide text, too.
  // NOLINTNEXTLINE(bugprone-branch-clone)
  if constexpr (IsTextOf<T, char16_t>) {
    return FormatType::kWide;
  } else if constexpr (IsTextOf<T, char>) {
    return FormatType::kNarrow;
  } else if constexpr (std::same_as<T, long double>) {
    return FormatType::kLongReal;
  } else if constexpr (std::is_floating_point_v<T>) {
    return FormatType::kReal;
  } else if constexpr (std::same_as<T, char>) {
    return FormatType::kByte;
  } else if constexpr (std::same_as<T, char16_t>) {
    return FormatType::kUnit;
  } else if constexpr (FormatNumber<T>) {
    return sizeof(T) > sizeof(int) ? FormatType::kLongLong : FormatType::kInt;
  } else if constexpr (std::same_as<T, std::nullptr_t>) {
    return FormatType::kWide;
  } else {
    using Target = std::remove_pointer_t<std::decay_t<const T>>;
    return PlatformObject<Target> ? FormatType::kObject : FormatType::kPointer;
  }
}

template <typename Unit>
inline constexpr Unit kNoText[1] = {};

// The text of an argument or a format. Its data is null only for a null pointer.
template <typename Unit, typename Text>
constexpr std::basic_string_view<Unit> GivenText(const Text& text) {
  const TextView<Unit> view(text);
  if constexpr (!IsArrayOf<Text, Unit>) {
    if (view.data() == nullptr) return kNoText<Unit>;
  }
  return view;
}

// The result refers to `value` and must not outlive it.
template <Formattable T>
FormatArgument FormatArgumentOf(const T& value) {
  constexpr FormatType kType = FormatTypeOf<T>();
  if constexpr (std::same_as<T, std::nullptr_t>) {
    return FormatArgument::Pointer(kType, nullptr);
  } else if constexpr (kType == FormatType::kWide) {
    const auto text = GivenText<char16_t>(value);
    return FormatArgument::Pointer(kType, text.data(), text.size());
  } else if constexpr (kType == FormatType::kNarrow) {
    const auto text = GivenText<char>(value);
    return FormatArgument::Pointer(kType, text.data(), text.size());
  } else if constexpr (kType == FormatType::kLongReal) {
    return FormatArgument::Pointer(kType, &value);
  } else if constexpr (kType == FormatType::kReal) {
    return FormatArgument::Real(value);
  } else if constexpr (FormatNumber<T>) {
    return FormatArgument::Integer(kType, static_cast<std::intmax_t>(value));
  } else {
    return FormatArgument::Pointer(kType, value);
  }
}

// Called for a literal that does not fit its arguments, so that the compiler's error names the
// call.
void FormatDoesNotFitItsArguments();

// A format for arguments of these types. It converts implicitly from any text of the unit.
template <typename Unit, Formattable... Arguments>
class FormatText {
 public:
  // NOLINTBEGIN(google-explicit-constructor)
  template <std::size_t kSize>
  consteval FormatText(const Unit (&literal)[kSize]) : text_(literal) {
    constexpr std::array<FormatType, sizeof...(Arguments)> kTypes{FormatTypeOf<Arguments>()...};
    if (!FormatFits<Unit>(text_, kTypes)) FormatDoesNotFitItsArguments();
  }
  // Formats that are known only at run time.
  template <std::size_t kSize>
  FormatText(Unit (&buffer)[kSize]) : text_(ViewOf<Unit>(buffer)) {}
  template <IsTextOf<Unit> Text>
  requires(!std::is_array_v<Text>) FormatText(const Text& text) : text_(GivenText<Unit>(text)) {}
  FormatText(std::nullptr_t) {}
  // NOLINTEND(google-explicit-constructor)

  // The format's text. Its data is null for a null pointer.
  std::basic_string_view<Unit> View() const { return text_; }

 private:
  std::basic_string_view<Unit> text_;
};

template <typename Unit, typename... Arguments>
using FormatTextFor = FormatText<Unit, std::type_identity_t<Arguments>...>;

// The arguments of one call. The list must not outlive them.
template <Formattable... Arguments>
std::array<FormatArgument, sizeof...(Arguments)> FormatList(const Arguments&... arguments) {
  return {FormatArgumentOf(arguments)...};
}

}  // namespace orvik
