#include "tools/orvikprefs/differences.h"

#include "platform/core_foundation/property_list_equality.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

void AddLeaves(Difference::Kind kind, Path& path, CFPropertyListRef value,
               std::vector<Difference>& found) {
  if (IsDictionary(value) && CFDictionaryGetCount(static_cast<CFDictionaryRef>(value)) > 0) {
    for (const Entry& entry : SortedEntries(static_cast<CFDictionaryRef>(value))) {
      path.push_back(ToUtf8(entry.name));
      AddLeaves(kind, path, entry.value, found);
      path.pop_back();
    }
    return;
  }
  const bool added = kind == Difference::Kind::kAdded;
  found.push_back({kind, path, added ? nullptr : value, added ? value : nullptr});
}

void Compare(Path& path, CFDictionaryRef before, CFDictionaryRef after,
             std::vector<Difference>& found) {
  const std::vector<Entry> old_entries = SortedEntries(before);
  const std::vector<Entry> new_entries = SortedEntries(after);
  auto old_entry = old_entries.begin();
  auto new_entry = new_entries.begin();
  while (old_entry != old_entries.end() || new_entry != new_entries.end()) {
    CFComparisonResult order = kCFCompareEqualTo;
    if (old_entry == old_entries.end()) {
      order = kCFCompareGreaterThan;
    } else if (new_entry == new_entries.end()) {
      order = kCFCompareLessThan;
    } else {
      order = CFStringCompare(old_entry->name, new_entry->name, 0);
    }
    const CFPropertyListRef old_value = order <= 0 ? old_entry->value : nullptr;
    const CFPropertyListRef new_value = order >= 0 ? new_entry->value : nullptr;
    if (old_value == new_value) {
      ++old_entry;
      ++new_entry;
      continue;
    }
    path.push_back(ToUtf8(order <= 0 ? old_entry->name : new_entry->name));
    if (new_value == nullptr) {
      AddLeaves(Difference::Kind::kRemoved, path, old_value, found);
    } else if (old_value == nullptr) {
      AddLeaves(Difference::Kind::kAdded, path, new_value, found);
    } else if (IsDictionary(old_value) && IsDictionary(new_value)) {
      Compare(path, static_cast<CFDictionaryRef>(old_value),
              static_cast<CFDictionaryRef>(new_value), found);
    } else if (!IsSameValue(old_value, new_value)) {
      found.push_back({Difference::Kind::kChanged, path, old_value, new_value});
    }
    path.pop_back();
    if (order <= 0) ++old_entry;
    if (order >= 0) ++new_entry;
  }
}

}  // namespace

std::vector<Difference> Differences(CFDictionaryRef before, CFDictionaryRef after, Path path) {
  std::vector<Difference> found;
  if (before != nullptr && after != nullptr) {
    Compare(path, before, after, found);
  } else if (before != nullptr || after != nullptr) {
    const bool added = before == nullptr;
    const CFDictionaryRef all = added ? after : before;
    if (CFDictionaryGetCount(all) > 0) {
      AddLeaves(added ? Difference::Kind::kAdded : Difference::Kind::kRemoved, path, all, found);
    }
  }
  return found;
}

}  // namespace orvik::prefstool
