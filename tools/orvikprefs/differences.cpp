#include "tools/orvikprefs/differences.h"

#include <ostream>

#include "platform/core_foundation/property_list.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

void DifferenceWalk::Enter(CFDictionaryRef before, CFDictionaryRef after) {
  Level level;
  if (before != nullptr) level.olds = SortedEntries(before);
  if (after != nullptr) level.news = SortedEntries(after);
  levels_.push_back(std::move(level));
}

bool DifferenceWalk::Next() {
  while (!levels_.empty()) {
    Level& level = levels_.back();
    const Entry* const old_entry =
        level.next_old < level.olds.size() ? &level.olds[level.next_old] : nullptr;
    const Entry* const new_entry =
        level.next_new < level.news.size() ? &level.news[level.next_new] : nullptr;
    if (old_entry == nullptr && new_entry == nullptr) {
      levels_.pop_back();
      continue;
    }
    CFComparisonResult order = kCFCompareEqualTo;
    if (old_entry == nullptr || new_entry == nullptr) {
      order = old_entry == nullptr ? kCFCompareGreaterThan : kCFCompareLessThan;
    } else {
      order = CFStringCompare(old_entry->name, new_entry->name, 0);
    }
    before_ = order <= 0 ? old_entry->value : nullptr;
    after_ = order >= 0 ? new_entry->value : nullptr;
    if (order <= 0) ++level.next_old;
    if (order >= 0) ++level.next_new;
    if (before_ == after_) continue;
    names_.resize(levels_.size() - 1);
    names_.push_back(order <= 0 ? old_entry->name : new_entry->name);
    if (IsDictionary(before_) && IsDictionary(after_)) {
      Enter(static_cast<CFDictionaryRef>(before_), static_cast<CFDictionaryRef>(after_));
    } else if (before_ == nullptr || after_ == nullptr || !IsSameValue(before_, after_)) {
      return true;
    }
  }
  return false;
}

std::vector<Difference> Differences(CFDictionaryRef before, CFDictionaryRef after, Path path) {
  std::vector<Difference> found;
  DifferenceWalk walk(before, after);
  while (walk.Next()) {
    Path place = PathBelow(path, walk.names());
    if (walk.before() != nullptr && walk.after() != nullptr) {
      found.push_back({Difference::Kind::kChanged, std::move(place), walk.before(), walk.after()});
      continue;
    }
    const bool is_added = walk.before() == nullptr;
    const CFPropertyListRef value = is_added ? walk.after() : walk.before();
    const auto add = [&](Path leaf, CFPropertyListRef there) {
      found.push_back({is_added ? Difference::Kind::kAdded : Difference::Kind::kRemoved,
                       std::move(leaf), is_added ? nullptr : there, is_added ? there : nullptr});
    };
    const std::size_t count = found.size();
    if (IsDictionary(value)) {
      EntryWalk entries(static_cast<CFDictionaryRef>(value));
      while (entries.Next()) {
        if (entries.is_leaf()) add(PathBelow(place, entries.names()), entries.value());
      }
    }
    if (found.size() == count) add(std::move(place), value);
  }
  return found;
}

CAutoCFRelease<CFDictionaryRef> DictionaryObject(const plist::Value& dictionary) {
  return CAutoCFRelease<CFDictionaryRef>(
      static_cast<CFDictionaryRef>(CreateObject(dictionary, kCFPropertyListImmutable)));
}

void AddTreeChanges(Transaction& transaction, const KeyPath& key, CFDictionaryRef before,
                    CFDictionaryRef after) {
  std::vector<CAtlString> above;
  for (int i = 1; i <= key.count(); ++i) above.push_back(key.name(i));
  DifferenceWalk walk(before, after);
  while (walk.Next()) {
    std::vector<CAtlString> names = above;
    names.insert(names.end(), walk.names().begin(), walk.names().end() - 1);
    const KeyPath parent = KeyPath::FromNames(std::move(names));
    const CAtlString name(walk.names().back());
    if (walk.after() == nullptr) {
      transaction.Delete(parent, name);
    } else {
      transaction.Set(parent, name, walk.after());
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
