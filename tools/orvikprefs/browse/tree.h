// Trees of dictionaries and arrays, and paths through them. What a change leaves alone is shared
// with the tree from before it, so a change costs the containers on its path, and a comparison only
// what differs.
//
// A name in a path is a name of a dictionary (values.h), or the index (from 0, in decimal, without
// leading zeros) of an array. A path that leads through anything else leads to nothing.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool::browse {

// A dictionary or an array.
inline bool IsContainer(const Value& value) {
  return value.is_dictionary() || value.is_array();
}

// The entries of a container, in the order of the names' UTF-16 units or of the indices; empty for
// anything else. `old` is the container from before changes, or no value; where both are shared
// nothing is looked up.
struct Child {
  std::string name;
  Value value;
  Value old = {};  // the value of this name in `old`
};
std::vector<Child> ChildrenOf(const Value& container, const Value& old = {});

// The value at the path, the tree itself for an empty one; no value if there is none.
Value FindIn(const Value& tree, const Path& path);

// Returns the tree with the value at the path (not empty), or without it for no value. `tree`
// itself stays as it is for every other holder. Keys that are missing on the path are made; the
// index behind the last one adds an element. No value when another value is on the path, there is
// no such element, or a name is not UTF-8.
Value WithValue(Value tree, const Path& path, const Value& value);

// The changes that turn one tree into the other, in the order of their paths. A missing key is one
// change with all below it.
using Change = Difference;
std::vector<Change> ChangesBetween(const Value& before, const Value& after);

// The same change as the lines that `diff` shows, value by value.
std::vector<Difference> LinesOf(const Change& change);

// How much a value holds: UTF-16 units of text and names, bytes of data, 8 for any other value; a
// container with all below it. `known` keeps the sizes of containers, which must stay alive.
using KnownSizes = std::unordered_map<const void*, std::size_t>;
std::size_t SizeOf(const Value& value, KnownSizes& known);

// Counts the values and keys below a key, at any depth, without the elements of arrays.
std::size_t CountBelow(const Value& tree);

// "/Software/ORVIK", or "/" and the JSON array where a name needs that (JoinedPath), in harmless
// characters. TypedPath reads it back.
std::string ShownPath(const Path& path);

// The path that a user typed; a leading "/" is of no meaning. Empty for the domain, and for what is
// no path.
Path TypedPath(std::string text);

// Completes the path that was typed ("/Software/Or") as far as all entries of the tree that begin
// so agree; with one entry to its whole name, and a "/" behind a key. Returns the text as it is
// when no entry begins so. Names that hold a "/" are not offered.
std::string CompletedPath(const Value& tree, const std::string& text);

// One folded text of the tree, made once; a search is a look through it.
class SearchIndex {
 public:
  // Makes the text of the tree, folded by FoldCase (text/case_and_spelling.h), in time proportional
  // to its size. The index keeps the values that it was made of.
  explicit SearchIndex(const Value& tree);

  // The keys and values whose name or value holds the text, in any case, from the top down; each
  // once. None for "". Elements of arrays are found as part of the array's JSON.
  std::vector<std::size_t> Find(std::string_view text) const;
  Path PathOf(std::size_t hit) const;
  // The value of a hit, or its key.
  const Value& ValueOf(std::size_t hit) const { return nodes_[hit].value; }

 private:
  struct Node {
    std::size_t parent;  // kNoParent at the top level
    std::string name;
    Value value;
    std::size_t start;  // of its part of text_
  };
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

  std::vector<Node> nodes_;
  // Of each node: its name, a NUL, its value (nothing for a key), a NUL.
  std::string text_;
};

}  // namespace orvik::prefstool::browse
