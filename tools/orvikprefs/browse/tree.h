// Trees of dictionaries and arrays that change by giving way to a new tree: what did not change is
// shared, so a change costs the containers on its path and a comparison only what differs.
//
// A name in a path is a name of a dictionary, or the index (from 0, in decimal) of an array. Lone
// surrogates in names are escaped as JSON has them (json.h), so that no two names are alike.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/core_foundation/collections.h"
#include "prefs/auto_release.h"
#include "strings/atl_string.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool::browse {

using Tree = CAutoCFRelease<CFDictionaryRef>;
using Value = CAutoCFRelease<CFPropertyListRef>;

Tree EmptyTree();

// A dictionary or an array.
bool IsContainer(CFPropertyListRef value);

std::string NameText(CFStringRef name);
std::string NameText(const CAtlString& name);
// The name that NameText gave; nothing when it is not UTF-8.
std::optional<CAtlString> NameUnits(const std::string& name);

// The entries of a container, in the order of the names' UTF-16 units or of the indices; empty for
// anything else. `old` is the container from before changes, and may be null; where it is the same
// object nothing is looked up. The containers own the values.
struct Child {
  std::string name;
  CFPropertyListRef value;
  CFPropertyListRef old = nullptr;  // the value of this name in `old`; null if missing
};
std::vector<Child> ChildrenOf(CFPropertyListRef container, CFPropertyListRef old = nullptr);

// The value at the path (the tree itself for an empty one), owned by the tree; null if missing.
CFPropertyListRef FindIn(CFPropertyListRef tree, const Path& path);

// The tree with the value at the path (not empty), or without it when the value is null. Keys that
// are missing on the path are made; the index behind the last one adds an element. Null when a
// value is in the way, there is no such element, or a name is not UTF-8.
Tree WithValue(CFDictionaryRef tree, const Path& path, CFPropertyListRef value);

// The changes that turn one tree into the other. A missing key is one change with all below it.
struct Change {
  Path path;
  Value before;  // null: added
  Value after;   // null: removed
};
std::vector<Change> ChangesBetween(CFDictionaryRef before, CFDictionaryRef after);

// The same change as the lines that `diff` shows, value by value. The change owns the values.
std::vector<Difference> LinesOf(const Change& change);

// How much a value holds: UTF-16 units of text and names, bytes of data, 8 for any other value; a
// container with all below it. `known` keeps what was found for containers that live.
using KnownSizes = std::unordered_map<CFPropertyListRef, std::size_t>;
std::size_t SizeOf(CFPropertyListRef value, KnownSizes& known);

// Values and keys below a key, at any depth; elements of arrays are not counted.
std::size_t CountBelow(CFDictionaryRef tree);

// "/Software/ORVIK", with escapes for what must not reach a terminal.
std::string ShownPath(const Path& path);

// The path that a user typed; a leading "/" is of no meaning. Empty for the domain, and for what is
// no path.
Path TypedPath(std::string text);

// The path ("/Software/OR") as far as all entries of the tree that begin so agree; with one entry
// its whole name, and a "/" behind a key. Names that hold a "/" are not offered.
std::string CompletedPath(CFDictionaryRef tree, const std::string& text);

// One folded text of the tree, made once; a search is a look through it. Keeps the tree.
class SearchIndex {
 public:
  explicit SearchIndex(CFDictionaryRef tree);

  // The keys and values whose name or value holds the text, from the top down.
  std::vector<std::size_t> Find(std::string_view text) const;
  Path PathOf(std::size_t hit) const;
  // The value of a hit, or its key.
  CFPropertyListRef ValueOf(std::size_t hit) const { return nodes_[hit].value; }

 private:
  struct Node {
    std::size_t parent;  // kNoParent at the top level
    std::string name;
    CFPropertyListRef value;
    std::size_t start;  // of its part of text_
  };
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

  Tree tree_;
  std::vector<Node> nodes_;
  // Of each node: its name, a NUL, its value (nothing for a key), a NUL.
  std::string text_;
};

}  // namespace orvik::prefstool::browse
