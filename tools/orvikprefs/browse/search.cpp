#include "tools/orvikprefs/browse/search.h"

#include <algorithm>
#include <utility>

#include "text/case_mapping.h"
#include "text/transcoding.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
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
