// Trees of dictionaries and arrays that change by giving way to a new tree: what did not change is
// shared, so a change costs the containers on its path and a comparison only what differs.
//
// A name in a path is a name of a dictionary, or the index (from 0, in decimal) of an array. Lone
// surrogates in names are escaped as JSON has them (json_form.h), so that no two names are alike.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/core_foundation/dictionary.h"
#include "prefs/auto_release.h"
#include "strings/atl_string.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool::browse {

using Tree = CAutoCFRelease<CFDictionaryRef>;
using Value = CAutoCFRelease<CFPropertyListRef>;

Tree EmptyTree();

// A dictionary or an array.
bool IsContainer(CFPropertyListRef value);

std::string NameText(CFStringRef name);
std::string NameText(const CAtlString& name);
// The name that NameText gave; nothing when it is not UTF-8.
std::optional<CAtlString> NameUnits(const std::string& name);

// What a container holds, in the order of the names' UTF-16 units or of the indices. The container
// owns the values. Empty for anything else.
struct Child {
  std::string name;
  CFPropertyListRef value;
};
std::vector<Child> ChildrenOf(CFPropertyListRef container);

// What is at the path (the tree itself for an empty one); null for nothing. The tree owns it.
CFPropertyListRef FindIn(CFPropertyListRef tree, const Path& path);

// The tree with the value at the path (not empty), or without it when the value is null. Keys that
// are missing on the path are made; the index behind the last one adds an element. Null when a
// value is in the way, there is no such element, or a name is not UTF-8.
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

// How much a value holds: UTF-16 units of text and names, bytes of data, 8 for any other value; a
// container with all below it. `known` keeps what was found for containers that live.
using KnownSizes = std::unordered_map<CFPropertyListRef, std::size_t>;
std::size_t SizeOf(CFPropertyListRef value, KnownSizes& known);

// Values and keys below a key, at any depth; elements of arrays are not counted.
std::size_t CountBelow(CFDictionaryRef tree);

}  // namespace orvik::prefstool::browse
