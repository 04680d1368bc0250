// What differs between two trees of dictionaries.
#pragma once

#include <vector>

#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

struct Difference {
  enum class Kind { kAdded, kRemoved, kChanged };
  Kind kind;
  Path path;
  CFPropertyListRef before;  // null when added; owned by the tree
  CFPropertyListRef after;   // null when removed; owned by the tree
};

// What turns one domain into the other: values that would be written differently, an integer and a
// real of one value included. Keys that only one side has are listed leaf by leaf, an empty one as
// itself; either side may be null, which counts as empty. `path` is put before every path.
std::vector<Difference> Differences(CFDictionaryRef before, CFDictionaryRef after, Path path = {});

}  // namespace orvik::prefstool
