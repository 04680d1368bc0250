#include "host/temporary_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

#include "host/staged_file.h"

namespace orvik::host {

bool IsOwnFile(int file, int folder, const char* name) {
  struct stat own;
  return HasName(file, folder, name) && fstat(file, &own) == 0 && own.st_uid == geteuid() &&
         S_ISREG(own.st_mode);
}

Descriptor MakeLockedFile(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  Descriptor file(open(path.c_str(), kFlags, 0666));
  if (!file) return file;
  if (LockNew(file.get(), AT_FDCWD, path.c_str())) return file;
  errno = EEXIST;
  return Descriptor();
}

void RemoveAbandonedFiles(const std::string& folder, std::string_view beginning,
                          std::string_view end) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), closedir);
  if (!entries) return;
  const int parent = dirfd(entries.get());
  while (const dirent* const entry = readdir(entries.get())) {
    const std::string_view name = entry->d_name;
    if (!name.starts_with(beginning) || !name.ends_with(end)) continue;
    const Descriptor file(
        openat(parent, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0 &&
        IsOwnFile(file.get(), parent, entry->d_name)) {
      unlinkat(parent, entry->d_name, 0);
    }
  }
}

}  // namespace orvik::host
