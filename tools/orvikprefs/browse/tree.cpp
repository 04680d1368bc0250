#include "tools/orvikprefs/browse/tree.h"

#include <algorithm>
#include <charconv>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list_equality.h"
#include "platform/core_foundation/property_list_escape.h"
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
    path.push_back(NameText(static_cast<CFStringRef>(olds.names[i])));
    if (IsDictionary(old_value) && IsDictionary(new_value)) {
      Compare(path, AsDictionary(old_value), AsDictionary(new_value), changes);
    } else if (!IsSameValue(old_value, new_value)) {
      add(old_value, new_value);
    }
    path.pop_back();
  }
  const Entries news(after);
  for (std::size_t i = 0; i < news.names.size(); ++i) {
    if (CFDictionaryGetValue(before, news.names[i]) != nullptr) continue;
    path.push_back(NameText(static_cast<CFStringRef>(news.names[i])));
    add(nullptr, news.values[i]);
    path.pop_back();
  }
}

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
  return EscapedSurrogates(name.View());
}

std::optional<CAtlString> NameUnits(const std::string& name) {
  std::optional<CAtlString> text = FromUtf8(name);
  if (!text || name.find(kEscape) == std::string::npos) return text;
  std::u16string units(text->View());
  UnescapePropertyListText(units);
  return CAtlString(std::u16string_view(units));
}

std::vector<Child> ChildrenOf(CFPropertyListRef container) {
  std::vector<Child> children;
  if (const CFArrayRef array = AsArray(container)) {
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      children.push_back({std::to_string(i), CFArrayGetValueAtIndex(array, i)});
    }
  } else if (const CFDictionaryRef dictionary = AsDictionary(container)) {
    for (const Entry& entry : SortedEntries(dictionary)) {
      children.push_back({NameText(entry.name), entry.value});
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
