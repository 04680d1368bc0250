#include "host/tree_walk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <set>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/paths.h"

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

namespace {

class Counter {
 public:
  explicit Counter(const Monitor* monitor = nullptr) : monitor_(monitor) {}

  std::uint64_t Count(Descriptor top) {
    Enter(std::move(top));
    while (!waiting_.empty() && !IsStopped(monitor_)) {
      if (waiting_.back().empty()) {
        waiting_.pop_back();
        if (chain_.Leave() != 0) break;
        continue;
      }
      const std::string next = std::move(waiting_.back().back());
      waiting_.back().pop_back();
      Enter(Descriptor(openat(chain_.folder(), next.c_str(), kOpenFolder)));
    }
    return bytes_;
  }

  void Add(const struct stat& info) {
    if (S_ISDIR(info.st_mode) || info.st_nlink < 2 ||
        counted_.emplace(info.st_dev, info.st_ino).second) {
      bytes_ += static_cast<std::uint64_t>(info.st_blocks) * 512;
    }
  }

  std::uint64_t bytes() const { return bytes_; }
  const TreeSize& size() const { return size_; }

 private:
  void Enter(Descriptor folder) {
    if (!folder || chain_.Enter(std::move(folder)) != 0) return;
    waiting_.emplace_back();
    ListFolder(chain_.folder(), [this](const dirent& entry) {
      struct stat info;
      if (fstatat(chain_.folder(), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
      Add(info);
      ++(S_ISDIR(info.st_mode) ? size_.folders : size_.others);
      if (S_ISREG(info.st_mode)) size_.bytes += static_cast<std::uint64_t>(info.st_size);
      if (S_ISDIR(info.st_mode)) waiting_.back().emplace_back(entry.d_name);
      return 0;
    });
  }

  const Monitor* const monitor_;
  FolderChain chain_;
  std::vector<std::vector<std::string>> waiting_;  // folders still to be entered, for each level
  std::set<std::pair<dev_t, ino_t>> counted_;      // files of several names
  std::uint64_t bytes_ = 0;
  TreeSize size_;
};

}  // namespace

std::uint64_t DiskUsage(const std::string& path) {
  struct stat info;
  if (StatPath(path, AT_SYMLINK_NOFOLLOW, &info) != 0) return 0;
  Counter counter;
  counter.Add(info);
  return S_ISDIR(info.st_mode) ? counter.Count(OpenPath(path, kOpenFolder)) : counter.bytes();
}

TreeSize SizeOfTree(Descriptor folder, const Monitor* monitor) {
  Counter counter(monitor);
  counter.Count(std::move(folder));
  return counter.size();
}

}  // namespace orvik::host
