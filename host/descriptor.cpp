#include "host/descriptor.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/paths.h"
#include "host/staged_file.h"

namespace orvik::host {
namespace {

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

FileIdentity IdentityOf(const struct stat& attributes) {
  return {.exists = true,
          .device = attributes.st_dev,
          .inode = attributes.st_ino,
          .size = attributes.st_size,
          .modified = Nanoseconds(attributes.st_mtim),
          .changed = Nanoseconds(attributes.st_ctim)};
}

FileIdentity IdentityOf(const std::string& path) {
  struct stat attributes;
  if (stat(path.c_str(), &attributes) != 0) return {};
  return IdentityOf(attributes);
}

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

Descriptor MakeTemporaryFile(const std::string& folder) {
  Descriptor unnamed(open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
  if (unnamed) return unnamed;
  std::string name = folder + "/.orvik-XXXXXX";
  Descriptor named(mkostemp(name.data(), O_CLOEXEC));
  if (named) unlink(name.c_str());
  return named;
}

bool IsOwnFile(int file, int folder, const char* name) {
  struct stat own;
  return HasName(file, folder, name) && fstat(file, &own) == 0 && own.st_uid == geteuid() &&
         S_ISREG(own.st_mode);
}

}  // namespace orvik::host
