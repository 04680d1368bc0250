// Differences between two trees of dictionaries: finding, writing and printing them.
#pragma once

#include <vector>

#include "platform/core_foundation/dictionary.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

struct Difference {
  enum class Kind { kAdded, kRemoved, kChanged };
  Kind kind;
  Path path;
  CFPropertyListRef before;  // null when added; owned by the tree
  CFPropertyListRef after;   // null when removed; owned by the tree
};

// The differences of two domains: values that would be written differently, an integer and a
// real of one value included. Keys that only one side has are listed leaf by leaf, an empty one as
// itself; either side may be null, which counts as empty. `path` is put before every path.
std::vector<Difference> Differences(CFDictionaryRef before, CFDictionaryRef after, Path path = {});

// Adds to the transaction the fewest changes that turn `before`, the contents of the key, into
// `after`. A value may replace a key, and a key a value.
void AddTreeChanges(Transaction& transaction, const KeyPath& key, CFDictionaryRef before,
                    CFDictionaryRef after);

// The key then holds these entries and no others. With kYes a value of the key's name is replaced,
// too; else, and for a value further up, the transaction fails with kNotAKey.
void ReplaceKey(Transaction& transaction, const KeyPath& key, CFDictionaryRef entries,
                ReplaceKeys replace);

// Each line shows the kind ("+", "-", "~"), the path, types and values; JSON is one array. With
// Context::hide_values the values are left out.
void PrintDifferences(const Context& context, const std::vector<Difference>& differences);

// {"change": "added", "path": [...], "before": ..., "after": ...}
void WriteDifference(JsonWriter& writer, const Difference& difference, bool hide_values = false);

}  // namespace orvik::prefstool
