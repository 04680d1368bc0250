// The view of a zero-terminated array.
#pragma once

#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Empty for null.
template <typename Unit>
std::basic_string_view<Unit> ViewOf(const Unit* text) {
  return text == nullptr ? std::basic_string_view<Unit>() : std::basic_string_view<Unit>(text);
}

}  // namespace orvik
