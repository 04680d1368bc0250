#include "platform/carbon/file_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "platform/carbon/catalog.h"
#include "platform/carbon/fork_names.h"
#include "platform/carbon/fsref_internal.h"
#include "host/at_path.h"
#include "host/content_copy.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"
#include "host/system_root.h"

namespace orvik {
namespace {

using carbon::CatalogRecord;

OSErr Status(int error) {
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

timespec TimeOf(const struct statx_timestamp& time) {
  return {time.tv_sec, static_cast<long>(time.tv_nsec)};
}

int CopyLink(int from, const char* from_name, const struct statx& info, int to,
             const char* to_name) {
  if (const int error = host::CopyLinkText(from, from_name, to, to_name)) return error;
  const timespec times[2] = {TimeOf(info.stx_atime), TimeOf(info.stx_mtime)};
  if (utimensat(to, to_name, times, AT_SYMLINK_NOFOLLOW) == 0) return 0;
  const int error = errno;
  unlinkat(to, to_name, 0);
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

// What is known of a source before its copy is made.
struct Source {
  host::Descriptor file;
  struct statx info {};
  std::vector<std::string> forks;
  CatalogRecord record;  // as the copy is to have it, but for the lock
  bool is_locked = false;
};

// Opens a regular file; `expected` may be null.
int OpenSource(int folder, const char* name, const FSRef* expected, Source* source) {
  source->file = host::Descriptor(
      openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!source->file) return errno;
  if (const int error = carbon::StatDescriptor(source->file.get(), &source->info)) return error;
  if (expected != nullptr && !carbon::IsReferent(*expected, source->info)) return ENOENT;
  return S_ISREG(source->info.stx_mode) ? 0 : EINVAL;
}

int ReadCatalog(Source* source) {
  bool has_record = false;
  const int file = source->file.get();
  if (const int error = carbon::ListForkAttributes(file, &source->forks, &has_record)) return error;
  CatalogRecord& record = source->record;
  if (has_record) {
    if (const int error = carbon::ReadCatalogRecord({file, nullptr}, &record)) return error;
  }
  const struct statx& info = source->info;
  source->is_locked = record.locked || carbon::IsImmutable(info);
  record.locked = false;
  // The copy is born later and takes the modification date over, so that its own creation date is
  // that. To the second it is mostly the right one, and no record is needed.
  const statx_timestamp created = carbon::NaturalCreation(info);
  if (!record.has_create_date && created.tv_sec != info.stx_mtime.tv_sec) {
    record.has_create_date = true;
    record.create_date = carbon::DateFromTimestamp(created.tv_sec, created.tv_nsec);
  }
  return 0;
}

int FillCopy(const Source& source, int target, bool has_record) {
  const struct statx& info = source.info;
  const host::ContentSize size{static_cast<long long>(info.stx_size),
                               static_cast<long long>(info.stx_blocks) * 512};
  const int from = source.file.get();
  if (const int error = CopyNamedForks(from, target, source.forks)) return error;
  if (const int error = host::CopyContent(from, target, size, kForkCopyBufferSize)) return error;
  if (has_record || !source.record.empty()) {
    if (const int error = StoreRecord(target, source.record)) return error;
  }
  if (fchmod(target, FinalMode(info, target)) != 0) return errno;
  const timespec times[2] = {TimeOf(info.stx_atime), TimeOf(info.stx_mtime)};
  if (futimens(target, times) != 0) return errno;
  if (!source.is_locked) return 0;
  CatalogRecord record = source.record;
  return carbon::SetLocked({target, nullptr}, true, &record);
}

// A copy that has its name from the start. Whoever meets it before it is whole, also after its
// maker was killed, sees the busy type.
int CopyMarked(const Source& source, int folder, const char* name, OSType busy_type) {
  const mode_t mode = (source.info.stx_mode & 0777) | S_IRWXU;
  host::Descriptor target(openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!target) return errno;
  CatalogRecord busy = source.record;
  busy.finder_info.fdType = busy_type;
  int error = StoreRecord(target.get(), busy);
  if (error == 0) error = FillCopy(source, target.get(), true);
  if (!target.Close() && error == 0) error = errno;
  if (error != 0) unlinkat(folder, name, 0);
  return error;
}

// A copy that gets its name when it is whole, so that nobody meets it before. ENOTSUP where the
// volume or the rights do not allow that.
int CopyUnnamed(const Source& source, int folder, const char* name) {
  const host::Descriptor target(openat(folder, ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, S_IRWXU));
  if (!target) return ENOTSUP;
  if (const int error = FillCopy(source, target.get(), false)) return error;
  if (linkat(target.get(), "", folder, name, AT_EMPTY_PATH) == 0) return 0;
  return errno == EEXIST ? EEXIST : ENOTSUP;
}

// The file of a reference, which may have moved.
int OpenReferent(const FSRef& ref, Source* source) {
  int error;
  {
    const host::AtPath at{ref.path};
    error = at.error() != 0 ? at.error() : OpenSource(at.folder(), at.name(), &ref, source);
  }
  if (error == 0) return 0;
  std::string present;
  if (const int lost = carbon::LocateReference(ref, &present, nullptr)) return lost;
  if (present == ref.path) return error;
  const host::AtPath at{present};
  return at.error() != 0 ? at.error() : OpenSource(at.folder(), at.name(), &ref, source);
}

int CopyRegularFile(const FSRef& ref, const host::AtPath& target, OSType busy_type) {
  Source source;
  if (const int error = OpenReferent(ref, &source)) return error;
  if (const int error = ReadCatalog(&source)) return error;
  return CopyMarked(source, target.folder(), target.name(), busy_type);
}

int CopyLinkOf(const FSRef& source, const host::AtPath& target) {
  std::string path;
  struct statx info {};
  if (const int error = carbon::LocateReference(source, &path, &info)) return error;
  const host::AtPath at{path};
  return at.error() != 0 ? at.error()
                         : CopyLink(at.folder(), at.name(), info, target.folder(), target.name());
}

// Opens the folder that a reference names or leads to.
int OpenFolder(const FSRef& ref, host::Descriptor* folder) {
  std::string path;
  if (const int error = carbon::LocateReference(ref, &path, nullptr)) return error;
  const host::AtPath at{path};
  if (at.error() != 0) return at.error();
  *folder = host::Descriptor(openat(at.folder(), at.name(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  return *folder ? 0 : errno;
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

OSErr FSFolderCopier::Open(const FSRef* from, const FSRef* to) {
  if (from == nullptr || to == nullptr) return paramErr;
  if (const int error = OpenFolder(*from, &from_)) return Status(error);
  return Status(OpenFolder(*to, &to_));
}

OSErr FSFolderCopier::CopyFile(unsigned long name_length, const UniChar* name, OSType busy_type) {
  const std::optional<std::string> bytes = host::FileNameToBytes({name, name_length});
  if (!bytes || bytes->find('/') != std::string::npos) return bdNamErr;
  const char* const path = bytes->c_str();
  Source source;
  int error = OpenSource(from_.get(), path, nullptr, &source);
  if (error == ELOOP) {
    error = carbon::StatAt(from_.get(), path, carbon::Leaf::kKeep, &source.info);
    if (error == 0) error = CopyLink(from_.get(), path, source.info, to_.get(), path);
    return Status(error);
  }
  if (error == 0) error = ReadCatalog(&source);
  if (error != 0) return Status(error);
  const bool is_short = source.info.stx_size <= kForkCopyBufferSize && !source.is_locked;
  if (is_short && can_name_later_) {
    error = CopyUnnamed(source, to_.get(), path);
    if (error != ENOTSUP) return Status(error);
    can_name_later_ = false;
  }
  return Status(CopyMarked(source, to_.get(), path, busy_type));
}

}  // namespace orvik
