#include "host/move_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "host/at_path.h"
#include "host/content_copy.h"
#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/folder_chain.h"
#include "host/folder_list.h"
#include "host/folder_nesting.h"
#include "host/staged_file.h"
#include "host/tree_removal.h"

namespace orvik::host {

namespace {

constexpr std::size_t kCopyBufferSize = 1 << 18;

Descriptor OpenFile(int folder, const char* name) {
  return Descriptor(
      openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

void KeepTimes(const struct stat& old, int target) {
  const timespec times[2] = {old.st_atim, old.st_mtim};
  futimens(target, times);
}

int CopyInto(int source, const struct stat& old, int target) {
  if (const int error = CopyContent(source, target, kCopyBufferSize)) return error;
  KeepProperties(source, old, target);
  KeepTimes(old, target);
  return 0;
}

int CopyFile(int from, const char* from_name, const struct stat& old, int to, const char* to_name) {
  const Descriptor source = OpenFile(from, from_name);
  if (!source) return errno;
  Descriptor target(openat(to, to_name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!target) return errno;
  if (const int error = CopyInto(source.get(), old, target.get())) return error;
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

// Makes an exact copy of a folder in a new one.
class TreeCopier {
 public:
  int Run(int from, const char* from_name, const struct stat& old, int to) {
    int error = Enter(from, from_name, old, Descriptor(openat(to, ".", kOpenFolder)));
    while (error == 0 && !levels_.empty()) {
      std::vector<Entry>& subfolders = levels_.back().subfolders;
      if (subfolders.empty()) {
        error = Leave();
        continue;
      }
      const Entry next = std::move(subfolders.back());
      subfolders.pop_back();
      const char* const name = next.name.c_str();
      if (mkdirat(targets_.folder(), name, 0700) != 0) return errno;
      error = Enter(sources_.folder(), name, next.old,
                    Descriptor(openat(targets_.folder(), name, kOpenFolder)));
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

  int Enter(int from, const char* from_name, const struct stat& old, Descriptor target) {
    if (!target) return errno;
    Descriptor source(openat(from, from_name, kOpenFolder));
    if (!source) return errno;
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
    KeepTimes(old, targets_.folder());
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

// Puts the name of an arrived copy (open, or -1) on disk.
int FlushName(int folder, int copy) {
  const Descriptor readable(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (readable) return FlushFolder(readable.get());
  return copy < 0 || syncfs(copy) == 0 ? 0 : errno;
}

template <class Staged>
int Commit(Staged& copy, int folder) {
  if (const int error = copy.CommitAsNew()) return error;
  const int error = FlushName(folder, copy.descriptor());
  if (error != 0) copy.Rollback();
  return error;
}

int CopyFileAsNew(const AtPath& from, const struct stat& old, int folder, const std::string& name) {
  const Descriptor source = OpenFile(from.folder(), from.name());
  if (!source) return errno;
  StagedFile copy(folder, name);
  if (const int error = copy.Make(0600)) return error;
  if (const int error = CopyInto(source.get(), old, copy.descriptor())) return error;
  if (fsync(copy.descriptor()) != 0) return errno;
  return Commit(copy, folder);
}

int CopyFolderAsNew(const AtPath& from, const struct stat& old, int folder,
                    const std::string& name) {
  StagedFolder copy(folder, name);
  if (const int error = copy.Make()) return error;
  if (const int error = TreeCopier().Run(from.folder(), from.name(), old, copy.descriptor())) {
    return error;
  }
  if (syncfs(copy.descriptor()) != 0) return errno;
  return Commit(copy, folder);
}

// A link or special file has no parts, and is whole from the first moment on.
int CopyNodeAsNew(const AtPath& from, const struct stat& old, int folder, const std::string& name) {
  if (const int error = CopyNode(from.folder(), from.name(), old, folder, name.c_str())) {
    return error;
  }
  const int error = FlushName(folder, -1);
  if (error != 0) unlinkat(folder, name.c_str(), 0);
  return error;
}

}  // namespace

int CopyThenRemove(const std::string& from, const std::string& to) {
  std::string place = to;
  while (place.size() > 1 && place.ends_with('/')) place.pop_back();
  const std::string folder_path = FolderOf(place), name = NameOf(place);
  const AtPath source(from), target(place), parent(folder_path);
  for (const AtPath* const path : {&source, &target, &parent}) {
    if (path->error() != 0) return path->error();
  }
  struct stat old;
  if (fstatat(source.folder(), source.name(), &old, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (Exists(target)) return EEXIST;
  const bool is_folder = S_ISDIR(old.st_mode);
  const Descriptor folder(openat(parent.folder(), parent.name(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return errno;
  if (is_folder && LiesInFolder(place, from)) return EINVAL;
  const auto copy = is_folder              ? CopyFolderAsNew
                    : S_ISREG(old.st_mode) ? CopyFileAsNew
                                           : CopyNodeAsNew;
  if (const int error = copy(source, old, folder.get(), name)) return error;
  return RemoveTree(source.folder(), source.name(), Obstacles::kRespect);
}

int MoveWithoutReplacing(const std::string& from, const std::string& to) {
  const AtPath source(from), target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  const int error =
      RenameWithoutReplacing(source.folder(), source.name(), target.folder(), target.name());
  return error == EXDEV ? CopyThenRemove(from, to) : error;
}

}  // namespace orvik::host
