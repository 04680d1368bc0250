// Differences between two trees of dictionaries: finding, writing and printing them.
#pragma once

#include <vector>

#include "platform/core_foundation/collections.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

// Walks the places where two trees of dictionaries differ, names in the order of their UTF-16
// units. A key that only one side has is one place, with everything below it. Two values differ
// when they would be written differently: the integer 1 and the real 1.0 do. Uses no stack space
// for depth. Either side may be null, which counts as empty; both must outlive the walk.
class DifferenceWalk {
 public:
  DifferenceWalk(CFDictionaryRef before, CFDictionaryRef after) { Enter(before, after); }

  // Advances to the next place; false at the end.
  bool Next();

  // The names down to the place, and its values; null: missing on that side.
  const std::vector<CFStringRef>& names() const { return names_; }
  CFPropertyListRef before() const { return before_; }
  CFPropertyListRef after() const { return after_; }

 private:
  struct Level {
    std::vector<Entry> olds, news;
    std::size_t next_old = 0, next_new = 0;
  };
  void Enter(CFDictionaryRef before, CFDictionaryRef after);

  std::vector<Level> levels_;
  std::vector<CFStringRef> names_;
  CFPropertyListRef before_ = nullptr;
  CFPropertyListRef after_ = nullptr;
};

struct Difference {
  enum class Kind { kAdded, kRemoved, kChanged };
  Kind kind;
  Path path;
  CFPropertyListRef before;  // null when added; owned by the tree
  CFPropertyListRef after;   // null when removed; owned by the tree
};

// The same, value by value: a key that only one side has is listed leaf by leaf, an empty key as
// itself. `path` is put before every path.
std::vector<Difference> Differences(CFDictionaryRef before, CFDictionaryRef after, Path path = {});

// A dictionary as a platform object; null for no value.
CAutoCFRelease<CFDictionaryRef> DictionaryObject(const plist::Value& dictionary);

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
