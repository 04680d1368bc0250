// Values as text of the browser: one line to edit, many lines to read, columns of a terminal.
//
// Texts are UTF-8. A column is what a terminal gives a character: two for wide ones, none for marks
// that combine (text/shown_text.h: ColumnsOf).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// The line for a value: as ValueText gives it, data as hexadecimal digits. Nothing for a value that
// needs an editor: arrays, dictionaries, and text that is long or holds control characters.
std::optional<std::string> LineOf(const Value& value);

// The value as one of the type: a number or a boolean as the same number where there is one,
// anything else by its text (values.h); for an array the value is its only element. No value
// when the text means nothing of that type.
Value Converted(const Value& value, Type type);

// The value of the type that the line means, as ParseValue reads it, data in hexadecimal digits
// with or without blanks; no value, and the mistake, when it means none. LineOf and FromLine are
// inverse.
Value FromLine(Type type, const std::string& line, std::string& mistake);

// Its type and size, then all of it: text by its line breaks, data in rows of hexadecimal digits,
// arrays and dictionaries as indented JSON. Longer lines are wrapped; nothing in them acts on a
// terminal. `before`, unless it is the same, follows; either may be no value.
std::vector<std::string> ViewLines(const Value& now, const Value& before, int columns);

// The text in at most `width` columns; one that is cut ends in an ellipsis. "" for a width below 1.
// In time proportional to the width, not to the text.
std::string FitColumns(std::string_view utf8, int width);
int ColumnsOfUtf8(std::string_view utf8);
// The text in lines of at most `width` columns, cut behind blanks where there are any.
std::vector<std::string> WrapColumns(std::string_view utf8, int width);
// As many of the hints as fit, two blanks between them; the important ones come first.
std::string FitHints(const std::vector<std::string>& hints, int width);
// "812", "1.2K", "72.4M": in at most six columns.
std::string SizeText(std::size_t size);

}  // namespace orvik::prefstool::browse
