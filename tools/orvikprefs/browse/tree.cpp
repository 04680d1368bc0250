#include "tools/orvikprefs/browse/tree.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list.h"
#include "plist/escape.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

namespace {

constexpr char kEscape[] = "\uFDD0";  // begins a unit that UTF-8 cannot carry

CAutoCFRelease<CFStringRef> NameOf(const std::string& utf8) {
  const std::optional<CAtlString> name = NameUnits(utf8);
  return CAutoCFRelease<CFStringRef>(name ? name->CreateCFStringRef(kCFAllocatorDefault) : nullptr);
}

CFDictionaryRef AsDictionary(CFPropertyListRef value) {
  return IsDictionary(value) ? static_cast<CFDictionaryRef>(value) : nullptr;
}

CFArrayRef AsArray(CFPropertyListRef value) {
  const bool is_array = value != nullptr && CFGetTypeID(value) == CFArrayGetTypeID();
  return is_array ? static_cast<CFArrayRef>(value) : nullptr;
}

// -1 for a name that is not an index.
CFIndex IndexOf(const std::string& name) {
  CFIndex index = 0;
  const char* const end = name.data() + name.size();
  const auto read = std::from_chars(name.data(), end, index);
  const bool is_plain = name == "0" || (!name.empty() && name[0] != '0');
  return read.ec == std::errc() && read.ptr == end && is_plain && index >= 0 ? index : -1;
}

CFPropertyListRef ChildOf(CFPropertyListRef container, const std::string& name) {
  if (const CFArrayRef array = AsArray(container)) {
    const CFIndex index = IndexOf(name);
    return index >= 0 && index < CFArrayGetCount(array) ? CFArrayGetValueAtIndex(array, index)
                                                        : nullptr;
  }
  const CFDictionaryRef dictionary = AsDictionary(container);
  const CAutoCFRelease<CFStringRef> key = NameOf(name);
  return dictionary != nullptr && key ? CFDictionaryGetValue(dictionary, key) : nullptr;
}

Value ArrayWith(CFArrayRef array, const std::string& name, CFPropertyListRef value) {
  const CFIndex index = IndexOf(name);
  const CFIndex count = CFArrayGetCount(array);
  if (index < 0 || index > count || (index == count && value == nullptr)) return Value();
  CAutoCFRelease<CFMutableArrayRef> copy(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  for (CFIndex i = 0; i < count; ++i) {
    if (i != index) {
      CFArrayAppendValue(copy, CFArrayGetValueAtIndex(array, i));
    } else if (value != nullptr) {
      CFArrayAppendValue(copy, value);
    }
  }
  if (index == count) CFArrayAppendValue(copy, value);
  return Value(copy.Detach());
}

Value DictionaryWith(CFDictionaryRef dictionary, const std::string& name, CFPropertyListRef value) {
  const CAutoCFRelease<CFStringRef> key = NameOf(name);
  if (!key) return Value();
  CAutoCFRelease<CFMutableDictionaryRef> copy(
      dictionary != nullptr
          ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary)
          : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                      &kCFTypeDictionaryValueCallBacks));
  if (value != nullptr) {
    CFDictionarySetValue(copy, key, value);
  } else {
    CFDictionaryRemoveValue(copy, key);
  }
  return Value(copy.Detach());
}

// A container that does not exist is a new dictionary.
Value Replaced(CFPropertyListRef container, const Path& path, std::size_t depth,
               CFPropertyListRef value) {
  if (container != nullptr && !IsContainer(container)) return Value();
  const std::string& name = path[depth];
  Value inner;
  if (depth + 1 < path.size()) {
    const CFPropertyListRef present = container != nullptr ? ChildOf(container, name) : nullptr;
    inner = Replaced(present, path, depth + 1, value);
    if (!inner) return Value();
    value = inner;
  }
  const CFArrayRef array = AsArray(container);
  return array != nullptr ? ArrayWith(array, name, value)
                          : DictionaryWith(AsDictionary(container), name, value);
}

