#include "plist/differences.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace orvik::plist {

std::vector<const Value::Entry*> SortedEntries(const Value& value) {
  std::vector<const Value::Entry*> entries;
  if (!value.is_dictionary()) return entries;
  entries.reserve(value.count());
  for (const Value::Entry& entry : value.entries()) entries.push_back(&entry);
  const auto by_key = [](const Value::Entry* a, const Value::Entry* b) {
    return a->key.text().Compare(b->key.text()) < 0;
  };
  if (!std::is_sorted(entries.begin(), entries.end(), by_key)) {
    std::sort(entries.begin(), entries.end(), by_key);
  }
  return entries;
}

namespace {

class DifferenceSearch {
 public:
  explicit DifferenceSearch(OneSidedKeys one_sided) : one_sided_(one_sided) {}

  std::vector<Difference> Run(const Value& before, const Value& after) {
    if (!before.IsSharedWith(after)) Open(&before, &after);
    while (!open_.empty()) {
      Pair& pair = open_.back();
      if (pair.next_before == pair.before.size() && pair.next_after == pair.after.size()) {
        open_.pop_back();
        if (!open_.empty()) path_.pop_back();
        continue;
      }
      Step(pair);
    }
    return std::move(found_);
  }

 private:
  struct Pair {
    std::vector<const Value::Entry*> before;
    std::vector<const Value::Entry*> after;
    std::size_t next_before = 0;
    std::size_t next_after = 0;
  };

  void Open(const Value* before, const Value* after) {
    static const Value kNothing;
    open_.push_back({SortedEntries(before != nullptr ? *before : kNothing),
                     SortedEntries(after != nullptr ? *after : kNothing)});
  }

  // Compares the next names of both sides, which are sorted: the lower name is only on its own
  // side.
  void Step(Pair& pair) {
    const bool has_before = pair.next_before < pair.before.size();
    const bool has_after = pair.next_after < pair.after.size();
    const int order = !has_before  ? 1
                      : !has_after ? -1
                                   : pair.before[pair.next_before]->key.text().Compare(
                                         pair.after[pair.next_after]->key.text());
    const Value& key =
        (order <= 0 ? pair.before[pair.next_before] : pair.after[pair.next_after])->key;
    const Value* const before = order <= 0 ? &pair.before[pair.next_before++]->value : nullptr;
    const Value* const after = order >= 0 ? &pair.after[pair.next_after++]->value : nullptr;
    Compare(key, before, after);
  }

  // Records a difference, or opens the dictionaries of both sides. Their name stays on the path as
  // long as they are open.
  void Compare(const Value& key, const Value* old_value, const Value* new_value) {
    const bool has_both = old_value != nullptr && new_value != nullptr;
    if (has_both && old_value->IsSharedWith(*new_value)) return;
    path_.push_back(key.text().ToUnits());
    const bool goes_down = has_both ? old_value->is_dictionary() && new_value->is_dictionary()
                                    : one_sided_ == OneSidedKeys::kByValue &&
                                          (HasEntries(old_value) || HasEntries(new_value));
    if (goes_down) {
      Open(old_value, new_value);
      return;
    }
    if (!has_both || *old_value != *new_value) {
      found_.push_back({path_, old_value == nullptr ? Value() : *old_value,
                        new_value == nullptr ? Value() : *new_value});
    }
    path_.pop_back();
  }

  static bool HasEntries(const Value* value) {
    return value != nullptr && value->is_dictionary() && value->count() > 0;
  }

  OneSidedKeys one_sided_;
  std::vector<Pair> open_;
  Path path_;
  std::vector<Difference> found_;
};

}  // namespace

std::vector<Difference> FindDifferences(const Value& before, const Value& after,
                                        OneSidedKeys one_sided) {
  return DifferenceSearch(one_sided).Run(before, after);
}

bool MayReplace(const Value& present, const Value& value, ReplaceContainers replace) {
  return !present || replace == ReplaceContainers::kYes ||
         present.is_dictionary() == value.is_dictionary();
}

// The pointers into `base` stay valid: only the innermost open dictionary changes, and Change has
// made sure that `base` does not share any open dictionary.
MergeResult Merge(Value& base, const Value& added, ReplaceContainers replace) {
  struct Pair {
    Value* base;
    Value::Entries::Iterator next;
    Value::Entries::Iterator end;
    const Value* key;  // of the entry being merged
  };
  MergeResult result;
  std::vector<Pair> open;
  open.push_back({&base, added.entries().begin(), added.entries().end(), nullptr});
  while (!open.empty()) {
    Pair& pair = open.back();
    if (pair.next == pair.end) {
      open.pop_back();
      continue;
    }
    const Value::Entry& entry = *pair.next;
    ++pair.next;
    pair.key = &entry.key;
    const Text key = entry.key.text();
    const Value* const present = pair.base->Find(key);
    const bool is_dictionary = present != nullptr && present->is_dictionary();
    if (is_dictionary && entry.value.is_dictionary()) {
      if (present->IsSharedWith(entry.value)) continue;
      open.push_back({pair.base->Change(key), entry.value.entries().begin(),
                      entry.value.entries().end(), nullptr});
      continue;
    }
    if (present != nullptr && !MayReplace(*present, entry.value, replace)) {
      result.is_refused = true;
      result.is_dictionary = is_dictionary;
      for (const Pair& each : open) result.refused.push_back(each.key->text().ToUnits());
      return result;
    }
    if (present != nullptr && *present == entry.value) continue;
    pair.base->SetSharing(entry.key, entry.value);
    result.changed = true;
  }
  return result;
}

}  // namespace orvik::plist
