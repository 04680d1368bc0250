// Differences between two dictionaries: finding, writing and printing them, and turning them into
// changes of a transaction. Equality is that of plist::Value: an integer never equals a real.
// plist/differences.h defines the differences and their order.
#pragma once

#include <string>
#include <vector>

#include "plist/differences.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

// plist::Difference with a path in the tool's form.
struct Difference {
  Path path;
  Value before;  // no value: added
  Value after;   // no value: removed

  enum class Kind { kAdded, kRemoved, kChanged };
  Kind kind() const { return !before ? Kind::kAdded : !after ? Kind::kRemoved : Kind::kChanged; }
};

// Returns the result of plist::FindDifferences, with `path` before every path.
std::vector<Difference> Differences(const Value& before, const Value& after, const Path& path = {},
                                    plist::OneSidedKeys one_sided = plist::OneSidedKeys::kByValue);

// Adds to the transaction one change: sets the name in the key to the value, or removes it for no
// value.
void AddChange(Transaction& transaction, const KeyPath& key, const CAtlString& name,
               const Value& value);

// Adds to the transaction the fewest changes that turn `before`, the contents of the key, into
// `after`. A value may replace a key, and a key a value.
void AddTreeChanges(Transaction& transaction, const KeyPath& key, const Value& before,
                    const Value& after);

// Makes these entries the only content of the key. With kYes a value of the key's name is replaced,
// too; otherwise the transaction fails with kIsAValue. For a value above the key it fails with
// kNotAKey.
void ReplaceKey(Transaction& transaction, const KeyPath& key, const Value& entries,
                ReplaceKeys replace);

// "integer 42", in harmless characters; "(nothing)" for no value.
std::string TypeAndValue(const Value& value, bool hide_value = false);

// "~ A/n = integer 1 -> integer 2", "+ A/n = ..." for added and "- A/n = ..." for removed, in
// harmless characters.
std::string LineFor(const Difference& difference, bool hide_values = false);

// Prints a line for each difference: the sign, the path, types and values. JSON is one array. With
// Context::hide_values the values are left out. With `backup` JSON is {"changes": [...], "backup":
// "..."}, without the name when it is "".
void PrintDifferences(const Context& context, const std::vector<Difference>& differences,
                      const std::string* backup = nullptr);

// Writes {"change": "added", "path": [...], "before": ..., "after": ...}; "change" is "added",
// "removed" or "changed". A missing side is left out, with `hide_values` both sides.
void WriteDifference(JsonWriter& writer, const Difference& difference, bool hide_values = false);

}  // namespace orvik::prefstool