struct Entries {
  explicit Entries(CFDictionaryRef dictionary)
      : names(static_cast<std::size_t>(CFDictionaryGetCount(dictionary))), values(names.size()) {
    CFDictionaryGetKeysAndValues(dictionary, names.data(), values.data());
  }
  std::vector<const void*> names, values;
};

}  // namespace

Tree EmptyTree() {
  return Tree(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks));
}

bool IsContainer(CFPropertyListRef value) {
  return IsDictionary(value) || AsArray(value) != nullptr;
}

std::string NameText(CFStringRef name) {
  std::string bytes(static_cast<std::size_t>(CFStringGetLength(name)), '\0');
  return CopyAscii(name, bytes.data()) ? bytes : NameText(CAtlString(name));
}

std::string NameText(const CAtlString& name) {
  return plist::EscapedSurrogates(name.View());
}

std::optional<CAtlString> NameUnits(const std::string& name) {
  std::optional<CAtlString> text = FromUtf8(name);
  if (!text || name.find(kEscape) == std::string::npos) return text;
  std::u16string units(text->View());
  plist::UnescapeText(units);
  return CAtlString(std::u16string_view(units));
}

std::vector<Child> ChildrenOf(CFPropertyListRef container, CFPropertyListRef old) {
  std::vector<Child> children;
  if (const CFArrayRef array = AsArray(container)) {
    const CFArrayRef old_array = AsArray(old);
    const CFIndex old_count = old_array != nullptr ? CFArrayGetCount(old_array) : 0;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      children.push_back({std::to_string(i), CFArrayGetValueAtIndex(array, i),
                          i < old_count ? CFArrayGetValueAtIndex(old_array, i) : nullptr});
    }
  } else if (const CFDictionaryRef dictionary = AsDictionary(container)) {
    const CFDictionaryRef old_dictionary = AsDictionary(old);
    for (const Entry& entry : SortedEntries(dictionary)) {
      const CFPropertyListRef old_value = old_dictionary == dictionary ? entry.value
                                          : old_dictionary != nullptr
                                              ? CFDictionaryGetValue(old_dictionary, entry.name)
                                              : nullptr;
      children.push_back({NameText(entry.name), entry.value, old_value});
    }
  }
  return children;
}

CFPropertyListRef FindIn(CFPropertyListRef tree, const Path& path) {
  CFPropertyListRef found = tree;
  for (const std::string& name : path) found = ChildOf(found, name);
  return found;
}

Tree WithValue(CFDictionaryRef tree, const Path& path, CFPropertyListRef value) {
  return Tree(static_cast<CFDictionaryRef>(Replaced(tree, path, 0, value).Detach()));
}

std::vector<Change> ChangesBetween(CFDictionaryRef before, CFDictionaryRef after) {
  std::vector<Change> changes;
  if (before == after) return changes;
  DifferenceWalk walk(before, after);
  while (walk.Next()) {
    Path path;
    for (const CFStringRef name : walk.names()) path.push_back(NameText(name));
    changes.push_back(
        {std::move(path), Value::Retaining(walk.before()), Value::Retaining(walk.after())});
  }
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

std::size_t SizeOf(CFPropertyListRef value, KnownSizes& known) {
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFStringGetTypeID()) {
    return static_cast<std::size_t>(CFStringGetLength(static_cast<CFStringRef>(value)));
  }
  if (type == CFDataGetTypeID()) {
    return static_cast<std::size_t>(CFDataGetLength(static_cast<CFDataRef>(value)));
  }
  if (!IsContainer(value)) return 8;
  if (const auto found = known.find(value); found != known.end()) return found->second;
  std::size_t size = 0;
  if (const CFArrayRef array = AsArray(value)) {
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      size += SizeOf(CFArrayGetValueAtIndex(array, i), known);
    }
  } else {
    const Entries entries(AsDictionary(value));
    for (const void* name : entries.names) size += SizeOf(name, known);
    for (const void* entry : entries.values) size += SizeOf(entry, known);
  }
  known.emplace(value, size);
  return size;
}

