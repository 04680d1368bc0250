// Listing folders, and going down and up a tree of them.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The entries of an open folder.

// Calls `visit` for every entry but "." and ".." until it returns a value other than 0. Returns
// that value, or the errno of the listing. Always starts at the first entry, even if the folder was
// read before.
template <typename Visit>
int ListFolder(int folder, Visit visit) {
  static_assert(sizeof(dirent) == sizeof(dirent64));
  constexpr std::size_t kSize = std::size_t{32} << 10;
  if (lseek(folder, 0, SEEK_SET) < 0) return errno;
  const auto buffer = std::make_unique_for_overwrite<char[]>(kSize);
  for (;;) {
    ssize_t length;
    do {
      length = getdents64(folder, buffer.get(), kSize);
    } while (length < 0 && errno == EINTR);
    // A folder that was removed meanwhile has no further entries.
    if (length < 0) return errno == ENOENT ? 0 : errno;
    if (length == 0) return 0;
    for (ssize_t at = 0; at < length;) {
      const auto* const entry = reinterpret_cast<const dirent*>(buffer.get() + at);
      at += entry->d_reclen;
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      if (const int result = visit(*entry)) return result;
    }
  }
}

// The type bits of an entry's mode; 0 when they cannot be read.
inline mode_t EntryType(int folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return DTTOIF(entry.d_type);
  struct stat info;
  const bool is_known = fstatat(folder, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) == 0;
  return is_known ? info.st_mode & S_IFMT : 0;
}

// A walk down a tree and up again, on open folders. Its callers drive it:
//
//   TreeWalk walk;
//   int error = walk.Enter(std::move(top), {});
//   if (error == 0) error = walk.List(...);
//   while (error == 0 && walk.depth() != 0) {
//     if (const std::optional<std::string> name = walk.TakeSubfolder()) {
//       error = walk.Enter(walk.OpenSubfolder(*name), *name);
//       if (error == 0) error = walk.List(...);
//     } else {
//       error = walk.Leave();
//     }
//   }
//
// Neither the stack, nor the length of paths, nor open descriptors limit the depth: only the
// innermost folders are kept open. A folder further up is closed, and opened again through ".." on
// the way up, where it must still be the same folder (otherwise ENOENT). Functions that return an
// int return 0 or an errno.
class TreeWalk {
 public:
  // Goes down into `folder`, which has the name `name` in the innermost folder. Without an open
  // `folder` the result is errno. For a folder that was opened through a link, ".." leads
  // elsewhere, so with `through_link` the folder above stays open.
  int Enter(Descriptor folder, std::string_view name, bool through_link = false);

  // Goes back up to the folder above. Subfolders that were not taken are skipped.
  int Leave();

  // Lists the innermost folder: calls `visit(const dirent&, mode_t type)` for every entry that is
  // not a folder, until it returns a value other than 0, and returns that value. Subfolders are
  // kept for TakeSubfolder. `type` is the type bits of the mode.
  template <typename Visit>
  int List(Visit visit) {
    return ListFolder(folder(), [&](const dirent& entry) {
      const mode_t type = EntryType(folder(), entry);
      if (!S_ISDIR(type)) return visit(entry, type);
      AddSubfolder(entry.d_name);
      return 0;
    });
  }
  void AddSubfolder(std::string name) { levels_.back().subfolders.push_back(std::move(name)); }

  // The next subfolder of the innermost folder, starting with the last one; nothing when all were
  // taken.
  std::optional<std::string> TakeSubfolder();

  // Opens a folder in the innermost folder, but not through a link. Empty, with errno, on failure.
  Descriptor OpenSubfolder(const std::string& name) const;

  // The number of folders from the top to the innermost folder; 0 before the walk begins and after
  // it ends.
  std::size_t depth() const { return levels_.size(); }

  // The innermost folder, and its identity.
  int folder() const { return levels_.back().folder.get(); }
  std::pair<dev_t, ino_t> identity() const { return {levels_.back().device, levels_.back().inode}; }

  // The path from the top to the innermost folder, with "/" at its end; "" at the top.
  const std::string& path() const { return path_; }

  // The name of the innermost folder in the one above.
  std::string name() const;

  // The folder above the innermost folder; opens it again if it was closed.
  int OpenAbove(int* folder);

 private:
  struct Level {
    Descriptor folder;  // empty while it is closed
    dev_t device;
    ino_t inode;
    std::size_t path_above;               // the length of path_ in the folder above
    std::vector<std::string> subfolders;  // not taken yet
    bool is_kept_open = false;
  };
  std::vector<Level> levels_;
  std::string path_;
};

// The content of a folder at every depth.
struct TreeSize {
  std::uint64_t folders = 0;
  std::uint64_t others = 0;  // files, links, special files
  std::uint64_t bytes = 0;   // the sizes of the regular files; each hard link counts
  std::uint64_t allocated =
      0;  // bytes on the volume, as du(1) counts: a file of several names once
};

// Counts the content of the folder until the monitor (may be null) stops it. Does not follow links.
// Unreadable entries count as 0.
TreeSize SizeOfTree(Descriptor folder, const Monitor* monitor);

// The bytes that a file occupies on its volume, or a folder with all its content.
std::uint64_t DiskUsage(const std::string& path);

}  // namespace host
}  // namespace orvik
