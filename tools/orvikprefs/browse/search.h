// Search in the names and values of a whole tree, without regard to case.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

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
