#include "host/private_files.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/file_place.h"
#include "host/node_copy.h"

namespace orvik::host {

namespace {

// Returns the folder if it belongs to the caller and no other user may enter it; otherwise none,
// with errno.
Descriptor IfPrivate(Descriptor folder) {
  struct stat info = {};
  if (!folder || fstat(folder.get(), &info) != 0) return {};
  if (info.st_uid == geteuid() && (info.st_mode & 077) == 0) return folder;
  errno = EPERM;
  return {};
}

}  // namespace

Descriptor MakePrivateFolder(const std::string& prefix, std::string* path) {
  *path = prefix + "XXXXXX";
  if (mkdtemp(path->data()) == nullptr) return {};
  Descriptor folder = IfPrivate(Descriptor(open(path->c_str(), kOpenFolder)));
  if (folder) return folder;
  const int error = errno;
  rmdir(path->c_str());
  errno = error;
  return {};
}

Descriptor OpenPrivateFolder(const std::string& base, std::span<const char* const> names,
                             bool make) {
  const int links = geteuid() == 0 ? O_NOFOLLOW : 0;
  Descriptor folder(open(base.c_str(), kOpenPlace));
  for (const char* const& name : names) {
    if (!folder) return folder;
    if (make && mkdirat(folder.get(), name, 0700) != 0 && errno != EEXIST) return {};
    const int flags = &name == &names.back() ? O_NOFOLLOW : links;
    folder = Descriptor(openat(folder.get(), name, kOpenPlace | flags));
  }
  return IfPrivate(std::move(folder));
}

int WritePrivateFile(int folder, const char* name, std::string_view content) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  Descriptor file(openat(folder, name, kFlags, 0600));
  if (!file) return errno;
  int error = WriteAll(file.get(), content);
  if (error == 0 && fsync(file.get()) != 0) error = errno;
  if (!file.Close() && error == 0) error = errno;
  if (error == 0) error = FlushNames(folder, -1);
  if (error == 0) error = FlushWay(folder);
  if (error != 0) unlinkat(folder, name, 0);
  return error;
}

int ReadPrivateFile(int folder, const char* name, std::size_t limit, std::string* content) {
  content->clear();
  const Descriptor file = OpenRegular(folder, name, O_RDONLY | O_NOFOLLOW);
  if (!file) return errno == ELOOP ? EPERM : errno;
  const std::optional<std::uint64_t> size = SizeOfRegular(file.get());
  if (!size || !IsOwnFile(file.get(), folder, name)) return EPERM;
  if (*size > limit) return EFBIG;
  content->resize(*size);
  std::size_t done = 0;
  const int error = ReadAt(file.get(), content->data(), content->size(), 0, &done);
  content->resize(error == 0 ? done : 0);
  return error;
}

}  // namespace orvik::host
