// The entries of an open folder.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Calls `visit` for every entry but "." and ".." until it returns another value than 0, and returns
// that value, or the errno of the listing.
template <typename Visit>
int ListFolder(int folder, Visit visit) {
  Descriptor own(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(own ? fdopendir(own.get()) : nullptr, closedir);
  if (!stream) return errno;
  own.Release();
  rewinddir(stream.get());
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(stream.get());
    if (entry == nullptr) return errno;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (const int result = visit(*entry)) return result;
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
