// Elements of arrays: NAME[2], NAME[-1] (the last one), NAME[2][0].
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "prefs/transaction.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

struct ElementPath {
  CAtlString name;            // of the array
  std::vector<long> indices;  // negative ones count from the end
};

// Nothing when the text does not end in an index.
std::optional<ElementPath> ParseElement(const CAtlString& text);

// The element of the array; null when there is none. The array owns it.
CFTypeRef ElementAt(CFTypeRef array, std::span<const long> indices);

enum class ElementChange {
  kReplace,
  kInsert,  // before the element; an index that is the number of elements appends
  kRemove,
  kAppend,  // to the array that the indices lead to
};
// A copy of the array that is changed so; null when there is no such element. `value` may be null
// for kRemove alone, and `array` for kAppend without indices.
CAutoCFRelease<CFPropertyListRef> WithElement(CFTypeRef array, std::span<const long> indices,
                                              ElementChange change, CFTypeRef value);

// Puts in place of an array what `make` makes of it, two steps of a transaction that is carried out
// once. What is present, or null, is given to `make`; when that gives null the first step fails
// with kConditionNotMet.
void UpdateArray(Transaction& transaction, const KeyPath& key, const CAtlString& name,
                 std::function<CAutoCFRelease<CFPropertyListRef>(CFTypeRef present)> make);

}  // namespace orvik::prefstool
