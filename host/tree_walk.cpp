#include "host/tree_walk.h"

#include <set>

#include "host/paths.h"

namespace orvik::host {
namespace {

// A copy walks two trees, and a process may have few descriptors.
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

TreeSize SizeOfTree(Descriptor folder, const Monitor* monitor) {
  TreeSize size;
  TreeWalk walk;
  std::set<std::pair<dev_t, ino_t>> counted;  // files with several names
  const auto count = [&](const dirent& entry) {
    struct stat info;
    if (fstatat(walk.folder(), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
    const bool is_folder = S_ISDIR(info.st_mode);
    if (is_folder || info.st_nlink < 2 || counted.emplace(info.st_dev, info.st_ino).second) {
      size.allocated += static_cast<std::uint64_t>(info.st_blocks) * 512;
    }
    ++(is_folder ? size.folders : size.others);
    if (S_ISREG(info.st_mode)) size.bytes += static_cast<std::uint64_t>(info.st_size);
    if (is_folder) walk.AddSubfolder(entry.d_name);
    return 0;
  };
  const auto enter = [&](Descriptor opened, std::string_view name) {
    if (walk.Enter(std::move(opened), name) == 0) ListFolder(walk.folder(), count);
  };
  enter(std::move(folder), {});
  while (walk.depth() != 0 && !IsStopped(monitor)) {
    if (const std::optional<std::string> name = walk.TakeSubfolder()) {
      enter(walk.OpenSubfolder(*name), *name);
    } else if (walk.Leave() != 0) {
      break;
    }
  }
  return size;
}

std::uint64_t DiskUsage(const std::string& path) {
  struct stat info;
  if (StatPath(path, AT_SYMLINK_NOFOLLOW, &info) != 0) return 0;
  const std::uint64_t own = static_cast<std::uint64_t>(info.st_blocks) * 512;
  if (!S_ISDIR(info.st_mode)) return own;
  return own + SizeOfTree(OpenPath(path, kOpenFolder), nullptr).allocated;
}

}  // namespace orvik::host
