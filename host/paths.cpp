#include "host/paths.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cerrno>

namespace orvik::host {

AtPath::AtPath(const std::string& path) : folder_(AT_FDCWD), name_(path.c_str()) {
  const char* end = name_ + path.size();
  while (end - name_ >= PATH_MAX) {
    const char* cut = name_ + PATH_MAX - 1;
    while (cut > name_ && *cut != '/') --cut;
    if (cut == name_) {
      error_ = ENAMETOOLONG;
      break;
    }
    const std::string piece(name_, cut);
    const int next = openat(folder_, piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (next < 0) {
      error_ = errno;
      break;
    }
    if (folder_ != AT_FDCWD) close(folder_);
    folder_ = next;
    name_ = cut;
    while (*name_ == '/') ++name_;
  }
  if (error_ != 0) {
    if (folder_ != AT_FDCWD) close(folder_);
    folder_ = -1;
    name_ = "";
  } else if (*name_ == '\0' && folder_ != AT_FDCWD) {
    name_ = ".";
  }
}

AtPath::~AtPath() {
  if (folder_ >= 0) close(folder_);
}

std::string AtPath::ShortPath() const {
  if (folder_ == AT_FDCWD) return name_;
  return ProcPath(folder_) + "/" + name_;
}

Descriptor OpenPath(const std::string& path, int flags, mode_t mode) {
  const AtPath at(path);
  if (at.error() == 0) {
    return Descriptor(openat(at.folder(), at.name(), flags | O_CLOEXEC | O_NOCTTY, mode));
  }
  errno = at.error();
  return Descriptor();
}

namespace {

// Runs a call on the path that returns 0 on success. Returns 0 or its errno.
template <typename Call>
int Error(const std::string& path, Call call) {
  const AtPath at(path);
  if (at.error() != 0) return at.error();
  return call(at.folder(), at.name()) == 0 ? 0 : errno;
}

}  // namespace

int StatPath(const std::string& path, int flags, struct stat* info) {
  return Error(path, [&](int folder, const char* name) {
    return fstatat(folder, name, info, flags | AT_NO_AUTOMOUNT);
  });
}

int MakeFolderAt(const std::string& path, mode_t mode) {
  return Error(path, [&](int folder, const char* name) { return mkdirat(folder, name, mode); });
}

int UnlinkPath(const std::string& path, int flags) {
  return Error(path, [&](int folder, const char* name) { return unlinkat(folder, name, flags); });
}

int ChangeModeOf(const std::string& path, mode_t mode) {
  const int error = Error(path, [&](int folder, const char* name) {
    return fchmodat(folder, name, mode, AT_SYMLINK_NOFOLLOW);
  });
  struct stat info;
  // The C library needs /proc for this call.
  if (error != EOPNOTSUPP || StatPath(path, AT_SYMLINK_NOFOLLOW, &info) != 0 ||
      S_ISLNK(info.st_mode)) {
    return error;
  }
  return Error(path, [&](int folder, const char* name) { return fchmodat(folder, name, mode, 0); });
}

}  // namespace orvik::host
