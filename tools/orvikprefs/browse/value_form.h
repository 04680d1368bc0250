// A value as the browser lets people edit it in one line.
#pragma once

#include <optional>
#include <string>

#include "platform/core_foundation/data.h"
#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// The line for a value: as ValueText gives it, data as hexadecimal digits. Nothing for a value that
// needs an editor: arrays, dictionaries, and text that is long or holds control characters.
std::optional<std::string> LineOf(CFPropertyListRef value);

// Two digits to a byte, with blanks between them.
std::string HexOf(CFDataRef data);

// The value as one of the type: a number or a boolean as the same number where there is one,
// anything else by its text (values.h); for an array the value is its only element. Null when the
// text means nothing of that type.
Value Converted(CFPropertyListRef value, ValueType type);

// The value that the line means; null, and the mistake, when it means none.
Value FromLine(ValueType type, const std::string& line, std::string& mistake);

}  // namespace orvik::prefstool::browse
