#include "tools/orvikprefs/differences.h"

#include <ostream>

#include "platform/core_foundation/property_list_equality.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

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

namespace {

struct KindOfDifference {
  const char* sign;
  const char* word;
  const char* colour;
};

const KindOfDifference& KindOf(const Difference& difference) {
  static constexpr KindOfDifference kKinds[] = {
      {"+", "added", "32"}, {"-", "removed", "31"}, {"~", "changed", "33"}};
  return kKinds[static_cast<int>(difference.kind)];
}

std::string TypeAndValue(const Context& context, CFPropertyListRef value) {
  const std::string type = TypeName(value);
  return context.hide_values ? type : type + " " + Escaped(ValueText(value));
}

}  // namespace

void PrintDifferences(const Context& context, const std::vector<Difference>& differences) {
  if (context.json) {
    JsonWriter writer;
    writer.BeginArray();
    for (const Difference& difference : differences) {
      WriteDifference(writer, difference, context.hide_values);
    }
    *context.out << writer.EndArray().json() << '\n';
    return;
  }
  for (const Difference& difference : differences) {
    const KindOfDifference& kind = KindOf(difference);
    if (context.terminal) {
      std::string line = std::string(kind.sign) + " " + JoinedPath(difference.path) + " = ";
      if (difference.kind == Difference::Kind::kChanged) {
        line += TypeAndValue(context, difference.before) + " -> ";
      }
      line +=
          TypeAndValue(context, difference.after != nullptr ? difference.after : difference.before);
      *context.out << context.Coloured(line, kind.colour) << '\n';
      continue;
    }
    std::vector<std::string> fields = {kind.sign, JoinedPath(difference.path)};
    for (const CFPropertyListRef side : {difference.before, difference.after}) {
      fields.push_back(side != nullptr ? TypeName(side) : "");
      fields.push_back(side != nullptr && !context.hide_values ? ValueText(side) : "");
    }
    context.Record(fields, 1);
  }
}

void WriteDifference(JsonWriter& writer, const Difference& difference, bool hide_values) {
  writer.BeginObject().Name("change").Text(KindOf(difference).word);
  writer.Name("path").Texts(difference.path);
  const auto write_side = [&](const char* name, CFPropertyListRef value) {
    if (value != nullptr && !hide_values) WriteJson(writer.Name(name), value);
  };
  write_side("before", difference.before);
  write_side("after", difference.after);
  writer.EndObject();
}

}  // namespace orvik::prefstool
