#include "host/tree_removal.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "host/paths.h"
#include "host/tree_walk.h"

namespace orvik::host {
namespace {

constexpr int kMaxPasses = 8;  // over a folder in which other processes make entries meanwhile
constexpr int kLocks = FS_IMMUTABLE_FL | FS_APPEND_FL;

bool IsRefusal(int error) {
  return error == EPERM || error == EACCES;
}

// The mode and the flags that a folder had before its obstacles were taken away.
struct Overridden {
  std::optional<mode_t> mode;
  int locks = 0;
};

void ChangeLocks(int descriptor, int cleared, int set) {
  int flags = 0;
  if (ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0) return;
  const int wanted = (flags & ~cleared) | set;
  if (wanted != flags) ioctl(descriptor, FS_IOC_SETFLAGS, &wanted);
}

void Unlock(int descriptor, Overridden* taken) {
  int flags = 0;
  if (ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0 || (flags & kLocks) == 0) return;
  taken->locks |= flags & kLocks;
  ChangeLocks(descriptor, kLocks, 0);
}

// Sets the mode, also of an O_PATH descriptor, which fchmod refuses.
void SetMode(int descriptor, mode_t mode) {
  if (fchmod(descriptor, mode) == 0) return;
  chmod(ProcPath(descriptor).c_str(), mode);
}

// Gives the owner of the folder, if this user is the owner, all permissions for it.
void OpenUp(int folder, Overridden* taken) {
  struct stat info;
  if (fstat(folder, &info) != 0 || info.st_uid != geteuid() ||
      (info.st_mode & S_IRWXU) == S_IRWXU) {
    return;
  }
  if (!taken->mode) taken->mode = info.st_mode & 07777;
  SetMode(folder, (info.st_mode & 07777) | S_IRWXU);
}

void GiveBack(int folder, const Overridden& taken) {
  if (taken.mode) SetMode(folder, *taken.mode);
  if (taken.locks != 0) ChangeLocks(folder, 0, taken.locks);
}

Descriptor OpenToRemove(int folder, const char* name, Obstacles obstacles, Overridden* taken) {
  Descriptor opened(openat(folder, name, kOpenFolder));
  if (opened || errno != EACCES || obstacles == Obstacles::kRespect) return opened;
  const Descriptor closed(openat(folder, name, kOpenFolder | O_PATH));
  if (!closed) return Descriptor();
  OpenUp(closed.get(), taken);
  return Descriptor(openat(folder, name, kOpenFolder));
}

class Remover {
 public:
  Remover(Obstacles obstacles, TreeOutcome* report, Monitor* monitor)
      : obstacles_(obstacles), report_(report), monitor_(monitor) {}

  // Empties the folder and restores its mode and flags.
  void Empty(Descriptor top, Overridden taken) {
    if (IsRootFolder(top.get())) return Fail({}, EBUSY);
    if (!Enter({}, std::move(top), taken)) return;
    for (;;) {
      const std::optional<std::string> next = walk_.TakeSubfolder();
      const bool is_done = !next && walk_.depth() == 1;
      if (is_cut_ || (IsStopped(monitor_) && !is_done)) return Abandon();
      if (is_done) return GiveBack(walk_.folder(), levels_.back().taken);
      if (next) {
        Descend(*next);
      } else if (!Leave()) {
        return;
      }
    }
  }

  // Unlinks one entry. `taken` receives the obstacles taken from its folder; null if none may be
  // taken.
  int RemoveEntry(int folder, const char* name, int flags, Overridden* taken) const {
    if (unlinkat(folder, name, flags) == 0 || errno == ENOENT) return 0;
    const int error = errno;
    if (!IsRefusal(error) || obstacles_ == Obstacles::kRespect) return error;
    if (taken != nullptr) {
      Unlock(folder, taken);
      OpenUp(folder, taken);
    }
    struct stat info;
    if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT ? 0 : error;
    Overridden of_entry;
    Descriptor entry;
    if (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode)) {
      entry = Descriptor(openat(folder, name, kOpenEntry));
      if (entry) Unlock(entry.get(), &of_entry);
    }
    if (unlinkat(folder, name, flags) == 0 || errno == ENOENT) return 0;
    const int last = errno;
    if (entry) GiveBack(entry.get(), of_entry);
    return last;
  }

