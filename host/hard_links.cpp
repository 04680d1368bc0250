#include "host/hard_links.h"

#include <fcntl.h>
#include <unistd.h>

namespace orvik::host {

bool HardLinks::Link(const struct stat& source, int folder, const char* name) {
  const auto known = copies_.find({source.st_dev, source.st_ino});
  if (known == copies_.end()) return false;
  Copy& copy = known->second;
  if (linkat(top_, copy.path.c_str(), folder, name, 0) != 0) return false;
  struct stat linked;
  // Somebody may have put another file in the place of the copy.
  if (fstatat(folder, name, &linked, AT_SYMLINK_NOFOLLOW) != 0 || linked.st_dev != copy.device ||
      linked.st_ino != copy.inode) {
    unlinkat(folder, name, 0);
    return false;
  }
  if (--copy.names_left == 0) copies_.erase(known);
  return true;
}

void HardLinks::Note(const struct stat& source, std::string path, int folder, const char* name) {
  struct stat copy;
  if (source.st_nlink < 2 || S_ISDIR(source.st_mode) ||
      fstatat(folder, name, &copy, AT_SYMLINK_NOFOLLOW) != 0) {
    return;
  }
  copies_.insert_or_assign(std::pair{source.st_dev, source.st_ino},
                           Copy{std::move(path), copy.st_dev, copy.st_ino, source.st_nlink - 1});
}

}  // namespace orvik::host
