#include "platform/carbon/folder_removal.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/carbon/fsref_internal.h"
#include "platform/host/at_path.h"
#include "platform/host/errno_status.h"

namespace orvik {
namespace {

constexpr std::size_t kMaxOpenFolders = 64;
constexpr int kMaxPasses = 8;  // over a folder that others fill meanwhile

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct StreamCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};
using Stream = std::unique_ptr<DIR, StreamCloser>;

// A folder on the way from the top to where the work goes on.
struct Level {
  std::string name;  // in the folder above
  Stream stream;     // null while it is given back
  dev_t device = 0;
  ino_t inode = 0;
  std::vector<std::string> subfolders;  // still to be emptied
  int passes = 0;
};

void Unlock(int descriptor) {
  int flags = 0;
  if (ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0) return;
  const int unlocked = flags & ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
  if (unlocked != flags) ioctl(descriptor, FS_IOC_SETFLAGS, &unlocked);
}

class FolderEmptier {
 public:
  int Run(int top) {
    if (const int error = Enter({}, top)) return error;
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

 private:
  int Enter(std::string name, int descriptor) {
    struct stat info {};
    const int error = fstat(descriptor, &info) == 0 ? 0 : errno;
    Stream stream{error == 0 ? fdopendir(descriptor) : nullptr};
    if (!stream) {
      const int reason = error != 0 ? error : errno;
      close(descriptor);
      return reason;
    }
    Level level;
    level.name = std::move(name);
    level.stream = std::move(stream);
    level.device = info.st_dev;
    level.inode = info.st_ino;
    levels_.push_back(std::move(level));
    if (levels_.size() > kMaxOpenFolders) levels_[levels_.size() - 1 - kMaxOpenFolders].stream = {};
    return DeleteFiles();
  }

  // Deletes what is no folder and notes the folders.
  int DeleteFiles() {
    Level& level = levels_.back();
    ++level.passes;
    const int folder = dirfd(level.stream.get());
    for (;;) {
      errno = 0;
      const dirent* const entry = readdir(level.stream.get());
      if (entry == nullptr) return errno;
      const char* const name = entry->d_name;
      if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
      bool is_folder = entry->d_type == DT_DIR;
      if (entry->d_type == DT_UNKNOWN) {
        struct stat info {};
        if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
          if (errno == ENOENT) continue;
          return errno;
        }
        is_folder = S_ISDIR(info.st_mode);
      }
      if (is_folder) {
        level.subfolders.emplace_back(name);
      } else if (const int error = Remove(folder, name, 0)) {
        return error;
      }
    }
  }

  int Remove(int folder, const char* name, int flags) {
    if (unlinkat(folder, name, flags) == 0 || errno == ENOENT) return 0;
    int error = errno;
    if (error != EPERM && error != EACCES) return error;
    Unlock(folder);
    struct stat info {};
    if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT ? 0 : error;
    if (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode)) {
      const int descriptor =
          openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
      if (descriptor >= 0) {
        Unlock(descriptor);
        close(descriptor);
      }
    }
    if (unlinkat(folder, name, flags) == 0 || errno == ENOENT) return 0;
    error = errno;
    return error;
  }

  int Descend(std::string name) {
    const int folder = dirfd(levels_.back().stream.get());
    // Most folders at the bottom of a tree have no subfolders and many are empty.
    const int descriptor = openat(folder, name.c_str(), kOpenFolder);
    if (descriptor < 0) {
      // It vanished, or something else has its name now.
      if (errno == ENOENT) return 0;
      if (errno == ENOTDIR || errno == ELOOP) return Remove(folder, name.c_str(), 0);
      const int error = errno;
      return Remove(folder, name.c_str(), AT_REMOVEDIR) == 0 ? 0 : error;
    }
    return Enter(std::move(name), descriptor);
  }

  int LeaveAndRemove() {
    Level left = std::move(levels_.back());
    levels_.pop_back();
    Level& above = levels_.back();
    if (!above.stream) {
      if (const int error = Reopen(dirfd(left.stream.get()), &above)) return error;
    }
    const int folder = dirfd(above.stream.get());
    int error = Remove(folder, left.name.c_str(), AT_REMOVEDIR);
    if ((error == ENOTEMPTY || error == EEXIST) && left.passes < kMaxPasses) {
      rewinddir(left.stream.get());
      levels_.push_back(std::move(left));
      error = DeleteFiles();
    }
    return error;
  }

  // Goes up to a folder that was given back: ".." must still be that folder.
  static int Reopen(int below, Level* level) {
    const int descriptor = openat(below, "..", kOpenFolder);
    if (descriptor < 0) return errno;
    struct stat info {};
    if (fstat(descriptor, &info) != 0 || info.st_dev != level->device ||
        info.st_ino != level->inode) {
      close(descriptor);
      return ENOENT;
    }
    level->stream.reset(fdopendir(descriptor));
    if (level->stream) return 0;
    const int error = errno;
    close(descriptor);
    return error;
  }

  std::vector<Level> levels_;
};

}  // namespace

OSErr FSDeleteFolderContents(const FSRef* folder) {
  if (folder == nullptr) return paramErr;
  std::string path;
  int error = carbon::LocateReference(*folder, &path, nullptr);
  if (error == 0) {
    const host::AtPath at{path};
    const int descriptor = at.error() == 0 ? openat(at.folder(), at.name(), kOpenFolder) : -1;
    struct statx info {};
    if (descriptor < 0) {
      error = at.error() != 0 ? at.error() : errno;
      if (error == ENOTDIR || error == ELOOP) return errFSNotAFolder;
    } else if (carbon::StatDescriptor(descriptor, &info) != 0 ||
               !carbon::IsReferent(*folder, info)) {
      close(descriptor);
      error = ENOENT;
    } else {
      error = FolderEmptier{}.Run(descriptor);
    }
  }
  if (error == ENOTEMPTY || error == EEXIST || error == EBUSY) return fBsyErr;
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

}  // namespace orvik