  // Counts an entry of the innermost folder, or, with an empty name, the folder itself.
  void Count(std::string_view name, int error) {
    if (error == 0) {
      ++report_->done;
    } else {
      Fail(PathTo(name), error);
    }
    Advances(monitor_, 1, 0);
  }

 private:
  struct Level {
    Overridden taken;
    bool keeps_entries = false;  // an entry could not be removed
    int passes = 0;
  };

  // The path of an entry of the innermost folder.
  std::string PathTo(std::string_view name) const { return std::string(walk_.path()).append(name); }

  void Fail(std::string path, int error) {
    report_->AddFailure(std::move(path), error);
    if (!levels_.empty()) levels_.back().keeps_entries = true;
  }

  // Leaves the rest of the tree as it is.
  void Abandon() {
    report_->AddFailure(PathTo({}), ECANCELED);
    for (;;) {
      GiveBack(walk_.folder(), levels_.back().taken);
      levels_.pop_back();
      if (levels_.empty() || walk_.Leave() != 0) return;
    }
  }

  bool Enter(const std::string& name, Descriptor folder, const Overridden& taken) {
    if (const int error = walk_.Enter(std::move(folder), name)) {
      Fail(PathTo(name), error);
      return false;
    }
    levels_.push_back({taken});
    RemoveFiles();
    return true;
  }

  // Removes everything but the folders, and keeps those for TakeSubfolder.
  void RemoveFiles() {
    Level& level = levels_.back();
    ++level.passes;
    const int error = walk_.List([&](const dirent& entry, mode_t) {
      if (monitor_ != nullptr && !monitor_->Begin(PathTo(entry.d_name))) {
        is_cut_ = true;
        return ECANCELED;
      }
      Count(entry.d_name, RemoveEntry(walk_.folder(), entry.d_name, 0, &level.taken));
      return 0;
    });
    if (error != 0 && !is_cut_) Fail(PathTo({}), error);
  }

  void Descend(const std::string& name) {
    const int folder = walk_.folder();
    Overridden* const taken = &levels_.back().taken;
    Overridden from_it;
    Descriptor opened = OpenToRemove(folder, name.c_str(), obstacles_, &from_it);
    if (!opened && errno == EACCES && obstacles_ == Obstacles::kOverride) {
      OpenUp(folder, taken);
      opened = OpenToRemove(folder, name.c_str(), obstacles_, &from_it);
    }
    if (opened) {
      Enter(name, std::move(opened), from_it);
      return;
    }
    const int error = errno;
    if (error == ENOENT) return;  // it vanished
    // Another entry has its name now, or the folder is empty and need not be read.
    const bool is_other = error == ENOTDIR || error == ELOOP;
    const int left = RemoveEntry(folder, name.c_str(), is_other ? 0 : AT_REMOVEDIR, taken);
    Count(name, left == 0 || is_other ? left : error);
  }

  // Removes the innermost folder and continues in the folder above; false when there is no way up.
  bool Leave() {
    Level& left = levels_.back();
    int above = -1;
    if (const int error = walk_.OpenAbove(&above)) {
      GiveBack(walk_.folder(), left.taken);
      report_->AddFailure(PathTo({}), error);
      return false;
    }
    Level& upper = levels_[levels_.size() - 2];
    if (!left.keeps_entries) {
      const int error = RemoveEntry(above, walk_.name().c_str(), AT_REMOVEDIR, &upper.taken);
      const bool was_filled = error == ENOTEMPTY || error == EEXIST;
      if (was_filled && left.passes < kMaxPasses) {
        RemoveFiles();
        return true;
      }
      Count({}, error);
    }
    if (left.keeps_entries) {
      GiveBack(walk_.folder(), left.taken);
      upper.keeps_entries = true;
    }
    levels_.pop_back();
    const int error = walk_.Leave();
    if (error != 0) report_->AddFailure(PathTo({}), error);
    return error == 0;
  }

