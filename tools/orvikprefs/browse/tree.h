// Trees of dictionaries and arrays, and paths through them. Unchanged parts are shared with the old
// tree, so a change costs only the containers on its path, and a comparison only the differences.
//
// A name in a path is a name in a dictionary (values.h), or an index of an array (from 0, in
// decimal, without leading zeros). A path through any other value leads to nothing.
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
// other values. `old` is the container before the changes, or no value; if both share their memory,
// nothing is looked up.
struct Child {
  std::string name;
  Value value;
  Value old = {};  // the value of this name in `old`
};
std::vector<Child> ChildrenOf(const Value& container, const Value& old = {});

// The value at the path, or the tree itself for an empty path; no value when it does not exist.
Value FindIn(const Value& tree, const Path& path);

// Returns the tree with the value at the path (not empty), or without that entry for no value.
// Other holders of `tree` keep it unchanged. Missing keys on the path are made; an index one above
// the last adds an element. No value when a value that is not a container is on the path, when the
// element does not exist, or when a name is not UTF-8.
Value WithValue(Value tree, const Path& path, const Value& value);

// The changes that turn one tree into the other, in the order of their paths. An added or removed
// key is one change with everything below it.
using Change = Difference;
std::vector<Change> ChangesBetween(const Value& before, const Value& after);

// The same change as lines of `diff`, value by value.
std::vector<Difference> LinesOf(const Change& change);

// The size of a value: UTF-16 units of text and names, bytes of data, 8 for other values; a
// container counts everything below it. `known` stores the sizes of containers, which must stay
// alive.
using KnownSizes = std::unordered_map<const void*, std::size_t>;
std::size_t SizeOf(const Value& value, KnownSizes& known);

// Counts the values and keys below a key, at any depth, without the elements of arrays.
std::size_t CountBelow(const Value& tree);

// "/Software/ORVIK", or "/" and the JSON array if a name requires it (JoinedPath), in harmless
// characters. TypedPath parses it.
std::string ShownPath(const Path& path);

// The path that a user typed; a leading "/" is ignored. Empty for the domain, and for an invalid
// path.
Path TypedPath(std::string text);

// Completes the typed path ("/Software/Or") by the common start of all entries of the tree that
// begin with it; a single entry to its whole name, and a key with "/". Returns the text unchanged
// when no entry begins with it. Names that contain "/" are not offered.
std::string CompletedPath(const Value& tree, const std::string& text);

// The folded text of a tree, made once for many searches.
class SearchIndex {
 public:
  // Makes the text of the tree, folded by FoldCase (text/case_and_spelling.h), in time proportional
  // to its size. The index keeps the values of the tree.
  explicit SearchIndex(const Value& tree);

  // The keys and values whose name or value contains the text, in any case, from the top down; each
  // once. Empty for "". Elements of arrays are found as part of the array's JSON.
  std::vector<std::size_t> Find(std::string_view text) const;
  Path PathOf(std::size_t hit) const;
  // The value of a hit, or the key as a dictionary.
  const Value& ValueOf(std::size_t hit) const { return nodes_[hit].value; }

 private:
  struct Node {
    std::size_t parent;  // kNoParent at the top level
    std::string name;
    Value value;
    std::size_t start;  // of its part in text_
  };
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

  std::vector<Node> nodes_;
  // For each node: its name, a NUL, its value (empty for a key), a NUL.
  std::string text_;
};

}  // namespace orvik::prefstool::browse
