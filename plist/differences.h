// Sorting, comparing and merging trees of dictionaries: the one answer to "what differs" and "put
// one tree into another". Values are compared as value.h says.
//
//   before {a = {x = 1;}; b = 1;}    after {a = {x = 2; y = 1;};}
//   differences: a/x 1 -> 2, a/y none -> 1, b 1 -> none
//   Merge(before, after): {a = {x = 2; y = 1;}; b = 1;}
//
// Nothing here recurses: trees may be as deep as kMaximumDepth on the stack of a small thread.
// Only allocation can fail (std::bad_alloc).
#pragma once

#include <string>
#include <vector>

#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// Returns the entries of a dictionary, ascending by the UTF-16 units of their keys; none of any
// other value. They are valid until the dictionary changes or ends.
std::vector<const Value::Entry*> SortedEntries(const Value& value);

// The names that lead from the compared dictionaries to a value.
using Path = std::vector<std::u16string>;

// A value that differs. A dictionary on one side and another value on the other are one difference.
struct Difference {
  Path path;
  Value before;  // no value: added
  Value after;   // no value: removed

  bool operator==(const Difference&) const = default;
};

// How a dictionary that only one side has is listed: each value below it, and each empty
// dictionary, by itself; or as one difference with everything below it.
enum class OneSidedKeys { kByValue, kWhole };

// Returns what turns one dictionary into the other, in the order of the names' UTF-16 units. No
// value counts as an empty dictionary. Takes no time for parts that both sides share.
std::vector<Difference> FindDifferences(const Value& before, const Value& after,
                                        OneSidedKeys one_sided = OneSidedKeys::kByValue);

// Whether a merge may replace a dictionary by another value, or another value by a dictionary.
enum class ReplaceContainers { kNo, kYes };

// Whether `present` (no value: nothing is there) may be replaced by `value`: always with kYes; with
// kNo a dictionary only by a dictionary and any other value only by another such value.
bool MayReplace(const Value& present, const Value& value, ReplaceContainers replace);

struct MergeResult {
  // Whether the base differs now. Putting equal values in place is not a change.
  bool changed = false;
  // The path of a value that may not be replaced; then the base is changed in part.
  bool is_refused = false;
  Path refused;
  bool is_dictionary = false;  // whether the base has a dictionary there
};

// Puts the entries of `added` into `base`; both must be dictionaries. Dictionaries that both have
// are merged alike; of other values the added one wins. Stops at the first value that may not be
// replaced: entries before it are in the base already, so that a caller who must not change it in
// part merges into a copy, which costs little. Memory is shared with `added`.
MergeResult Merge(Value& base, const Value& added,
                  ReplaceContainers replace = ReplaceContainers::kYes);

}  // namespace plist
}  // namespace orvik
