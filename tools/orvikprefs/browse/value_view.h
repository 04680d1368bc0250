// A whole value, and what it was before, as lines to be read.
#pragma once

#include <string>
#include <vector>

#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// Its type and size, then all of it: text by its line breaks, data in rows of hexadecimal digits,
// arrays and dictionaries as indented JSON. Longer lines are wrapped; nothing in them acts on a
// terminal. `before`, unless it is the same, follows; either is null for nothing.
std::vector<std::string> ViewLines(CFPropertyListRef now, CFPropertyListRef before, int columns);

}  // namespace orvik::prefstool::browse
