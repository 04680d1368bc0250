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

}  // namespace host
}  // namespace orvik
