// Helpers for tests that build and examine file trees.
#pragma once

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>

#include <sstream>

#include "tests/support/test_environment.h"

namespace orvik::test {

using Words = std::vector<std::string>;

// Sets the immutable flag; false if the caller may not, or the volume has no such flag.
inline bool Lock(const fs::path& path) {
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  int flags = 0;
  bool done = ioctl(file, FS_IOC_GETFLAGS, &flags) == 0;
  flags |= FS_IMMUTABLE_FL;
  done = done && ioctl(file, FS_IOC_SETFLAGS, &flags) == 0;
  close(file);
  return done;
}

inline bool IsLocked(const fs::path& path) {
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  int flags = 0;
  ioctl(file, FS_IOC_GETFLAGS, &flags);
  close(file);
  return (flags & FS_IMMUTABLE_FL) != 0;
}

// The attributes of an entry, or of a link itself; all zero when the entry does not exist.
inline struct stat StatOf(const fs::path& path) {
  struct stat record = {};
  lstat(path.c_str(), &record);
  return record;
}

// The permission bits of a file, or of a link itself.
inline unsigned ModeOf(const fs::path& path) {
  return StatOf(path).st_mode & 07777u;
}

// Whether the path exists; a dangling link counts.
inline bool Exists(const fs::path& path) {
  return StatOf(path).st_mode != 0;
}

// Attributes that every change of an entry affects: name, type, mode, owner, inode, size and time.
inline std::string RecordOf(const fs::path& path) {
  const struct stat record = StatOf(path);
  std::ostringstream text;
  text << path.filename().string() << ' ' << std::oct << record.st_mode << std::dec << ' '
       << record.st_uid << ' ' << record.st_ino << ' ' << record.st_size << ' '
       << record.st_mtim.tv_sec << '.' << record.st_mtim.tv_nsec;
  return text.str();
}

// Makes `levels` nested folders, also beyond the longest path, and a file "leaf" in the innermost
// one. Returns the path of the innermost folder.
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
