#include "host/descriptor.h"

#include <limits.h>
#include <stdlib.h>

#include <cerrno>

#include "host/paths.h"

namespace orvik::host {
namespace {

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

Descriptor Refused(int error) {
  errno = error;
  return {};
}

// Calls `move` with the number of bytes already moved until all are moved or `move` moves none.
// Repeats interrupted calls. 0 or an errno.
template <typename Move>
int MoveAll(std::size_t count, std::size_t* done, Move move) {
  for (*done = 0; *done < count;) {
    const ssize_t moved = move(*done);
    if (moved == 0) return 0;
    if (moved > 0) {
      *done += static_cast<std::size_t>(moved);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace

int WriteAll(int descriptor, std::string_view bytes) {
  std::size_t done = 0;
  const int error = MoveAll(bytes.size(), &done, [&](std::size_t at) {
    return write(descriptor, bytes.data() + at, bytes.size() - at);
  });
  return error == 0 && done < bytes.size() ? ENOSPC : error;
}

int WriteAllAt(int file, std::string_view bytes, off_t position, std::size_t* done) {
  std::size_t own = 0;
  if (done == nullptr) done = &own;
  const int error = MoveAll(bytes.size(), done, [&](std::size_t at) {
    return pwrite(file, bytes.data() + at, bytes.size() - at, position + static_cast<off_t>(at));
  });
  return error == 0 && *done < bytes.size() ? ENOSPC : error;
}

int ReadAt(int file, void* buffer, std::size_t count, off_t position, std::size_t* done) {
  return MoveAll(count, done, [&](std::size_t at) {
    return pread(file, static_cast<char*>(buffer) + at, count - at,
                 position + static_cast<off_t>(at));
  });
}

int ReadSome(int descriptor, void* buffer, std::size_t count, std::size_t* done) {
  ssize_t got;
  do {
    got = read(descriptor, buffer, count);
  } while (got < 0 && errno == EINTR);
  *done = got < 0 ? 0 : static_cast<std::size_t>(got);
  return got < 0 ? errno : 0;
}

std::optional<std::uint64_t> SizeOf(int descriptor) {
  struct stat info;
  if (fstat(descriptor, &info) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(info.st_size);
}

std::optional<std::uint64_t> SizeOfRegular(int file) {
  struct stat info;
  if (fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(info.st_size);
}

int ReadLink(int folder, const char* name, std::string* text) {
  char buffer[PATH_MAX];
  const ssize_t length = readlinkat(folder, name, buffer, sizeof buffer);
  if (length < 0) return errno;
  if (static_cast<std::size_t>(length) == sizeof buffer) return ENAMETOOLONG;
  text->assign(buffer, static_cast<std::size_t>(length));
  return 0;
}

std::string ProcPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

std::optional<std::string> PathOf(int descriptor) {
  std::string path;
  // The link texts of pipes and unnamed files are not paths.
  if (ReadLink(AT_FDCWD, ProcPath(descriptor).c_str(), &path) != 0 || !path.starts_with('/'))
    return std::nullopt;
  return path;
}

bool HasName(int entry, int folder, const char* name) {
  struct stat own, named;
  return fstat(entry, &own) == 0 && fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         IsSameFile(own, named);
}

bool HasEntry(int folder, const char* name) {
  struct stat info;
  return fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0;
}

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

bool IsOpenAs(int descriptor, const std::string& path) {
  struct stat own, there;
  return fstat(descriptor, &own) == 0 && stat(path.c_str(), &there) == 0 && IsSameFile(own, there);
}

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
  Descriptor opened(
      openat(AT_FDCWD, ProcPath(seen.get()).c_str(), (flags & ~O_NOFOLLOW) | kAlways));
  if (opened || errno != ENOENT) return opened;
  opened = Descriptor(openat(folder, name, flags | kAlways));
  struct stat present;
  if (!opened || fstat(opened.get(), &present) != 0) return {};
  return IsSameFile(present, attributes) ? std::move(opened) : Refused(EAGAIN);
}

Descriptor OpenRegular(const std::string& path, int flags) {
  // Only the kernel makes entries in /proc.
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
