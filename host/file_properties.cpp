#include "host/file_properties.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "host/creation_date.h"

namespace orvik::host {

namespace {

// A name or value may be larger than what fits a small buffer; the kernel's limit for both.
constexpr std::size_t kSmall = 512;
constexpr std::size_t kLargest = 65536;

// Calls `read` (a system call that fills a buffer and answers ERANGE when it is too small) until
// the answer fits.
template <typename Read>
int ReadGrowing(std::string* buffer, Read read) {
  for (std::size_t size = kSmall;; size = kLargest) {
    buffer->resize(size);
    const ssize_t length = read(buffer->data(), size);
    if (length >= 0) {
      buffer->resize(static_cast<std::size_t>(length));
      return 0;
    }
    if (errno != ERANGE || size == kLargest) return errno;
  }
}

bool CannotBeKept(int error) {
  return error == ENOTSUP || error == EPERM || error == EACCES || error == ERANGE ||
         error == E2BIG || error == EINVAL;
}

bool IsCopied(std::string_view name, Owner owner) {
  return owner == Owner::kSource || name.starts_with("user.") ||
         name.starts_with("system.posix_acl_");
}

int CopyAttribute(int from, const char* name, int to, std::string* value) {
  const int error = ReadGrowing(
      value, [&](char* data, std::size_t size) { return fgetxattr(from, name, data, size); });
  if (error == ENODATA) return 0;  // removed meanwhile
  if (error != 0) return CannotBeKept(error) ? 0 : error;
  if (fsetxattr(to, name, value->data(), value->size(), 0) == 0 || CannotBeKept(errno)) return 0;
  return errno;
}

}  // namespace

int CopyAttributes(int from, Owner owner, int to, bool* has_record) {
  if (has_record != nullptr) *has_record = false;
  std::string names, value;
  const int error = ReadGrowing(
      &names, [&](char* data, std::size_t size) { return flistxattr(from, data, size); });
  if (error != 0) return CannotBeKept(error) ? 0 : error;
  for (std::size_t start = 0; start < names.size();) {
    const std::string_view name = names.c_str() + start;
    start += name.size() + 1;
    if (has_record != nullptr && name == kCatalogAttribute) {
      *has_record = true;
    } else if (IsCopied(name, owner)) {
      if (const int failure = CopyAttribute(from, name.data(), to, &value)) return failure;
    }
  }
  return 0;
}

int CopyMode(const struct stat& old, Owner owner, int to) {
  struct stat present;
  if (fstat(to, &present) != 0) return errno;
  bool keeps_user = present.st_uid == old.st_uid;
  bool keeps_group = present.st_gid == old.st_gid;
  if (owner == Owner::kSource && !(keeps_user && keeps_group)) {
    if (fchown(to, old.st_uid, old.st_gid) == 0) {
      keeps_user = keeps_group = true;
    } else if (!keeps_group) {
      keeps_group = fchown(to, static_cast<uid_t>(-1), old.st_gid) == 0;
    }
  }
  // A program must not run with the rights of another than its author.
  mode_t mode = old.st_mode & 07777;
  if (!keeps_user) mode &= ~static_cast<mode_t>(S_ISUID);
  if (!keeps_group) mode &= ~static_cast<mode_t>(S_ISGID);
  if (mode == (present.st_mode & 07777) && mode <= 0777) return 0;
  return fchmod(to, mode) == 0 || CannotBeKept(errno) ? 0 : errno;
}

void KeepProperties(int from, const struct stat& old, int to) {
  if (from >= 0) CopyAttributes(from, Owner::kSource, to, nullptr);
  CopyMode(old, Owner::kSource, to);
}

}  // namespace orvik::host
