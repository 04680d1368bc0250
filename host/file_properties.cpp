#include "host/file_properties.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "host/creation_date.h"

namespace orvik::host {

namespace {

// The kernel's limit for a value, and for all names together.
constexpr std::size_t kLargest = 65536;

// What a system call read: in a small buffer, or in a large one when the small one did not do.
class ReadBytes {
 public:
  // `read` fills a buffer and fails with ERANGE when it is too small. 0 or an errno.
  template <typename Read>
  int From(Read read) {
    bytes_ = small_;
    length_ = read(small_, sizeof small_);
    if (length_ < 0 && errno == ERANGE) {
      if (!large_) large_ = std::make_unique_for_overwrite<char[]>(kLargest);
      bytes_ = large_.get();
      length_ = read(bytes_, kLargest);
    }
    return length_ < 0 ? errno : 0;
  }

  std::string_view view() const { return {bytes_, static_cast<std::size_t>(length_)}; }

 private:
  char small_[512];
  std::unique_ptr<char[]> large_;
  char* bytes_ = small_;
  ssize_t length_ = 0;
};

bool CannotBeKept(int error) {
  return error == ENOTSUP || error == EPERM || error == EACCES || error == ERANGE ||
         error == E2BIG || error == EINVAL;
}

bool IsCopied(std::string_view name, Owner owner) {
  return owner == Owner::kSource || name.starts_with("user.") ||
         name.starts_with("system.posix_acl_");
}

int CopyAttribute(int from, const char* name, int to, ReadBytes* value) {
  const int error =
      value->From([&](char* data, std::size_t size) { return fgetxattr(from, name, data, size); });
  if (error == ENODATA) return 0;  // removed meanwhile
  if (error != 0) return CannotBeKept(error) ? 0 : error;
  const std::string_view bytes = value->view();
  if (fsetxattr(to, name, bytes.data(), bytes.size(), 0) == 0 || CannotBeKept(errno)) return 0;
  return errno;
}

}  // namespace

int CopyAttributes(int from, Owner owner, int to, bool* has_record) {
  if (has_record != nullptr) *has_record = false;
  ReadBytes names, value;
  const int error =
      names.From([&](char* data, std::size_t size) { return flistxattr(from, data, size); });
  if (error != 0) return CannotBeKept(error) ? 0 : error;
  for (std::string_view rest = names.view(); !rest.empty();) {
    const std::string_view name = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(name.size() + 1);
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
