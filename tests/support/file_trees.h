// Small helpers for tests that build and look at file trees.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/carbon/files.h"

namespace orvik::test {

inline const UInt8* Bytes(const std::string& path) {
  return reinterpret_cast<const UInt8*>(path.c_str());
}

// A reference that names a link itself.
inline FSRef RefOf(const std::filesystem::path& path) {
  FSRef ref;
  FSPathMakeRefWithOptions(Bytes(path.string()), kFSPathMakeRefDoNotFollowLeafSymlink, &ref,
                           nullptr);
  return ref;
}

inline FSCatalogInfo InfoOf(const std::filesystem::path& path,
                            FSCatalogInfoBitmap which = kFSCatInfoGettableInfo) {
  FSCatalogInfo info;
  const FSRef ref = RefOf(path);
  FSGetCatalogInfo(&ref, which, &info, nullptr, nullptr, nullptr);
  return info;
}

// Makes `levels` folders, one in the other, by a road that knows no limit of path length; gives the
// path of the deepest, and leaves a file "leaf" in it.
inline std::string MakeDeepTree(const std::string& top, int levels, const std::string& name) {
  std::string path = top;
  int folder = open(top.c_str(), O_PATH | O_DIRECTORY);
  for (int i = 0; i < levels; ++i) {
    mkdirat(folder, name.c_str(), 0755);
    const int next = openat(folder, name.c_str(), O_PATH | O_DIRECTORY);
    close(folder);
    folder = next;
    path += "/" + name;
  }
  close(openat(folder, "leaf", O_CREAT | O_WRONLY, 0644));
  close(folder);
  return path;
}

inline bool HasUserAttributes(const std::filesystem::path& file) {
  const bool works = setxattr(file.c_str(), "user.probe", "", 0, 0) == 0;
  if (works) removexattr(file.c_str(), "user.probe");
  return works;
}

}  // namespace orvik::test
