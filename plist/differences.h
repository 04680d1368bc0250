// Sorting, comparing and merging trees of dictionaries. Values are compared as value.h says.
//
//   before {a = {x = 1;}; b = 1;}    after {a = {x = 2; y = 1;};}
//   differences: a/x 1 -> 2, a/y none -> 1, b 1 -> none
//   Merge(before, after): {a = {x = 2; y = 1;}; b = 1;}
//
// No function recurses: the stack of a small thread is enough for trees as deep as kMaximumDepth.
// Only allocation can fail (std::bad_alloc).
#pragma once

#include <string>
#include <vector>

#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// Returns the entries of a dictionary in ascending order of the UTF-16 units of their keys; none
// for any other value. They are valid until the dictionary changes or ends.
std::vector<const Value::Entry*> SortedEntries(const Value& value);

// The names that lead from the compared dictionaries to a value.
using Path = std::vector<std::u16string>;

// A value that differs. A dictionary on one side and another value on the other are one difference.
struct Difference {
  Path path;
  Value before;  // no value if it was added
  Value after;   // no value if it was removed

  bool operator==(const Difference&) const = default;
};

// How to list a dictionary that only one side has: kByValue lists each value and each empty
// dictionary below it by itself, kWhole lists one difference with everything below it.
enum class OneSidedKeys { kByValue, kWhole };

// Returns the differences that turn `before` into `after`, in the order of the UTF-16 units of
// their names. No value counts as an empty dictionary. Parts that both sides share take no time.
std::vector<Difference> FindDifferences(const Value& before, const Value& after,
                                        OneSidedKeys one_sided = OneSidedKeys::kByValue);

// Whether a merge may replace a dictionary by another value, or another value by a dictionary.
enum class ReplaceContainers { kNo, kYes };

// Whether `present` (no value if the place is empty) may be replaced by `value`. With kYes always;
// with kNo a dictionary only by a dictionary, and any other value only by another such value.
bool MayReplace(const Value& present, const Value& value, ReplaceContainers replace);

struct MergeResult {
  // Whether the base has changed. Replacing a value by an equal value is not a change.
  bool changed = false;
  // A value that may not be replaced has ended the merge; then only a part is merged.
  bool is_refused = false;
  Path refused;
  bool is_dictionary = false;  // the refused value of the base is a dictionary
};

// Puts the entries of `added` into `base`; both must be dictionaries. Dictionaries on both sides
// are merged in the same way; of two other values that of `added` wins. Stops at the first value
// that may not be replaced. The entries before it are then already in the base: if that must not
// happen, merge into a copy, which costs little. The result shares memory with `added`.
MergeResult Merge(Value& base, const Value& added,
                  ReplaceContainers replace = ReplaceContainers::kYes);

}  // namespace plist
}  // namespace orvik
