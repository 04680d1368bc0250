// The type of text arguments: a view that takes a null pointer as an empty text.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

namespace [[gnu::visibility("default")]] orvik {

// The view of a zero-terminated array; empty for null.
template <typename Unit>
constexpr std::basic_string_view<Unit> ViewOf(const Unit* text) {
  return text == nullptr ? std::basic_string_view<Unit>() : std::basic_string_view<Unit>(text);
}

// A text in units of type `Unit`: a string of this library, a zero-terminated array, a
// std::basic_string or a view.
template <typename T, typename Unit>
concept HasViewOf = requires(const T& text) {
  { text.View() } -> std::same_as<std::basic_string_view<Unit>>;
};
template <typename T, typename Unit>
concept IsArrayOf = std::convertible_to<const T&, const Unit*> && !std::same_as<T, std::nullptr_t>;
template <typename T, typename Unit>
concept IsTextOf = HasViewOf<T, Unit> || IsArrayOf<T, Unit> ||
    (std::convertible_to<const T&, std::basic_string_view<Unit>> &&
     !std::same_as<T, std::nullptr_t>);

// A string or a view of the standard library.
template <typename T, typename Unit>
concept IsStdText =
    std::same_as<T, std::basic_string<Unit>> || std::derived_from<T, std::basic_string_view<Unit>>;

template <typename Unit>
class TextView : public std::basic_string_view<Unit> {
  using View = std::basic_string_view<Unit>;

 public:
  // NOLINTBEGIN(google-explicit-constructor)
  constexpr TextView() = default;
  constexpr TextView(std::nullptr_t) {}
  template <IsTextOf<Unit> Text>
  constexpr TextView(const Text& text) : View(Of(text)) {}
  // NOLINTEND(google-explicit-constructor)

 private:
  template <typename Text>
  static constexpr View Of(const Text& text) {
    if constexpr (HasViewOf<Text, Unit>) {
      return text.View();
    } else if constexpr (IsArrayOf<Text, Unit>) {
      return ViewOf<Unit>(text);
    } else {
      return text;
    }
  }
};

}  // namespace orvik
