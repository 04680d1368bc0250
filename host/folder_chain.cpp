#include "host/folder_chain.h"

#include <cerrno>
#include <utility>

#include "host/open_flags.h"

namespace orvik::host {

namespace {

// A copy has two chains, and a process may have few descriptors.
constexpr std::size_t kMaxOpenFolders = 16;

}  // namespace

int FolderChain::Enter(Descriptor folder, bool through_link) {
  struct stat info;
  if (fstat(folder.get(), &info) != 0) return errno;
  if (through_link && !levels_.empty()) levels_.back().is_kept_open = true;
  levels_.push_back({std::move(folder), info.st_dev, info.st_ino});
  if (levels_.size() > kMaxOpenFolders) {
    Level& above = levels_[levels_.size() - 1 - kMaxOpenFolders];
    if (!above.is_kept_open) above.folder = Descriptor();
  }
  return 0;
}

int FolderChain::OpenAbove(int* folder) {
  Level& above = levels_[levels_.size() - 2];
  if (!above.folder) {
    Descriptor opened(openat(levels_.back().folder.get(), "..", kOpenFolder));
    if (!opened) return errno;
    struct stat info;
    if (fstat(opened.get(), &info) != 0 || info.st_dev != above.device ||
        info.st_ino != above.inode) {
      return ENOENT;
    }
    above.folder = std::move(opened);
  }
  *folder = above.folder.get();
  return 0;
}

int FolderChain::Leave() {
  int above = -1;
  if (levels_.size() > 1) {
    if (const int error = OpenAbove(&above)) return error;
  }
  levels_.pop_back();
  return 0;
}

}  // namespace orvik::host
