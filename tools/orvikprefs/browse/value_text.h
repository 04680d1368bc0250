// Values as text of the browser: one line to edit, many lines to read, columns of a terminal.
//
// Texts are UTF-8. Columns are those of a terminal: two for wide characters, none for combining
// marks (text/shown_text.h: ColumnsOf).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// The line for a value, as ValueText writes it; data as hexadecimal digits. No value for one that
// needs an editor: arrays, dictionaries, and text that is long or contains control characters.
std::optional<std::string> LineOf(const Value& value);

// The value converted to the type: a number or a boolean to the same number if possible, other
// values by their text (values.h); for an array the value becomes its only element. No value when
// the text is not valid in the type. Only strings are converted to data.
Value Converted(const Value& value, Type type);

// Parses the line as a value of the type, like ParseValue; data is hexadecimal digits with or
// without blanks. For an invalid line no value, and `mistake` is set. LineOf and FromLine are
// inverse.
Value FromLine(Type type, const std::string& line, std::string& mistake);

// The type and size, then the whole value: text by its line breaks, data in rows of hexadecimal
// digits, arrays and dictionaries as indented JSON. Longer lines are wrapped; control characters
// are escaped. `before` follows if it differs; either value may be missing.
std::vector<std::string> ViewLines(const Value& now, const Value& before, int columns);

// The text in at most `width` columns; a text that is cut ends in an ellipsis. "" for a width below
// 1. The time is proportional to the width, not to the text.
std::string FitColumns(std::string_view utf8, int width);
int ColumnsOfUtf8(std::string_view utf8);
// The text in lines of at most `width` columns, broken after blanks where possible.
std::vector<std::string> WrapColumns(std::string_view utf8, int width);
// As many of the hints as fit, separated by two blanks; earlier hints are preferred.
std::string FitHints(const std::vector<std::string>& hints, int width);
// "812", "1.2K", "72.4M": in at most six columns.
std::string SizeText(std::size_t size);

}  // namespace orvik::prefstool::browse
