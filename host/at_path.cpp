#include "host/at_path.h"

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
  return "/proc/self/fd/" + std::to_string(folder_) + "/" + name_;
}

}  // namespace orvik::host
