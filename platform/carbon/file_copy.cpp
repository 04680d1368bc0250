#include "platform/carbon/file_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/carbon/catalog.h"
#include "platform/carbon/fork_names.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/host/at_path.h"
#include "platform/host/content_copy.h"
#include "platform/host/errno_status.h"
#include "platform/host/system_root.h"

namespace orvik {
namespace {

using carbon::CatalogRecord;

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

timespec TimeOf(const struct statx_timestamp& time) {
  return {time.tv_sec, time.tv_nsec};
}

int CopyTimes(const struct statx& info, int descriptor, const host::AtPath& target) {
  const timespec times[2] = {TimeOf(info.stx_atime), TimeOf(info.stx_mtime)};
  const int result = descriptor >= 0
                         ? futimens(descriptor, times)
                         : utimensat(target.folder(), target.name(), times, AT_SYMLINK_NOFOLLOW);
  return result == 0 ? 0 : errno;
}

int CopyLink(const host::AtPath& source, const struct statx& info, const host::AtPath& target) {
  if (const int error =
          host::CopyLinkText(source.folder(), source.name(), target.folder(), target.name())) {
    return error;
  }
  const int error = CopyTimes(info, -1, target);
  if (error != 0) unlinkat(target.folder(), target.name(), 0);
  return error;
}

int CopyNamedForks(int source, int target, const std::vector<std::string>& attributes) {
  std::string value;
  for (const std::string& attribute : attributes) {
    if (const int error = carbon::ReadForkAttribute(source, attribute, &value)) {
      if (error == ENODATA) continue;  // removed meanwhile
      return error;
    }
    if (fsetxattr(target, attribute.c_str(), value.data(), value.size(), XATTR_CREATE) != 0) {
      return errno;
    }
  }
  return 0;
}

// A file system without attributes loses the finder information, as setting it there does.
int StoreRecord(int target, const CatalogRecord& record) {
  const int error = carbon::WriteCatalogRecord({target, nullptr}, record);
  return error == ENOTSUP ? 0 : error;
}

mode_t FinalMode(const struct statx& source, int target) {
  mode_t mode = source.stx_mode & 07777;
  struct stat copy {};
  if ((mode & (S_ISUID | S_ISGID)) != 0 &&
      (fstat(target, &copy) != 0 || copy.st_uid != source.stx_uid ||
       copy.st_gid != source.stx_gid)) {
    mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
  }
  return mode;
}

int FillCopy(int source, const struct statx& info, int target, const host::AtPath& target_at,
             OSType busy_type) {
  std::vector<std::string> attributes;
  bool has_record = false;
  if (const int error = carbon::ListForkAttributes(source, &attributes, &has_record)) return error;
  CatalogRecord record;
  if (has_record) {
    if (const int error = carbon::ReadCatalogRecord({source, nullptr}, &record)) return error;
  }
  const bool locked = record.locked || carbon::IsImmutable(info);
  // The copy is born later and takes the modification date over, so that its own creation date is
  // that. To the second it is mostly the right one, and no record is needed.
  const statx_timestamp created = carbon::NaturalCreation(info);
  if (!record.has_create_date && created.tv_sec != info.stx_mtime.tv_sec) {
    record.has_create_date = true;
    record.create_date = carbon::DateFromTimestamp(created.tv_sec, created.tv_nsec);
  }
  record.locked = false;
  // Whoever meets the copy before it is whole, also after its maker was killed, sees this type.
  CatalogRecord busy = record;
  busy.finder_info.fdType = busy_type;
  if (const int error = StoreRecord(target, busy)) return error;
  const host::ContentSize size{static_cast<long long>(info.stx_size),
                               static_cast<long long>(info.stx_blocks) * 512};
  if (const int error = CopyNamedForks(source, target, attributes)) return error;
  if (const int error = host::CopyContent(source, target, size, kForkCopyBufferSize)) return error;
  if (const int error = StoreRecord(target, record)) return error;
  if (fchmod(target, FinalMode(info, target)) != 0) return errno;
  if (const int error = CopyTimes(info, target, target_at)) return error;
  return locked ? carbon::SetLocked({target, nullptr}, true, &record) : 0;
}

// Opens the file where it was last seen.
int OpenSource(const std::string& path, const FSRef& source, struct statx* info, int* error) {
  const host::AtPath at{path};
  *error = at.error();
  if (*error != 0) return -1;
  const int descriptor =
      openat(at.folder(), at.name(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) {
    *error = errno;
    return -1;
  }
  *error = carbon::StatDescriptor(descriptor, info);
  if (*error == 0 && !carbon::IsReferent(source, *info)) *error = ENOENT;
  if (*error == 0) return descriptor;
  close(descriptor);
  return -1;
}

int CopyRegularFile(const FSRef& source, const host::AtPath& target, OSType busy_type) {
  struct statx info {};
  int error = 0;
  int from = OpenSource(source.path, source, &info, &error);
  if (from < 0) {
    std::string present;
    if (const int lost = carbon::LocateReference(source, &present, nullptr)) return lost;
    if (present == source.path) return error;
    from = OpenSource(present, source, &info, &error);
    if (from < 0) return error;
  }
  const mode_t mode = (info.stx_mode & 0777) | S_IRWXU;
  const int to =
      openat(target.folder(), target.name(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (to < 0) {
    error = errno;
  } else {
    error = FillCopy(from, info, to, target, busy_type);
    if (close(to) != 0 && error == 0) error = errno;
    if (error != 0) unlinkat(target.folder(), target.name(), 0);
  }
  close(from);
  return error;
}

int CopyLinkOf(const FSRef& source, const host::AtPath& target) {
  std::string path;
  struct statx info {};
  if (const int error = carbon::LocateReference(source, &path, &info)) return error;
  const host::AtPath at{path};
  return at.error() != 0 ? at.error() : CopyLink(at, info, target);
}

}  // namespace

OSErr FSCopyFileAs(const FSRef* source, const UInt8* target_path, OSType busy_type) {
  if (source == nullptr || target_path == nullptr) return paramErr;
  const bool link = S_ISLNK(source->kind);
  if (!link && !S_ISREG(source->kind)) return notAFileErr;
  const std::string path = host::ResolvePath(reinterpret_cast<const char*>(target_path));
  const host::AtPath target{path};
  if (target.error() != 0) return Status(target.error());
  return Status(link ? CopyLinkOf(*source, target) : CopyRegularFile(*source, target, busy_type));
}

}  // namespace orvik
