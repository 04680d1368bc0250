#include "tools/orvikprefs/tree_changes.h"

#include "platform/core_foundation/property_list_equality.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

KeyPath Below(const KeyPath& key, const CAtlString& name) {
  std::vector<CAtlString> names;
  for (int i = 1; i <= key.count(); ++i) names.push_back(key.name(i));
  names.push_back(name);
  return KeyPath::FromNames(std::move(names));
}

}  // namespace

void AddTreeChanges(Transaction& transaction, const KeyPath& key, CFDictionaryRef before,
                    CFDictionaryRef after) {
  for (const Entry& entry : SortedEntries(before)) {
    if (CFDictionaryGetValue(after, entry.name) == nullptr) {
      transaction.Delete(key, CAtlString(entry.name));
    }
  }
  for (const Entry& entry : SortedEntries(after)) {
    const CFTypeRef old = CFDictionaryGetValue(before, entry.name);
    const CAtlString name(entry.name);
    if (IsDictionary(old) && IsDictionary(entry.value)) {
      AddTreeChanges(transaction, Below(key, name), static_cast<CFDictionaryRef>(old),
                     static_cast<CFDictionaryRef>(entry.value));
    } else if (!IsSameValue(old, entry.value)) {
      transaction.Set(key, name, entry.value);
    }
  }
}

void ReplaceKey(Transaction& transaction, const KeyPath& key, CFDictionaryRef entries,
                ReplaceKeys replace) {
  if (replace == ReplaceKeys::kYes && !key.empty()) {
    transaction.Set(key.Parent(), key.name(key.count()), entries, replace);
  } else {
    transaction.ReplaceKey(key, entries);
  }
}

}  // namespace orvik::prefstool
