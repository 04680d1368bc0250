// The entries of an open folder.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Calls `visit` for every entry but "." and ".." until it returns another value than 0, and returns
// that value, or the errno of the listing. The folder must be open for reading; its position moves.
template <typename Visit>
int ListFolder(int folder, Visit visit) {
  constexpr std::size_t kRoom = 32768;
  // Not cleared, and aligned for the entries.
  const std::unique_ptr<std::byte[]> room(new std::byte[kRoom]);
  if (lseek(folder, 0, SEEK_SET) < 0) return errno;
  for (;;) {
    const ssize_t size = getdents64(folder, room.get(), kRoom);
    if (size < 0) return errno;
    if (size == 0) return 0;
    for (ssize_t at = 0; at < size;) {
      const auto& entry = *reinterpret_cast<const dirent*>(room.get() + at);
      at += entry.d_reclen;
      const std::string_view name = entry.d_name;
      if (name == "." || name == "..") continue;
      if (const int result = visit(entry)) return result;
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

}  // namespace host
}  // namespace orvik
