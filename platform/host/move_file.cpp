#include "platform/host/move_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/at_path.h"
#include "platform/host/content_copy.h"
#include "platform/host/descriptor.h"
#include "platform/host/file_properties.h"
#include "platform/host/folder_chain.h"
#include "platform/host/folder_list.h"
#include "platform/host/tree_removal.h"

namespace orvik::host {

namespace {

constexpr std::size_t kCopyBufferSize = 1 << 18;

int CopyFile(int from, const char* from_name, const struct stat& old, int to, const char* to_name) {
  const Descriptor source(
      openat(from, from_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!source) return errno;
  Descriptor target(openat(to, to_name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!target) return errno;
  if (const int error = CopyContent(source.get(), target.get(), kCopyBufferSize)) return error;
  KeepProperties(source.get(), old, target.get());
  const timespec times[2] = {old.st_atim, old.st_mtim};
  futimens(target.get(), times);
  return target.Close() ? 0 : errno;
}

// A link or a special file, which has no content to copy.
int CopyNode(int from, const char* from_name, const struct stat& old, int to, const char* to_name) {
  if (S_ISLNK(old.st_mode)) {
    if (const int error = CopyLinkText(from, from_name, to, to_name)) return error;
  } else if (mknodat(to, to_name, old.st_mode, old.st_rdev) != 0) {
    return errno;
  }
  // Where the rights do not suffice the copy belongs to who made it.
  [[maybe_unused]] const int owned =
      fchownat(to, to_name, old.st_uid, old.st_gid, AT_SYMLINK_NOFOLLOW);
  const timespec times[2] = {old.st_atim, old.st_mtim};
  utimensat(to, to_name, times, AT_SYMLINK_NOFOLLOW);
  return 0;
}

// Makes an exact copy of anything at a place where nothing stands.
class TreeCopier {
 public:
  int Run(int from, const char* from_name, int to, const char* to_name) {
    struct stat old;
    if (fstatat(from, from_name, &old, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    int error = S_ISDIR(old.st_mode) ? Enter(from, from_name, old, to, to_name)
                                     : CopyOther(from, from_name, old, to, to_name);
    while (error == 0 && !levels_.empty()) {
      std::vector<Entry>& subfolders = levels_.back().subfolders;
      if (subfolders.empty()) {
        error = Leave();
        continue;
      }
      const Entry next = std::move(subfolders.back());
      subfolders.pop_back();
      const char* const name = next.name.c_str();
      error = Enter(sources_.folder(), name, next.old, targets_.folder(), name);
    }
    return error;
  }

 private:
  struct Entry {
    std::string name;
    struct stat old;
  };
  struct Level {
    struct stat old;
    std::vector<Entry> subfolders;  // still to be copied
  };

  static int CopyOther(int from, const char* from_name, const struct stat& old, int to,
                       const char* to_name) {
    return S_ISREG(old.st_mode) ? CopyFile(from, from_name, old, to, to_name)
                                : CopyNode(from, from_name, old, to, to_name);
  }

  int Enter(int from, const char* from_name, const struct stat& old, int to, const char* to_name) {
    Descriptor source(openat(from, from_name, kOpenFolder));
    if (!source) return errno;
    if (mkdirat(to, to_name, 0700) != 0) return errno;
    Descriptor target(openat(to, to_name, kOpenFolder));
    if (!target) return errno;
    levels_.push_back({old, {}});
    if (const int error = sources_.Enter(std::move(source))) return error;
    if (const int error = targets_.Enter(std::move(target))) return error;
    return ListFolder(sources_.folder(), [this](const dirent& entry) {
      struct stat info;
      if (fstatat(sources_.folder(), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno;
      if (S_ISDIR(info.st_mode)) {
        levels_.back().subfolders.push_back({entry.d_name, info});
        return 0;
      }
      return CopyOther(sources_.folder(), entry.d_name, info, targets_.folder(), entry.d_name);
    });
  }

  int Leave() {
    const struct stat& old = levels_.back().old;
    KeepProperties(sources_.folder(), old, targets_.folder());
    const timespec times[2] = {old.st_atim, old.st_mtim};
    futimens(targets_.folder(), times);
    levels_.pop_back();
    if (const int error = sources_.Leave()) return error;
    return targets_.Leave();
  }

  FolderChain sources_;
  FolderChain targets_;
  std::vector<Level> levels_;
};

bool Exists(const AtPath& path) {
  struct stat attributes;
  return fstatat(path.folder(), path.name(), &attributes, AT_SYMLINK_NOFOLLOW) == 0;
}

// Puts everything of the volume of a path on disk.
int FlushVolume(const AtPath& path) {
  const Descriptor place(openat(path.folder(), path.name(),
                                O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  // A link or special file cannot be opened and has nothing that could be lost halfway.
  return place && syncfs(place.get()) != 0 ? errno : 0;
}

}  // namespace

int CopyThenRemove(const std::string& from, const std::string& to) {
  const AtPath source(from), target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  if (Exists(target)) return EEXIST;
  int error = 0;
  try {
    error = TreeCopier().Run(source.folder(), source.name(), target.folder(), target.name());
  } catch (...) {
    RemoveTree(target.folder(), target.name(), Obstacles::kTakeAway);
    throw;
  }
  if (error == EEXIST) return error;
  if (error == 0) error = FlushVolume(target);
  if (error != 0) {
    RemoveTree(target.folder(), target.name(), Obstacles::kTakeAway);
    return error;
  }
  return RemoveTree(source.folder(), source.name(), Obstacles::kRespect);
}

int MoveWithoutReplacing(const std::string& from, const std::string& to) {
  const AtPath source(from), target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  if (renameat2(source.folder(), source.name(), target.folder(), target.name(), RENAME_NOREPLACE) ==
      0) {
    return 0;
  }
  if (errno == EXDEV) return CopyThenRemove(from, to);
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The volume does not know the flag, or the folder would go into itself, which fails again.
  if (Exists(target)) return EEXIST;
  return renameat(source.folder(), source.name(), target.folder(), target.name()) == 0 ? 0 : errno;
}

}  // namespace orvik::host