std::size_t CountBelow(CFDictionaryRef tree) {
  std::size_t count = 0;
  EntryWalk walk(tree);
  while (walk.Next()) ++count;
  return count;
}

std::string ShownPath(const Path& path) {
  return "/" + Escaped(JoinedPath(path));
}

Path TypedPath(std::string text) {
  while (text.starts_with('/')) text.erase(0, 1);
  const std::optional<KeyPath> key = ParseKey(text);
  Path path;
  for (int i = 1; key && i <= key->count(); ++i) {
    path.push_back(NameText(key->name(i)));
  }
  return path;
}

std::string CompletedPath(CFDictionaryRef tree, const std::string& text) {
  const std::size_t slash = text.rfind('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  const std::string begun = text.substr(start);
  Path path;
  for (std::size_t at = 0; at < start;) {
    const std::size_t end = text.find('/', at);
    if (end > at) path.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  const CFPropertyListRef key = FindIn(tree, path);
  if (!IsContainer(key)) return text;
  std::string common;
  bool is_key = false;
  int count = 0;
  for (const Child& entry : ChildrenOf(key)) {
    const std::string& name = entry.name;
    if (!name.starts_with(begun) || name.find('/') != std::string::npos) continue;
    if (count++ == 0) {
      common = name;
    } else {
      const auto differ = std::mismatch(common.begin(), common.end(), name.begin(), name.end());
      common.erase(differ.first, common.end());
    }
    is_key = IsContainer(entry.value);
  }
  if (count == 0) return text;
  // Two names may differ within a character.
  while (!common.empty() && !FromUtf8(common)) common.pop_back();
  return text.substr(0, start) + common + (count == 1 && is_key ? "/" : "");
}

namespace {

void AppendFolded(std::string& to, const std::string& text) {
  if (IsAscii(text)) {
    for (const char c : text) to += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return;
  }
  const CAtlString units = FromUtf8(text).value_or(u"");
  const std::u16string folded =
      FoldCase({units.GetString(), static_cast<std::size_t>(units.GetLength())});
  to += ToUtf8(CAtlString(folded.data(), static_cast<int>(folded.size())));
}

}  // namespace

SearchIndex::SearchIndex(CFDictionaryRef tree) : tree_(Tree::Retaining(tree)) {
  struct Level {
    std::size_t parent;
    std::vector<Child> entries;
    std::size_t next = 0;
  };
  std::vector<Level> levels;
  levels.push_back({kNoParent, ChildrenOf(tree)});
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.entries.size()) {
      levels.pop_back();
      continue;
    }
    const Child entry = std::move(level.entries[level.next++]);
    nodes_.push_back({level.parent, entry.name, entry.value, text_.size()});
    AppendFolded(text_, entry.name);
    text_ += '\0';
    if (!IsDictionary(entry.value)) AppendFolded(text_, ValueText(entry.value));
    text_ += '\0';
    if (IsDictionary(entry.value)) {
      levels.push_back({nodes_.size() - 1, ChildrenOf(entry.value)});
    }
  }
}

std::vector<std::size_t> SearchIndex::Find(std::string_view text) const {
  std::vector<std::size_t> hits;
  std::string folded;
  AppendFolded(folded, std::string(text));
  if (folded.empty() || folded.find('\0') != std::string::npos) return hits;
  std::size_t at = 0;
  while ((at = text_.find(folded, at)) != std::string::npos) {
    const auto after =
        std::upper_bound(nodes_.begin(), nodes_.end(), at,
                         [](std::size_t place, const Node& node) { return place < node.start; });
    hits.push_back(static_cast<std::size_t>(after - nodes_.begin()) - 1);
    at = after == nodes_.end() ? text_.size() : after->start;
  }
  return hits;
}

Path SearchIndex::PathOf(std::size_t hit) const {
  Path path;
  for (std::size_t node = hit; node != kNoParent; node = nodes_[node].parent) {
    path.push_back(nodes_[node].name);
  }
  std::reverse(path.begin(), path.end());
  return path;
}

}  // namespace orvik::prefstool::browse
