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

// A lone surrogate becomes U+FFFD.
std::string ToUtf8(CFStringRef text);
std::string ToUtf8(const CAtlString& text);

// The text on one line, safe to print: a backslash, and every control character, as an escape
// ("\\", "\n", "\t", "\r", "\x1b").
std::string Escaped(std::string_view utf8);

}  // namespace orvik::prefstool
