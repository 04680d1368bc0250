// Paths as bytes: their parts, and system calls for paths of any length.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Splitting and joining of paths:
//
//   path    ParentPath   LeafName
//   /a/b    /a           b
//   /a      /            a
//   /       /            (empty)
//   a       .            a

inline std::string_view ParentPath(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return ".";
  return path.substr(0, slash == 0 ? 1 : slash);
}

inline std::string_view LeafName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

// Joins the folder and the name, with a "/" unless the folder ends in one.
inline std::string ChildPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path = folder;
  if (!path.ends_with('/')) path += '/';
  return path += name;
}

// Whether the text of the path equals the folder's or continues it after a "/". Every path lies
// below "/".
inline bool LiesBelow(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Removes all "/" at the end ("/a/b//" becomes "/a/b"), but not from "/".
inline std::string_view WithoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

// A path of any length for system calls that take a folder descriptor and a name.
//
// The kernel refuses paths of 4,096 bytes and more; trees have no such limit. A longer path is
// walked in pieces: the folder of the last piece is opened, and the calls use the rest relative to
// it. A short path costs nothing. Links in the middle of a path are followed, as usual.

class AtPath {
 public:
  // `path` must outlive the object.
  explicit AtPath(const std::string& path);
  ~AtPath();
  AtPath(const AtPath&) = delete;
  AtPath& operator=(const AtPath&) = delete;

  // 0, or the errno of the piece that could not be opened; the system calls then fail with the same
  // errno.
  int error() const { return error_; }

  int folder() const { return folder_; }
  const char* name() const { return name_; }

  // A short path to the same entry, valid as long as this object, for calls without a folder
  // descriptor (extended attributes).
  std::string ShortPath() const;

 private:
  int folder_;
  const char* name_;
  int error_ = 0;
};

// System calls for paths of any length. They follow links at the end of a path unless a flag says
// otherwise (O_NOFOLLOW, AT_SYMLINK_NOFOLLOW).

// openat with O_CLOEXEC and O_NOCTTY. Empty, with errno, on failure.
Descriptor OpenPath(const std::string& path, int flags, mode_t mode = 0);

// fstatat: 0 or an errno.
int StatPath(const std::string& path, int flags, struct stat* info);

// mkdirat: 0 or an errno.
int MakeFolderAt(const std::string& path, mode_t mode);

// unlinkat: 0 or an errno.
int UnlinkPath(const std::string& path, int flags);

// chmod that never follows a link: 0 or an errno, EOPNOTSUPP for a link.
int ChangeModeOf(const std::string& path, mode_t mode);

}  // namespace host
}  // namespace orvik
