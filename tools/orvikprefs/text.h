// Between the tool's UTF-8 and the store's UTF-16, and how text is shown.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"

namespace orvik::prefstool {

// Nothing when the bytes are not UTF-8.
std::optional<CAtlString> FromUtf8(std::string_view bytes);

// A lone surrogate becomes "?".
std::string ToUtf8(CFStringRef text);
std::string ToUtf8(const CAtlString& text);

// Puts the units of a string that is ASCII into the buffer, which has room for all of them; false
// when it is not.
bool CopyAscii(CFStringRef text, char* buffer);

// What a terminal must not receive from a store or an argument: the control characters of ASCII and
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

// For messages: escaped, between double quotes, and without its middle when it is long.
std::string Quoted(std::string_view utf8);
std::string Quoted(const CAtlString& text);

}  // namespace orvik::prefstool
