#include "tools/orvikprefs/browse/tree.h"

#include <algorithm>
#include <utility>

#include "text/case_and_spelling.h"
#include "text/transcoding.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

namespace {

// No value for a name that is not an index.
std::optional<std::size_t> IndexOf(const std::string& name) {
  return name == "0" || !name.starts_with('0') ? ParseNumber<std::size_t>(name) : std::nullopt;
}

// The name as an entry of a dictionary; no value for other containers and for a name that is not
// UTF-8.
std::optional<CAtlString> UnitsIn(const Value& container, const std::string& name) {
  return container.is_dictionary() ? NameUnits(name) : std::nullopt;
}

// Null when the child does not exist.
const Value* FindChild(const Value& container, const std::string& name) {
  if (container.is_array()) {
    const std::optional<std::size_t> index = IndexOf(name);
    const std::vector<Value>& elements = container.elements();
    return index && *index < elements.size() ? &elements[*index] : nullptr;
  }
  const std::optional<CAtlString> units = UnitsIn(container, name);
  return units ? container.Find(*units) : nullptr;
}

// The child for a change; a missing one is made as a dictionary. Null when that is not possible.
Value* ChangeChild(Value& container, const std::string& name) {
  if (container.is_array()) {
    const std::optional<std::size_t> index = IndexOf(name);
    const std::size_t count = container.elements().size();
    if (!index || *index > count) return nullptr;
    if (*index == count) container.Append(Value::Dictionary());
    return &container.ChangeElements()[*index];
  }
  const std::optional<CAtlString> units = UnitsIn(container, name);
  if (!units) return nullptr;
  if (container.Find(*units) == nullptr) container.Set(*units, Value::Dictionary());
  return container.Change(*units);
}

// Sets the child, or removes it for no value. False when the element does not exist, or the name is
// not UTF-8.
bool SetChild(Value& container, const std::string& name, const Value& value) {
  if (value) {
    Value* const child = ChangeChild(container, name);
    if (child != nullptr) *child = value;
    return child != nullptr;
  }
  if (container.is_array()) {
    const std::optional<std::size_t> index = IndexOf(name);
    if (!index || *index >= container.elements().size()) return false;
    std::vector<Value>& elements = container.ChangeElements();
    elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(*index));
    return true;
  }
  const std::optional<CAtlString> units = UnitsIn(container, name);
  if (units) container.Remove(*units);
  return units.has_value();
}

// An address that is the same for all values that share a container's memory; null for an empty
// container. Sizes are stored by it, so that a shared container is measured once.
const void* MemoryOf(const Value& container) {
  if (container.is_array()) return container.elements().data();
  return container.count() == 0 ? nullptr : &*container.entries().begin();
}

void AppendFolded(std::string& to, const std::string& text) {
  if (IsAscii(text)) {
    for (const char c : text) to += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return;
  }
  to += plist::Text(FoldCase(FromUtf8(text).value_or(u"").View())).ToUtf8();
}

}  // namespace

// Entries are sorted by name, elements by index. If a container shares its memory with the old one,
// its entries are not compared.
std::vector<Child> ChildrenOf(const Value& container, const Value& old) {
  std::vector<Child> children;
  if (container.is_array()) {
    const std::vector<Value>& elements = container.elements();
    const std::vector<Value> none;
    const std::vector<Value>& olds = old.is_array() ? old.elements() : none;
    children.reserve(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i) {
      children.push_back({std::to_string(i), elements[i], i < olds.size() ? olds[i] : Value()});
    }
  } else if (container.is_dictionary()) {
    const bool is_same = container.IsSharedWith(old);
    const std::vector<const Value::Entry*> entries = plist::SortedEntries(container);
    children.reserve(entries.size());
    for (const Value::Entry* entry : entries) {
      const Value* before = is_same               ? &entry->value
                            : old.is_dictionary() ? old.Find(entry->key.text())
                                                  : nullptr;
      children.push_back(
          {NameText(entry->key.text()), entry->value, before != nullptr ? *before : Value()});
    }
  }
  return children;
}

Value FindIn(const Value& tree, const Path& path) {
  const Value* found = &tree;
  for (const std::string& name : path) {
    found = FindChild(*found, name);
    if (found == nullptr) return {};
  }
  return *found;
}

