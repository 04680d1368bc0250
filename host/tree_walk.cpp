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

int TreeWalk::Enter(Descriptor folder, std::string_view name, bool through_link) {
  struct stat info;
  if (!folder || fstat(folder.get(), &info) != 0) return errno;
  if (through_link && !levels_.empty()) levels_.back().is_kept_open = true;
  levels_.push_back({std::move(folder), info.st_dev, info.st_ino, path_.size(), {}});
  if (!name.empty()) path_.append(name).push_back('/');
  if (levels_.size() > kMaxOpenFolders) {
    Level& above = levels_[levels_.size() - 1 - kMaxOpenFolders];
    if (!above.is_kept_open) above.folder = Descriptor();
  }
  return 0;
}

int TreeWalk::OpenAbove(int* folder) {
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

int TreeWalk::Leave() {
  int above = -1;
  if (levels_.size() > 1) {
    if (const int error = OpenAbove(&above)) return error;
  }
  path_.resize(levels_.back().path_above);
  levels_.pop_back();
  return 0;
}

std::optional<std::string> TreeWalk::TakeSubfolder() {
  std::vector<std::string>& subfolders = levels_.back().subfolders;
  if (subfolders.empty()) return std::nullopt;
  std::string name = std::move(subfolders.back());
  subfolders.pop_back();
  return name;
}

Descriptor TreeWalk::OpenSubfolder(const std::string& name) const {
  return Descriptor(openat(folder(), name.c_str(), kOpenFolder));
}

std::string TreeWalk::name() const {
  const std::string_view name = std::string_view(path_).substr(levels_.back().path_above);
  return std::string(name.substr(0, name.size() - (name.empty() ? 0 : 1)));
}

namespace {

class Counter {
 public:
  explicit Counter(const Monitor* monitor = nullptr) : monitor_(monitor) {}

  std::uint64_t Count(Descriptor top) {
    Enter(std::move(top), {});
    while (walk_.depth() != 0 && !IsStopped(monitor_)) {
      if (const std::optional<std::string> name = walk_.TakeSubfolder()) {
        Enter(walk_.OpenSubfolder(*name), *name);
      } else if (walk_.Leave() != 0) {
        break;
      }
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
  void Enter(Descriptor folder, std::string_view name) {
    if (walk_.Enter(std::move(folder), name) != 0) return;
    ListFolder(walk_.folder(), [this](const dirent& entry) {
      struct stat info;
      if (fstatat(walk_.folder(), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
      Add(info);
      ++(S_ISDIR(info.st_mode) ? size_.folders : size_.others);
      if (S_ISREG(info.st_mode)) size_.bytes += static_cast<std::uint64_t>(info.st_size);
      if (S_ISDIR(info.st_mode)) walk_.AddSubfolder(entry.d_name);
      return 0;
    });
  }

  const Monitor* const monitor_;
  TreeWalk walk_;
  std::set<std::pair<dev_t, ino_t>> counted_;  // files of several names
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
