// UTF-8 from elsewhere as it is shown to people, on terminals and in logs.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// What a terminal must not receive from elsewhere: the control characters of ASCII and
// U+0080 to U+009F, and the characters that reorder or break lines (U+061C, U+200E, U+200F, U+2028
// to U+202E, U+2066 to U+2069).
struct ControlCharacter {
  char32_t point;
  std::size_t length;  // in bytes
};
// The one that begins at this byte, if one does.
std::optional<ControlCharacter> ControlAt(std::string_view utf8, std::size_t at);

// The text on one line, safe to print: a backslash, and every character of ControlAt, as an escape
// ("\\", "\n", "\t", "\r", "\x1b", "\u202e").
std::string Escaped(std::string_view utf8);

}  // namespace orvik
