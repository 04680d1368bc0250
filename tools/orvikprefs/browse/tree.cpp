#include "tools/orvikprefs/browse/tree.h"

#include <algorithm>

#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

CAutoCFRelease<CFStringRef> NameOf(const std::string& utf8) {
  const std::optional<CAtlString> text = FromUtf8(utf8);
  return CAutoCFRelease<CFStringRef>(text ? text->CreateCFStringRef(kCFAllocatorDefault) : nullptr);
}

CFPropertyListRef EntryOf(CFDictionaryRef dictionary, const std::string& name) {
  const CAutoCFRelease<CFStringRef> key = NameOf(name);
  return key ? CFDictionaryGetValue(dictionary, key) : nullptr;
}

CFDictionaryRef AsDictionary(CFPropertyListRef value) {
  return IsDictionary(value) ? static_cast<CFDictionaryRef>(value) : nullptr;
}

Tree Replaced(CFDictionaryRef tree, const Path& path, std::size_t depth, CFPropertyListRef value) {
  const CAutoCFRelease<CFStringRef> name = NameOf(path[depth]);
  if (!name) return Tree();
  Value inner;
  if (depth + 1 < path.size()) {
    const CFPropertyListRef present = tree != nullptr ? CFDictionaryGetValue(tree, name) : nullptr;
    if (present != nullptr && !IsDictionary(present)) return Tree();
    inner.Attach(Replaced(AsDictionary(present), path, depth + 1, value).Detach());
    if (!inner) return Tree();
    value = inner;
  }
  CAutoCFRelease<CFMutableDictionaryRef> copy(
      tree != nullptr
          ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, tree)
          : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                      &kCFTypeDictionaryValueCallBacks));
  if (value != nullptr) {
    CFDictionarySetValue(copy, name, value);
  } else {
    CFDictionaryRemoveValue(copy, name);
  }
  return Tree(copy.Detach());
}

struct Entries {
  explicit Entries(CFDictionaryRef dictionary)
      : names(static_cast<std::size_t>(CFDictionaryGetCount(dictionary))), values(names.size()) {
    CFDictionaryGetKeysAndValues(dictionary, names.data(), values.data());
  }
  std::vector<const void*> names, values;
};

void Compare(Path& path, CFDictionaryRef before, CFDictionaryRef after,
             std::vector<Change>& changes) {
  const auto add = [&](CFPropertyListRef old_value, CFPropertyListRef new_value) {
    changes.push_back({path, Value::Retaining(old_value), Value::Retaining(new_value)});
  };
  const Entries olds(before);
  for (std::size_t i = 0; i < olds.names.size(); ++i) {
    const CFPropertyListRef old_value = olds.values[i];
    const CFPropertyListRef new_value = CFDictionaryGetValue(after, olds.names[i]);
    if (old_value == new_value) continue;
    path.push_back(ToUtf8(static_cast<CFStringRef>(olds.names[i])));
    if (IsDictionary(old_value) && IsDictionary(new_value)) {
      Compare(path, AsDictionary(old_value), AsDictionary(new_value), changes);
    } else if (new_value == nullptr || !CFEqual(old_value, new_value)) {
      add(old_value, new_value);
    }
    path.pop_back();
  }
  const Entries news(after);
  for (std::size_t i = 0; i < news.names.size(); ++i) {
    if (CFDictionaryGetValue(before, news.names[i]) != nullptr) continue;
    path.push_back(ToUtf8(static_cast<CFStringRef>(news.names[i])));
    add(nullptr, news.values[i]);
    path.pop_back();
  }
}

}  // namespace

Tree EmptyTree() {
  return Tree(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks));
}

CFPropertyListRef FindIn(CFDictionaryRef tree, const Path& path) {
  CFPropertyListRef found = tree;
  for (const std::string& name : path) {
    const CFDictionaryRef dictionary = AsDictionary(found);
    if (dictionary == nullptr) return nullptr;
    found = EntryOf(dictionary, name);
  }
  return found;
}

Tree WithValue(CFDictionaryRef tree, const Path& path, CFPropertyListRef value) {
  return Replaced(tree, path, 0, value);
}

std::vector<Change> ChangesBetween(CFDictionaryRef before, CFDictionaryRef after) {
  std::vector<Change> changes;
  Path path;
  if (before != after) Compare(path, before, after, changes);
  std::sort(changes.begin(), changes.end(),
            [](const Change& a, const Change& b) { return a.path < b.path; });
  return changes;
}

std::vector<Difference> LinesOf(const Change& change) {
  const CFDictionaryRef before = AsDictionary(change.before.Get());
  const CFDictionaryRef after = AsDictionary(change.after.Get());
  const bool is_key = (before != nullptr || after != nullptr) &&
                      (!change.before || before != nullptr) && (!change.after || after != nullptr);
  std::vector<Difference> lines;
  if (is_key) lines = Differences(before, after, change.path);
  if (!lines.empty()) return lines;
  const Difference::Kind kind = !change.before  ? Difference::Kind::kAdded
                                : !change.after ? Difference::Kind::kRemoved
                                                : Difference::Kind::kChanged;
  return {{kind, change.path, change.before, change.after}};
}

std::size_t CountBelow(CFDictionaryRef tree) {
  std::size_t count = 0;
  std::vector<CFDictionaryRef> pending = {tree};
  while (!pending.empty()) {
    const Entries entries(pending.back());
    pending.pop_back();
    count += entries.values.size();
    for (const void* value : entries.values) {
      if (IsDictionary(value)) pending.push_back(AsDictionary(value));
    }
  }
  return count;
}

}  // namespace orvik::prefstool::browse
