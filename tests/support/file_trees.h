// Small helpers for tests that build and look at file trees.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/carbon/files.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

inline const UInt8* Bytes(const std::string& path) {
  return reinterpret_cast<const UInt8*>(path.c_str());
}

// A reference that names a link itself.
inline FSRef RefOf(const fs::path& path) {
  FSRef ref;
  FSPathMakeRefWithOptions(Bytes(path.string()), kFSPathMakeRefDoNotFollowLeafSymlink, &ref,
                           nullptr);
  return ref;
}

inline FSCatalogInfo InfoOf(const fs::path& path,
                            FSCatalogInfoBitmap which = kFSCatInfoGettableInfo) {
  FSCatalogInfo info;
  const FSRef ref = RefOf(path);
  FSGetCatalogInfo(&ref, which, &info, nullptr, nullptr, nullptr);
  return info;
}

// Sets the lock that stays whoever opens the file.
inline OSErr Lock(const fs::path& path) {
  const FSRef ref = RefOf(path);
  FSCatalogInfo info;
  info.nodeFlags = kFSNodeLockedMask;
  return FSSetCatalogInfo(&ref, kFSCatInfoNodeFlags, &info);
}

// Permission bits of a file; a link's own.
inline unsigned ModeOf(const fs::path& path) {
  struct stat record = {};
  lstat(path.c_str(), &record);
  return record.st_mode & 07777u;
}

// Whether anything stands at the path, a dangling link too.
inline bool Stands(const fs::path& path) {
  struct stat record;
  return lstat(path.c_str(), &record) == 0;
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

inline bool HasUserAttributes(const fs::path& file) {
  const bool works = setxattr(file.c_str(), "user.probe", "", 0, 0) == 0;
  if (works) removexattr(file.c_str(), "user.probe");
  return works;
}

}  // namespace orvik::test
