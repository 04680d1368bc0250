#include "host/move_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <vector>

#include "host/descriptor.h"
#include "host/file_place.h"
#include "host/file_properties.h"
#include "host/folder_nesting.h"
#include "host/node_copy.h"
#include "host/paths.h"
#include "host/staged_file.h"
#include "host/tree_removal.h"
#include "host/tree_walk.h"

namespace orvik::host {

bool HardLinks::Link(const struct stat& source, int folder, const char* name) {
  const auto known = copies_.find({source.st_dev, source.st_ino});
  if (known == copies_.end()) return false;
  Copy& copy = known->second;
  if (linkat(top_, copy.path.c_str(), folder, name, 0) != 0) return false;
  struct stat linked;
  // Another process may have replaced the copy since.
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

namespace {

// Copies the entries of a folder, with their owners, into an open empty folder that no other
// process uses. Files with several names in the tree keep their hard links. At the end the copy
// gets the properties of the source. Stops at the first failure.
class TreeCopier {
 public:
  TreeCopier(int to, Side* side, Monitor* monitor)
      : to_(to), side_(side), monitor_(monitor), links_(to) {}

  int Run(int from, const char* from_name) {
    *side_ = Side::kTarget;
    Descriptor target(openat(to_, ".", kOpenFolder));
    if (!target) return errno;
    *side_ = Side::kSource;
    int error = Enter(Descriptor(openat(from, from_name, kOpenFolder)), std::move(target), {});
    while (error == 0 && sources_.depth() != 0) {
      const std::optional<std::string> next = sources_.TakeSubfolder();
      error = next ? Descend(*next) : Leave();
    }
    return error;
  }

 private:
  int Descend(const std::string& name) {
    *side_ = Side::kTarget;
    if (mkdirat(targets_.folder(), name.c_str(), 0700) != 0) return errno;
    Descriptor target = targets_.OpenSubfolder(name);
    if (!target) return errno;
    *side_ = Side::kSource;
    return Enter(sources_.OpenSubfolder(name), std::move(target), name);
  }

  int Enter(Descriptor source, Descriptor target, const std::string& name) {
    struct stat info;
    if (!source || fstat(source.get(), &info) != 0) return errno;
    attributes_.push_back(info);
    if (const int error = sources_.Enter(std::move(source), name)) return error;
    if (const int error = targets_.Enter(std::move(target), name)) return error;
    return sources_.List([this](const dirent& entry, mode_t) { return Copy(entry.d_name); });
  }

  int Copy(const char* name) {
    const int from = sources_.folder();
    const int to = targets_.folder();
    struct stat info;
    *side_ = Side::kSource;
    if (fstatat(from, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    if (!Begins(monitor_, sources_.path(), name)) return ECANCELED;
    if (info.st_nlink > 1 && links_.Link(info, to, name)) return Finish();
    const NodeCopy how{.owner = Owner::kSource,
                       .appearance = Appearance::kAtOnce,
                       .special_files = true,
                       .side = side_,
                       .monitor = monitor_};
    if (const int error = CopyNode(from, name, info.st_mode & S_IFMT, to, name, how)) return error;
    if (info.st_nlink > 1) links_.Note(info, sources_.path() + name, to, name);
    return Finish();
  }

  int Finish() { return Advances(monitor_, 1, 0) ? 0 : ECANCELED; }

  int Leave() {
    const struct stat old = attributes_.back();
    const int from = sources_.folder();
    const int to = targets_.folder();
    OtherAttributes others;
    *side_ = Side::kTarget;
    if (const int error = CopyAttributes(from, Owner::kSource, to, &others)) return error;
    struct statx info;
    if (statx(from, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &info) == 0) {
      CopyCreationDate(from, info, others.record, to);
    }
    if (const int error = CopyMode(old, Owner::kSource, to)) return error;
    const timespec times[2] = {old.st_atim, old.st_mtim};
    futimens(to, times);
    attributes_.pop_back();
    if (const int error = sources_.Leave()) return error;
    return targets_.Leave();
  }

  const int to_;
  Side* const side_;
  Monitor* const monitor_;
  TreeWalk sources_;
  TreeWalk targets_;
  HardLinks links_;
  std::vector<struct stat> attributes_;  // of each source folder, before it was read
};

// The side of a failed rename: the source when it is missing, or when its folder refuses the
// removal of entries, otherwise the target.
Side SideOfRename(int error, int from, const char* from_name) {
  const bool is_refusal = error == EACCES || error == EPERM || error == EROFS;
  const bool is_source = !HasEntry(from, from_name) ||
                         (is_refusal && faccessat(from, ".", W_OK | X_OK, AT_EACCESS) != 0);
  return is_source ? Side::kSource : Side::kTarget;
}

void SetSide(const MoveOptions& options, Side side) {
  if (options.side != nullptr) *options.side = side;
}

int CopyFolderAsNew(int from, const char* from_name, int to, const char* to_name, Side* side,
                    Monitor* monitor) {
  const Descriptor source(openat(from, from_name, kOpenPlace | O_NOFOLLOW));
  if (!source) return errno;
  if (LiesInFolder(to, source.get())) return EINVAL;
  if (monitor != nullptr && monitor->WantsTotals()) {
    const TreeSize size = SizeOfTree(Descriptor(openat(from, from_name, kOpenFolder)), monitor);
    monitor->Expect(size.others, size.bytes);
  }
  StagedFolder copy(to, to_name);
  if (const int error = copy.Make()) return error;
  if (const int error = TreeCopier(copy.descriptor(), side, monitor).Run(from, from_name))
    return error;
  *side = Side::kTarget;
  if (syncfs(copy.descriptor()) != 0) return errno;
  if (IsStopped(monitor)) return ECANCELED;
  if (const int error = copy.CommitAsNew()) return error;
  const int error = FlushNames(to, copy.descriptor());
  if (error != 0) copy.Rollback();
  return error;
}

}  // namespace

int CopyThenRemove(int from, const char* from_name, int to, const char* to_name,
                   const MoveOptions& options) {
  Side own_side = Side::kSource;
  Side* const side = options.side != nullptr ? options.side : &own_side;
  struct stat old, present;
  *side = Side::kSource;
  if (fstatat(from, from_name, &old, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  *side = Side::kTarget;
  if (fstatat(to, to_name, &present, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  HardLinks* const links = options.links;
  if (S_ISDIR(old.st_mode)) {
    if (const int error = CopyFolderAsNew(from, from_name, to, to_name, side, options.monitor))
      return error;
  } else if (links != nullptr && links->Link(old, to, to_name)) {
    if (const int error = FlushNames(to, -1)) {
      unlinkat(to, to_name, 0);
      return error;
    }
  } else {
    const bool is_alone = options.monitor != nullptr && links == nullptr;
    if (is_alone) {
      options.monitor->Expect(1,
                              S_ISREG(old.st_mode) ? static_cast<std::uint64_t>(old.st_size) : 0);
      if (!options.monitor->Begin({})) return ECANCELED;
    }
    const NodeCopy how{.owner = Owner::kSource,
                       .special_files = true,
                       .flush = true,
                       .side = side,
                       .monitor = options.monitor};
    if (const int error = CopyNode(from, from_name, old.st_mode & S_IFMT, to, to_name, how)) {
      return error;
    }
    if (is_alone) options.monitor->Advance(1, 0);
    if (links != nullptr) links->Note(old, std::string(options.folder) + to_name, to, to_name);
  }
  *side = Side::kSource;
  return RemoveTree(from, from_name, Obstacles::kRespect);
}

int RenameEntry(int from, const char* from_name, int to, const char* to_name,
                const MoveOptions& options) {
  const int error = RenameWithoutReplacing(from, from_name, to, to_name);
  if (error != 0) SetSide(options, SideOfRename(error, from, from_name));
  struct stat moved;
  if (error == 0 && options.monitor != nullptr &&
      fstatat(to, to_name, &moved, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(moved.st_mode)) {
    options.monitor->Advance(0, static_cast<std::uint64_t>(moved.st_size));
  }
  return error;
}

int CopyThenRemove(const std::string& from, const std::string& to, const MoveOptions& options) {
  const std::string_view place = WithoutTrailingSlashes(to);
  const AtPath source(from);
  SetSide(options, source.error() != 0 ? Side::kSource : Side::kTarget);
  if (source.error() != 0) return source.error();
  const Descriptor folder = OpenPath(std::string(ParentPath(place)), kOpenPlace);
  if (!folder) return errno;
  if (const int error = FlushWay(folder.get())) return error;
  const std::string name(LeafName(place));
  return CopyThenRemove(source.folder(), source.name(), folder.get(), name.c_str(), options);
}

int MoveWithoutReplacing(const std::string& from, const std::string& to,
                         const MoveOptions& options) {
  const AtPath source(from), target(to);
  SetSide(options, source.error() != 0 ? Side::kSource : Side::kTarget);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  const int error =
      RenameWithoutReplacing(source.folder(), source.name(), target.folder(), target.name());
  if (error == EXDEV) return CopyThenRemove(from, to, options);
  if (error != 0) {
    const std::string_view path = WithoutTrailingSlashes(from);
    const Descriptor above = OpenPath(std::string(ParentPath(path)), kOpenPlace);
    SetSide(options, SideOfRename(error, above.get(), std::string(LeafName(path)).c_str()));
  }
  return error;
}

}  // namespace orvik::host
