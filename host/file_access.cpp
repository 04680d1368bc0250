#include "host/file_access.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace orvik::host {

namespace {

int Access(const std::string& path, int mode) {
  return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0 ? 0 : errno;
}

}  // namespace

int ReplaceAccess(const std::string& path) {
  const int file = Access(path, W_OK);
  if (file != 0 && file != ENOENT) return file;
  // The nearest folder that exists is the one that would have to be written.
  std::string folder = path;
  for (;;) {
    const size_t slash = folder.rfind('/');
    folder = slash == std::string::npos ? "." : slash == 0 ? "/" : folder.substr(0, slash);
    const int status = Access(folder, W_OK | X_OK);
    if (status != ENOENT || folder == "/" || folder == ".") return status;
  }
}

}  // namespace orvik::host
