#include "host/file_properties.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace orvik::host {

namespace {

// Extended attributes that the rights or the volume do not allow are left out.
void CopyAttributes(int from, int to) {
  const ssize_t size = flistxattr(from, nullptr, 0);
  if (size <= 0) return;
  std::vector<char> names(static_cast<std::size_t>(size));
  const ssize_t length = flistxattr(from, names.data(), names.size());
  std::vector<char> value;
  for (ssize_t at = 0; at < length;) {
    const char* name = names.data() + at;
    at += static_cast<ssize_t>(std::char_traits<char>::length(name)) + 1;
    const ssize_t value_size = fgetxattr(from, name, nullptr, 0);
    if (value_size < 0) continue;
    value.resize(static_cast<std::size_t>(value_size));
    const ssize_t read_size = fgetxattr(from, name, value.data(), value.size());
    if (read_size >= 0) fsetxattr(to, name, value.data(), static_cast<std::size_t>(read_size), 0);
  }
}

}  // namespace

void KeepProperties(int from, const struct stat& old, int to) {
  struct stat present;
  if (fstat(to, &present) != 0) return;
  mode_t mode = old.st_mode & 07777;
  if (present.st_uid != old.st_uid || present.st_gid != old.st_gid) {
    const bool is_owned = fchown(to, old.st_uid, old.st_gid) == 0;
    // Somebody else's program must not run with the new owner's rights.
    if (!is_owned) mode &= ~static_cast<mode_t>(S_ISUID);
    if (!is_owned && fchown(to, static_cast<uid_t>(-1), old.st_gid) != 0) {
      mode &= ~static_cast<mode_t>(S_ISGID);
    }
  }
  CopyAttributes(from, to);
  if (mode != (present.st_mode & 07777) || mode > 0777) fchmod(to, mode);
}

}  // namespace orvik::host
