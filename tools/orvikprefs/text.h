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

// The UTF-16 form of UTF-8 (RFC 3629), NULs included; no value when the bytes are not UTF-8.
std::optional<CAtlString> FromUtf8(std::string_view bytes);

// The UTF-8 form of a text, for messages: a lone surrogate becomes "?". For UTF-8 without loss use
// NameText and ValueText (values.h).
std::string ToUtf8(const CAtlString& text);

// For messages: escaped, in double quotes. For more than 200 bytes about the first 120 and the last
// 60 are shown, in whole characters, with the total number of bytes.
std::string Quoted(std::string_view utf8);
std::string Quoted(const CAtlString& text);

// A path in double quotes, or as the JSON array of its names (JoinedPath), in harmless characters,
// so that the command line accepts it.
std::string QuotedPath(const Path& path);

// key "Software/App", key ["a/b"], or: the domain's top level
std::string KeyText(const KeyPath& key);
// "Count" in key "Software/App"
std::string ValueAddress(const KeyPath& key, const CAtlString& name);

// The number, if the whole text is one for std::from_chars; no value for other texts.
template <class Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number);
  return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

// "1 change", "2 changes".
std::string Counted(std::size_t count, std::string_view one, std::string_view several);

// The KEY and NAME at these arguments of a line, by ParseKey and NameUnits; the domain's top level
// and "" for missing arguments. The grammar accepts only UTF-8 for them.
KeyPath KeyAt(const CommandLine& line, std::size_t index = 0);
CAtlString NameAt(const CommandLine& line, std::size_t index = 1);

}  // namespace orvik::prefstool
