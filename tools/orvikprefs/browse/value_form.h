// A value as the browser lets people edit it in one line.
#pragma once

#include <optional>
#include <string>

#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// The line for a value: as ValueText gives it, data as hexadecimal digits. Nothing for a value that
// needs an editor: arrays, dictionaries, and text that is long or holds control characters.
std::optional<std::string> LineOf(CFPropertyListRef value);

// The value that the line means; null, and the mistake, when it means none.
Value FromLine(ValueType type, const std::string& line, std::string& mistake);

}  // namespace orvik::prefstool::browse
