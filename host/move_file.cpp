#include "host/move_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "host/at_path.h"
#include "host/descriptor.h"
#include "host/folder_nesting.h"
#include "host/node_copy.h"
#include "host/open_flags.h"
#include "host/path_names.h"
#include "host/staged_file.h"
#include "host/tree_copy.h"
#include "host/tree_removal.h"

namespace orvik::host {

namespace {

int CopyFolderAsNew(int from, const char* from_name, int to, const char* to_name) {
  const Descriptor source(openat(from, from_name, kOpenPlace | O_NOFOLLOW));
  struct stat info;
  if (!source || fstat(source.get(), &info) != 0) return errno;
  if (LiesInFolder(to, info)) return EINVAL;
  StagedFolder copy(to, to_name);
  if (const int error = copy.Make()) return error;
  if (const int error = CopyTree(from, from_name, copy.descriptor())) return error;
  if (syncfs(copy.descriptor()) != 0) return errno;
  if (const int error = copy.CommitAsNew()) return error;
  const int error = FlushNames(to, copy.descriptor());
  if (error != 0) copy.Rollback();
  return error;
}

}  // namespace

int CopyThenRemove(int from, const char* from_name, int to, const char* to_name, HardLinks* links) {
  struct stat old, present;
  if (fstatat(from, from_name, &old, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (fstatat(to, to_name, &present, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  if (S_ISDIR(old.st_mode)) {
    if (const int error = CopyFolderAsNew(from, from_name, to, to_name)) return error;
  } else if (links != nullptr && links->Link(old, to, to_name)) {
    if (const int error = FlushNames(to, -1)) {
      unlinkat(to, to_name, 0);
      return error;
    }
  } else {
    constexpr NodeCopy kHow{Owner::kSource, Existing::kKeep, Appearance::kWhole, true, true};
    if (const int error = CopyNode(from, from_name, old.st_mode & S_IFMT, to, to_name, kHow)) {
      return error;
    }
  }
  return RemoveTree(from, from_name, Obstacles::kRespect);
}

int MoveEntry(int from, const char* from_name, int to, const char* to_name, HardLinks* links) {
  const int error = RenameWithoutReplacing(from, from_name, to, to_name);
  return error == EXDEV ? CopyThenRemove(from, from_name, to, to_name, links) : error;
}

int CopyThenRemove(const std::string& from, const std::string& to) {
  const std::string_view place = WithoutTrailingSlashes(to);
  const AtPath source(from);
  if (source.error() != 0) return source.error();
  const Descriptor folder = OpenPath(std::string(ParentPath(place)), kOpenPlace);
  if (!folder) return errno;
  const std::string name(LeafName(place));
  return CopyThenRemove(source.folder(), source.name(), folder.get(), name.c_str(), nullptr);
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
