// What the store holds, as the tool shows it.
#pragma once

#include <string>
#include <vector>

#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/string.h"

namespace orvik::prefstool {

// "string", "integer", "real", "boolean", "date", "data", "array" or "dictionary".
const char* TypeName(CFPropertyListRef value);

bool IsDictionary(CFPropertyListRef value);

// A leaf as text: a string as it is, numbers in decimal, "true" or "false", a date in ISO 8601
// (UTC), data in Base64. A container as JSON on one line.
std::string ValueText(CFPropertyListRef value);

// The entries of a dictionary in the order of their names' UTF-16 units. The dictionary owns them.
struct Entry {
  CFStringRef name;
  CFPropertyListRef value;
};
std::vector<Entry> SortedEntries(CFDictionaryRef dictionary);

// Names from the domain's top level down. Owned here, so it outlives what it was read from.
using Path = std::vector<std::string>;

// The names joined by "/" (a name that holds one cannot be told apart).
std::string JoinedPath(const Path& path);

// One thing that differs between two trees of dictionaries.
struct Difference {
  enum class Kind { kAdded, kRemoved, kChanged };
  Kind kind;
  Path path;
  CFPropertyListRef before;  // null when added; owned by the tree
  CFPropertyListRef after;   // null when removed; owned by the tree
};

// What turns one domain into the other. Keys that only one side has are told leaf by leaf, an empty
// one as itself; either side may be null, which counts as empty.
std::vector<Difference> Differences(CFDictionaryRef before, CFDictionaryRef after);

}  // namespace orvik::prefstool
