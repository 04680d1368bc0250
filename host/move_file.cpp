#include "host/move_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "host/at_path.h"
#include "host/descriptor.h"
#include "host/disk_usage.h"
#include "host/folder_nesting.h"
#include "host/node_copy.h"
#include "host/open_flags.h"
#include "host/path_names.h"
#include "host/staged_file.h"
#include "host/tree_copy.h"
#include "host/tree_removal.h"

namespace orvik::host {

namespace {

// Of a rename that was refused for lack of rights: the source when nothing may be taken out of its
// folder, else the target.
Side SideOfRename(int error, int from) {
  const bool is_refusal = error == EACCES || error == EPERM || error == EROFS;
  const bool is_source =
      error == ENOENT || (is_refusal && faccessat(from, ".", W_OK | X_OK, AT_EACCESS) != 0);
  return is_source ? Side::kSource : Side::kTarget;
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
  if (const int error = CopyTree(from, from_name, copy.descriptor(), side, monitor)) return error;
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

int MoveEntry(int from, const char* from_name, int to, const char* to_name,
              const MoveOptions& options) {
  const int error = RenameWithoutReplacing(from, from_name, to, to_name);
  if (error == EXDEV) return CopyThenRemove(from, from_name, to, to_name, options);
  if (error != 0 && options.side != nullptr) *options.side = SideOfRename(error, from);
  return error;
}

int CopyThenRemove(const std::string& from, const std::string& to, const MoveOptions& options) {
  const std::string_view place = WithoutTrailingSlashes(to);
  const AtPath source(from);
  if (options.side != nullptr) {
    *options.side = source.error() != 0 ? Side::kSource : Side::kTarget;
  }
  if (source.error() != 0) return source.error();
  const Descriptor folder = OpenPath(std::string(ParentPath(place)), kOpenPlace);
  if (!folder) return errno;
  const std::string name(LeafName(place));
  return CopyThenRemove(source.folder(), source.name(), folder.get(), name.c_str(), options);
}

int MoveWithoutReplacing(const std::string& from, const std::string& to,
                         const MoveOptions& options) {
  const AtPath source(from), target(to);
  if (options.side != nullptr) {
    *options.side = source.error() != 0 ? Side::kSource : Side::kTarget;
  }
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  const int error =
      RenameWithoutReplacing(source.folder(), source.name(), target.folder(), target.name());
  if (error == EXDEV) return CopyThenRemove(from, to, options);
  if (error != 0 && options.side != nullptr) {
    const std::string above(ParentPath(WithoutTrailingSlashes(from)));
    *options.side = SideOfRename(error, OpenPath(above, kOpenPlace).get());
  }
  return error;
}

}  // namespace orvik::host