// Copies only the containers on the path. Removes the entry for no value. No result when a value
// that is not a container is on the path.
Value WithValue(Value tree, const Path& path, const Value& value) {
  Value* container = &tree;
  for (std::size_t i = 0; i + 1 < path.size(); ++i) {
    container = ChangeChild(*container, path[i]);
    if (container == nullptr) return {};
  }
  return SetChild(*container, path.back(), value) ? std::move(tree) : Value();
}

// Sorted by path, as are the rows on the screen.
std::vector<Change> ChangesBetween(const Value& before, const Value& after) {
  std::vector<Change> changes = Differences(before, after, {}, plist::OneSidedKeys::kWhole);
  std::sort(changes.begin(), changes.end(),
            [](const Change& a, const Change& b) { return a.path < b.path; });
  return changes;
}

// A key that was added or removed as a whole is shown entry by entry; an empty key is one line.
std::vector<Difference> LinesOf(const Change& change) {
  const bool is_key = (!change.before || change.before.is_dictionary()) &&
                      (!change.after || change.after.is_dictionary());
  std::vector<Difference> lines;
  if (is_key) lines = Differences(change.before, change.after, change.path);
  if (lines.empty()) lines.push_back(change);
  return lines;
}

// Names and texts count their units, data its bytes, every other value eight: an order of magnitude
// for sorting, not a size on disk.
std::size_t SizeOf(const Value& value, KnownSizes& known) {
  if (value.is_string()) return value.text().size();
  if (value.type() == Type::kData) return value.data()->size();
  if (!IsContainer(value)) return 8;
  const void* const memory = MemoryOf(value);
  if (memory == nullptr) return 0;
  if (const auto found = known.find(memory); found != known.end()) return found->second;
  std::size_t size = 0;
  if (value.is_array()) {
    for (const Value& element : value.elements()) size += SizeOf(element, known);
  } else {
    for (const Value::Entry& entry : value.entries()) {
      size += entry.key.text().size() + SizeOf(entry.value, known);
    }
  }
  known.emplace(memory, size);
  return size;
}

std::size_t CountBelow(const Value& tree) {
  std::size_t count = 0;
  EntryWalk walk(tree);
  while (walk.Next()) ++count;
  return count;
}

std::string ShownPath(const Path& path) {
  return "/" + JoinedPath(path);
}

// Leading slashes are ignored, so that a shown path can be typed unchanged.
Path TypedPath(std::string text) {
  while (text.starts_with('/')) text.erase(0, 1);
  const std::optional<KeyPath> key = ParseKey(text);
  return key ? PathOf(*key) : Path();
}

// Completes the last name by the common start of all entries that begin with it; for a single key
// also adds "/". Names that contain "/" cannot be typed and are skipped.
std::string CompletedPath(const Value& tree, const std::string& text) {
  const std::size_t slash = text.rfind('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  const std::string begun = text.substr(start);
  Path path;
  for (std::size_t at = 0; at < start;) {
    const std::size_t end = text.find('/', at);
    if (end > at) path.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  const Value key = FindIn(tree, path);
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
  // The names may differ within a character.
  while (!common.empty() && !FromUtf8(common)) common.pop_back();
  return text.substr(0, start) + common + (count == 1 && is_key ? "/" : "");
}

// Joins the folded names and values of all entries, each followed by a NUL, into one text. So a
// search is one pass over memory.
SearchIndex::SearchIndex(const Value& tree) {
  std::vector<std::size_t> above;  // the nodes of the keys on the path
  EntryWalk walk(tree);
  while (walk.Next()) {
    above.resize(walk.path().size() - 1);
    const std::string& name = walk.path().back();
    nodes_.push_back({above.empty() ? kNoParent : above.back(), name, walk.value(), text_.size()});
    AppendFolded(text_, name);
    text_ += '\0';
    if (!walk.value().is_dictionary()) AppendFolded(text_, ValueText(walk.value()));
    text_ += '\0';
    above.push_back(nodes_.size() - 1);
  }
}

// After a hit, continues with the next entry, so that each entry is found once.
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
