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
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/long_operation.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The entries of an open folder.

// Calls `visit` for every entry but "." and ".." until it returns another value than 0, and returns
// that value, or the errno of the listing. The folder is read from its first entry, whatever was
// read of it before.
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
    // A folder that was removed meanwhile has no more entries.
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

// The type bits of an entry's mode; 0 when they cannot be had.
inline mode_t EntryType(int folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return DTTOIF(entry.d_type);
  struct stat info;
  const bool is_known = fstatat(folder, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) == 0;
  return is_known ? info.st_mode & S_IFMT : 0;
}

// The open folders on the way down a tree, however deep it is.

// Only the innermost folders are kept open. One further up is given back, and opened again through
// ".." on the way up, where it must still be the folder that it was (ENOENT when it is not). The
// functions that can fail return an errno, or 0.
class FolderChain {
 public:
  // Goes down into a folder, which the caller opened. A folder that was entered through a link has
  // another one above it: then the present one is kept open.
  int Enter(Descriptor folder, bool through_link = false);

  // Goes back up to the folder above.
  int Leave();

  std::size_t depth() const { return levels_.size(); }

  // The innermost folder.
  int folder() const { return levels_.back().folder.get(); }

  // The identity of the innermost folder.
  std::pair<dev_t, ino_t> identity() const { return {levels_.back().device, levels_.back().inode}; }

  // The folder above the innermost one, opened again when it had been given back.
  int OpenAbove(int* folder);

 private:
  struct Level {
    Descriptor folder;  // empty while it is given back
    dev_t device;
    ino_t inode;
    bool is_kept_open = false;
  };
  std::vector<Level> levels_;
};

// How much room a folder takes, and how much it holds.

// The bytes that the file or folder has allocated with all that it holds, as du(1) counts them: a
// file of several names once, links not followed. What cannot be read counts nothing.
std::uint64_t DiskUsage(const std::string& path);

// What a folder holds, at every depth.
struct TreeSize {
  std::uint64_t folders = 0;
  std::uint64_t others = 0;  // files, links, special files
  std::uint64_t bytes = 0;   // the sizes of the regular files, each name by itself
};

// Counts until the monitor (may be null) says stop. What cannot be read counts nothing.
TreeSize SizeOfTree(Descriptor folder, const Monitor* monitor);

}  // namespace host
}  // namespace orvik
