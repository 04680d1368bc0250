// Paths as bytes: the folder, the name, and both together.
//
//   path    ParentPath   LeafName
//   /a/b    /a           b
//   /a      /            a
//   /       /            (empty)
//   a       .            a
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline std::string_view ParentPath(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return ".";
  return path.substr(0, slash == 0 ? 1 : slash);
}

inline std::string_view LeafName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

// The folder, "/" unless it ends in one, and the name.
inline std::string ChildPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path = folder;
  if (!path.ends_with('/')) path += '/';
  return path += name;
}

// "/a/b//" without the "/" at its end; "/" stays.
inline std::string_view WithoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

}  // namespace host
}  // namespace orvik
