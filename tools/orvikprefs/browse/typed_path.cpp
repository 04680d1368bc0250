#include "tools/orvikprefs/browse/typed_path.h"

#include <algorithm>

#include "tools/orvikprefs/browse/tree.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

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

}  // namespace orvik::prefstool::browse
