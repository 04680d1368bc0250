// Between the tool's UTF-8 and the store's UTF-16, and how text is shown.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "text/shown_text.h"

namespace orvik::prefstool {

using orvik::ControlAt;
using orvik::Escaped;

// Nothing when the bytes are not UTF-8.
std::optional<CAtlString> FromUtf8(std::string_view bytes);

// A lone surrogate becomes "?".
std::string ToUtf8(CFStringRef text);
std::string ToUtf8(const CAtlString& text);

// Puts the units of a string that is ASCII into the buffer, which has room for all of them; false
// when it is not.
bool CopyAscii(CFStringRef text, char* buffer);

// For messages: escaped, between double quotes, and without its middle when it is long.
std::string Quoted(std::string_view utf8);
std::string Quoted(const CAtlString& text);

}  // namespace orvik::prefstool
