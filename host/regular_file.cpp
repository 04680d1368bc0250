#include "host/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/at_path.h"

namespace orvik::host {

namespace {

Descriptor Refused(int error) {
  errno = error;
  return {};
}

}  // namespace

int RefusalOf(mode_t mode) {
  if (S_ISREG(mode)) return 0;
  return S_ISDIR(mode) ? EISDIR : S_ISLNK(mode) ? ELOOP : EINVAL;
}

Descriptor OpenRegular(int folder, const char* name, int flags) {
  constexpr int kAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const Descriptor seen(openat(folder, name, O_PATH | O_CLOEXEC | (flags & O_NOFOLLOW)));
  struct stat attributes;
  if (!seen || fstat(seen.get(), &attributes) != 0) return {};
  if (const int refusal = RefusalOf(attributes.st_mode)) return Refused(refusal);
  const std::string same = "/proc/self/fd/" + std::to_string(seen.get());
  Descriptor opened(openat(AT_FDCWD, same.c_str(), (flags & ~O_NOFOLLOW) | kAlways));
  if (opened || errno != ENOENT) return opened;
  opened = Descriptor(openat(folder, name, flags | kAlways));
  struct stat present;
  if (!opened || fstat(opened.get(), &present) != 0) return {};
  const bool is_same = present.st_dev == attributes.st_dev && present.st_ino == attributes.st_ino;
  return is_same ? std::move(opened) : Refused(EAGAIN);
}

Descriptor OpenRegular(const std::string& path, int flags) {
  // Nothing but the kernel makes entries there.
  if (path.starts_with("/proc/")) return OpenPath(path, flags | O_NONBLOCK);
  const AtPath at(path);
  return at.error() != 0 ? Refused(at.error()) : OpenRegular(at.folder(), at.name(), flags);
}

}  // namespace orvik::host
