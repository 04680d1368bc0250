// The entries of an open folder.
#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Calls `visit` for every entry but "." and ".." until it returns another value than 0, and returns
// that value, or the error number of the listing.
template <typename Visit>
int ListFolder(int folder, Visit visit) {
  Descriptor own(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(own ? fdopendir(own.get()) : nullptr, closedir);
  if (!stream) return errno;
  own.Give();
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

}  // namespace host
}  // namespace orvik
