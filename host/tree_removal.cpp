#include "host/tree_removal.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "host/folder_chain.h"
#include "host/folder_list.h"

namespace orvik::host {

namespace {

constexpr int kMaxPasses = 8;  // over a folder that others fill meanwhile

bool IsRefusal(int error) {
  return error == EPERM || error == EACCES;
}

void Unlock(int descriptor) {
  int flags = 0;
  if (ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0) return;
  const int unlocked = flags & ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
  if (unlocked != flags) ioctl(descriptor, FS_IOC_SETFLAGS, &unlocked);
}

// Lets the owner, when that is this user, work in the folder. The descriptor may be an O_PATH one.
void OpenUp(int folder) {
  struct stat info;
  if (fstat(folder, &info) != 0 || info.st_uid != geteuid() ||
      (info.st_mode & S_IRWXU) == S_IRWXU) {
    return;
  }
  chmod(("/proc/self/fd/" + std::to_string(folder)).c_str(), (info.st_mode & 07777) | S_IRWXU);
}

class Remover {
 public:
  explicit Remover(Obstacles obstacles) : obstacles_(obstacles) {}

  int Empty(Descriptor top) {
    if (const int error = Enter({}, std::move(top))) return error;
    for (;;) {
      Level& level = levels_.back();
      if (!level.subfolders.empty()) {
        std::string name = std::move(level.subfolders.back());
        level.subfolders.pop_back();
        if (const int error = Descend(std::move(name))) return error;
      } else if (levels_.size() == 1) {
        return 0;
      } else if (const int error = LeaveAndRemove()) {
        return error;
      }
    }
  }

  int RemoveEntry(int folder, const char* name, int flags) const {
    if (unlinkat(folder, name, flags) == 0 || errno == ENOENT) return 0;
    const int error = errno;
    if (!IsRefusal(error) || obstacles_ == Obstacles::kRespect) return error;
    Unlock(folder);
    OpenUp(folder);
    struct stat info;
    if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT ? 0 : error;
    if (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode)) {
      const Descriptor entry(
          openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
      if (entry) Unlock(entry.get());
    }
    return unlinkat(folder, name, flags) == 0 || errno == ENOENT ? 0 : errno;
  }

 private:
  struct Level {
    std::string name;                     // in the folder above
    std::vector<std::string> subfolders;  // still to be emptied
    int passes = 0;
  };

  int Enter(std::string name, Descriptor folder) {
    if (const int error = chain_.Enter(std::move(folder))) return error;
    levels_.push_back({std::move(name), {}});
    return RemoveFiles();
  }

  // Removes what is no folder and notes the folders.
  int RemoveFiles() {
    Level& level = levels_.back();
    ++level.passes;
    const int folder = chain_.folder();
    return ListFolder(folder, [&](const dirent& entry) {
      bool is_folder = entry.d_type == DT_DIR;
      if (entry.d_type == DT_UNKNOWN) {
        struct stat info;
        if (fstatat(folder, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
          return errno == ENOENT ? 0 : errno;
        }
        is_folder = S_ISDIR(info.st_mode);
      }
      if (!is_folder) return RemoveEntry(folder, entry.d_name, 0);
      level.subfolders.emplace_back(entry.d_name);
      return 0;
    });
  }

  int Descend(std::string name) {
    const int folder = chain_.folder();
    Descriptor opened = OpenFolderToRemove(folder, name.c_str(), obstacles_);
    if (!opened && errno == EACCES && obstacles_ == Obstacles::kTakeAway) {
      OpenUp(folder);
      opened = OpenFolderToRemove(folder, name.c_str(), obstacles_);
    }
    if (opened) return Enter(std::move(name), std::move(opened));
    // It vanished, or something else has its name now.
    if (errno == ENOENT) return 0;
    if (errno == ENOTDIR || errno == ELOOP) return RemoveEntry(folder, name.c_str(), 0);
    const int error = errno;
    return RemoveEntry(folder, name.c_str(), AT_REMOVEDIR) == 0 ? 0 : error;
  }

  int LeaveAndRemove() {
    int above = -1;
    if (const int error = chain_.OpenAbove(&above)) return error;
    const Level& left = levels_.back();
    const int error = RemoveEntry(above, left.name.c_str(), AT_REMOVEDIR);
    if ((error == ENOTEMPTY || error == EEXIST) && left.passes < kMaxPasses) return RemoveFiles();
    if (error != 0) return error;
    levels_.pop_back();
    return chain_.Leave();
  }

  const Obstacles obstacles_;
  FolderChain chain_;
  std::vector<Level> levels_;
};

}  // namespace

Descriptor OpenFolderToRemove(int folder, const char* name, Obstacles obstacles) {
  Descriptor opened(openat(folder, name, kOpenFolder));
  if (opened || errno != EACCES || obstacles == Obstacles::kRespect) return opened;
  const Descriptor closed(openat(folder, name, kOpenFolder | O_PATH));
  if (!closed) return Descriptor();
  OpenUp(closed.get());
  return Descriptor(openat(folder, name, kOpenFolder));
}

int EmptyFolder(Descriptor folder, Obstacles obstacles) {
  return Remover(obstacles).Empty(std::move(folder));
}

int RemoveTree(int folder, const char* name, Obstacles obstacles) {
  Remover remover(obstacles);
  const int error = remover.RemoveEntry(folder, name, 0);
  if (error != EISDIR && error != EPERM) return error;
  Descriptor opened = OpenFolderToRemove(folder, name, obstacles);
  if (!opened) return errno == ENOTDIR || errno == ELOOP ? error : errno;
  if (const int left = remover.Empty(std::move(opened))) return left;
  return remover.RemoveEntry(folder, name, AT_REMOVEDIR);
}

}  // namespace orvik::host
