// Trees of dictionaries that change by giving way to a new tree: what did not change is shared, so
// a change costs the dictionaries on its path and a comparison only what differs.
#pragma once

#include <string>
#include <vector>

#include "platform/core_foundation/dictionary.h"
#include "prefs/auto_release.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool::browse {

using Tree = CAutoCFRelease<CFDictionaryRef>;
using Value = CAutoCFRelease<CFPropertyListRef>;

Tree EmptyTree();

// What is at the path (the tree itself for an empty one); null for nothing. The tree owns it.
CFPropertyListRef FindIn(CFDictionaryRef tree, const Path& path);

// The tree with the value at the path (not empty), or without it when the value is null. Keys that
// are missing on the path are made. Null when a value is in the way, or a name is not UTF-8.
Tree WithValue(CFDictionaryRef tree, const Path& path, CFPropertyListRef value);

// What turns one tree into the other. A key that one side lacks is one change with all below it.
struct Change {
  Path path;
  Value before;  // null: added
  Value after;   // null: removed
};
std::vector<Change> ChangesBetween(CFDictionaryRef before, CFDictionaryRef after);

// The same change as the lines that `diff` shows, value by value. The change owns the values.
std::vector<Difference> LinesOf(const Change& change);

// Values and keys below a key, at any depth.
std::size_t CountBelow(CFDictionaryRef tree);

}  // namespace orvik::prefstool::browse
