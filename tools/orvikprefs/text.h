// Converts between the tool's UTF-8 and the store's UTF-16, and makes texts, keys and values
// harmless for messages.
//
// Harmless text is UTF-8 without control characters and without those that reorder text on a
// terminal; they are spelled "\x1b", "\n", "\u202e" (text/shown_text.h).
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "strings/atl_string.h"
#include "text/shown_text.h"
#include "tools/orvikprefs/grammar.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

using orvik::ControlAt;
using orvik::Escaped;

// The UTF-16 of UTF-8 (RFC 3629), NULs included; nothing when the bytes are not UTF-8.
std::optional<CAtlString> FromUtf8(std::string_view bytes);

// The UTF-8 of a text, for messages: a lone surrogate becomes "?". NameText and ValueText
// (values.h) lose nothing.
std::string ToUtf8(const CAtlString& text);

// For messages: escaped, between double quotes. Of more than 200 bytes the first 120 and the last
// 60 are shown, whole characters, with the number of all bytes.
std::string Quoted(std::string_view utf8);
std::string Quoted(const CAtlString& text);

// A path between double quotes, or as the JSON array that names it (JoinedPath), in harmless
// characters, so that the command line takes it back.
std::string QuotedPath(const Path& path);

// key "Software/App", key ["a/b"], or: the domain's top level
std::string KeyText(const KeyPath& key);
// "Count" in key "Software/App"
std::string ValueAddress(const KeyPath& key, const CAtlString& name);

// The number that the whole text means, as std::from_chars reads it; nothing for any other text.
template <class Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number);
  return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

// "1 change", "2 changes".
std::string Counted(std::size_t count, std::string_view one, std::string_view several);

// The KEY and NAME at these arguments of a line as ParseKey and NameUnits read them, the domain's
// top level and "" for arguments that were not given. The grammar lets only UTF-8 through.
KeyPath KeyAt(const CommandLine& line, std::size_t index = 0);
CAtlString NameAt(const CommandLine& line, std::size_t index = 1);

}  // namespace orvik::prefstool