  const Obstacles obstacles_;
  TreeOutcome* const report_;
  Monitor* const monitor_;
  bool is_cut_ = false;  // the monitor stopped the removal in the innermost folder
  TreeWalk walk_;
  std::vector<Level> levels_;
};

// Tells the monitor the number of entries below the path, plus `own`. A single file need not be
// counted.
void Expect(const std::string& path, std::uint64_t own, Monitor* monitor) {
  if (monitor == nullptr) return;
  Descriptor folder = OpenPath(path, kOpenFolder);
  if (folder && !monitor->WantsTotals()) return;
  const TreeSize size = SizeOfTree(std::move(folder), monitor);
  monitor->Expect(size.folders + size.others + own, 0);
}

}  // namespace

bool IsRootFolder(int folder) {
  struct stat info, root;
  return fstat(folder, &info) == 0 && stat("/", &root) == 0 && IsSameFile(info, root);
}

int RemoveFile(int folder, const char* name, Obstacles obstacles) {
  TreeOutcome none;
  return Remover(obstacles, &none, nullptr).RemoveEntry(folder, name, 0, nullptr);
}

int RemoveFile(const std::string& path, Obstacles obstacles) {
  const AtPath at(path);
  return at.error() != 0 ? at.error() : RemoveFile(at.folder(), at.name(), obstacles);
}

int EmptyFolder(const std::string& path, Obstacles obstacles, TreeOutcome* report,
                Monitor* monitor) {
  TreeOutcome own;
  if (report == nullptr) report = &own;
  Overridden taken;
  const AtPath at(path);
  Descriptor folder;
  if (at.error() == 0) folder = OpenToRemove(at.folder(), at.name(), obstacles, &taken);
  if (!folder) {
    report->AddFailure({}, at.error() != 0 ? at.error() : errno);
  } else {
    Expect(path, 0, monitor);
    Remover(obstacles, report, monitor).Empty(std::move(folder), taken);
  }
  return report->error();
}

int EmptyFolder(Descriptor folder, Obstacles obstacles) {
  TreeOutcome report;
  Remover(obstacles, &report, nullptr).Empty(std::move(folder), {});
  return report.error();
}

int RemoveTree(int folder, const char* name, Obstacles obstacles, TreeOutcome* report,
               Monitor* monitor) {
  TreeOutcome own;
  if (report == nullptr) report = &own;
  Remover remover(obstacles, report, monitor);
  const auto answer = [&](int error) {
    remover.Count({}, error);
    return report->error();
  };
  const std::string_view leaf = LeafName(WithoutTrailingSlashes(name));
  if (leaf == "." || leaf == "..") return answer(EINVAL);
  if (leaf.empty()) return answer(EBUSY);
  if (!Begins(monitor, {}, {})) {
    report->AddFailure({}, ECANCELED);
    return ECANCELED;
  }
  const int error = remover.RemoveEntry(folder, name, 0, nullptr);
  if (error != EISDIR && error != EPERM) return answer(error);
  Overridden taken;
  Descriptor opened = OpenToRemove(folder, name, obstacles, &taken);
  if (!opened) {
    const int refusal = errno;
    if (refusal == ENOTDIR || refusal == ELOOP) return answer(error);
    // An empty folder can be removed without reading it.
    return answer(remover.RemoveEntry(folder, name, AT_REMOVEDIR, nullptr) == 0 ? 0 : refusal);
  }
  remover.Empty(std::move(opened), taken);
  if (report->failed != 0) return report->error();
  return answer(remover.RemoveEntry(folder, name, AT_REMOVEDIR, nullptr));
}

int RemoveTree(const std::string& path, Obstacles obstacles, TreeOutcome* report,
               Monitor* monitor) {
  const AtPath at(path);
  if (at.error() == 0) {
    Expect(path, 1, monitor);
    return RemoveTree(at.folder(), at.name(), obstacles, report, monitor);
  }
  if (report != nullptr) report->AddFailure({}, at.error());
  return at.error();
}

}  // namespace orvik::host
