#include "platform/host/move_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>

#include "platform/host/at_path.h"
#include "platform/host/content_copy.h"
#include "platform/host/descriptor.h"
#include "platform/host/file_properties.h"

namespace orvik::host {

namespace {

constexpr std::size_t kCopyBufferSize = 1 << 18;

int CopyEntry(int from, const char* from_name, int to, const char* to_name);

int CopyFile(int from, const char* from_name, const struct stat& old, int to, const char* to_name) {
  const Descriptor source(
      openat(from, from_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!source) return errno;
  Descriptor target(openat(to, to_name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!target) return errno;
  if (const int error = CopyContent(source.get(), target.get(), kCopyBufferSize)) return error;
  KeepProperties(source.get(), old, target.get());
  const timespec times[2] = {old.st_atim, old.st_mtim};
  futimens(target.get(), times);
  return target.Close() ? 0 : errno;
}

int CopyFolder(int from, const char* from_name, const struct stat& old, int to,
               const char* to_name) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor listed(openat(from, from_name, kFlags));
  if (!listed) return errno;
  if (mkdirat(to, to_name, 0700) != 0) return errno;
  const Descriptor target(openat(to, to_name, kFlags));
  if (!target) return errno;
  const int source = listed.get();
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(source), closedir);
  if (!entries) return errno;
  listed.Give();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(entries.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (const int error = CopyEntry(source, entry->d_name, target.get(), entry->d_name)) {
      return error;
    }
  }
  if (errno != 0) return errno;
  KeepProperties(source, old, target.get());
  const timespec times[2] = {old.st_atim, old.st_mtim};
  futimens(target.get(), times);
  return 0;
}

// A link or a special file, which has no content to copy.
int CopyNode(int from, const char* from_name, const struct stat& old, int to, const char* to_name) {
  if (S_ISLNK(old.st_mode)) {
    char text[PATH_MAX];
    const ssize_t length = readlinkat(from, from_name, text, sizeof text - 1);
    if (length < 0) return errno;
    text[length] = '\0';
    if (symlinkat(text, to, to_name) != 0) return errno;
  } else if (mknodat(to, to_name, old.st_mode, old.st_rdev) != 0) {
    return errno;
  }
  // Where the rights do not suffice the copy belongs to who made it.
  [[maybe_unused]] const int owned =
      fchownat(to, to_name, old.st_uid, old.st_gid, AT_SYMLINK_NOFOLLOW);
  const timespec times[2] = {old.st_atim, old.st_mtim};
  utimensat(to, to_name, times, AT_SYMLINK_NOFOLLOW);
  return 0;
}

int CopyEntry(int from, const char* from_name, int to, const char* to_name) {
  struct stat old;
  if (fstatat(from, from_name, &old, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (S_ISREG(old.st_mode)) return CopyFile(from, from_name, old, to, to_name);
  if (S_ISDIR(old.st_mode)) return CopyFolder(from, from_name, old, to, to_name);
  return CopyNode(from, from_name, old, to, to_name);
}

bool Exists(const AtPath& path) {
  struct stat attributes;
  return fstatat(path.folder(), path.name(), &attributes, AT_SYMLINK_NOFOLLOW) == 0;
}

int RemoveTree(const AtPath& path) {
  std::error_code error;
  std::filesystem::remove_all(path.ShortPath(), error);
  return error.value();
}

// Puts everything of the volume of a path on disk.
int FlushVolume(const AtPath& path) {
  const Descriptor place(openat(path.folder(), path.name(),
                                O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  // A link or special file cannot be opened and has nothing that could be lost halfway.
  return place && syncfs(place.get()) != 0 ? errno : 0;
}

}  // namespace

int CopyThenRemove(const std::string& from, const std::string& to) {
  const AtPath source(from), target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  if (Exists(target)) return EEXIST;
  int error = CopyEntry(source.folder(), source.name(), target.folder(), target.name());
  if (error == EEXIST) return error;
  if (error == 0) error = FlushVolume(target);
  if (error != 0) {
    RemoveTree(target);
    return error;
  }
  return RemoveTree(source);
}

int MoveWithoutReplacing(const std::string& from, const std::string& to) {
  const AtPath source(from), target(to);
  if (source.error() != 0) return source.error();
  if (target.error() != 0) return target.error();
  if (renameat2(source.folder(), source.name(), target.folder(), target.name(), RENAME_NOREPLACE) ==
      0) {
    return 0;
  }
  if (errno == EXDEV) return CopyThenRemove(from, to);
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The volume does not know the flag, or the folder would go into itself, which fails again.
  if (Exists(target)) return EEXIST;
  return renameat(source.folder(), source.name(), target.folder(), target.name()) == 0 ? 0 : errno;
}

}  // namespace orvik::host
