// Lines and columns of a text, for messages.
#pragma once

#include <cstddef>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Lines and columns count from 1, columns in characters of UTF-8. Lines end with a line feed, a
// carriage return, or both.
struct TextPlace {
  std::size_t line = 1;
  std::size_t column = 1;
};
TextPlace PlaceInText(std::string_view text, std::size_t position);

}  // namespace orvik
