#include "host/file_replacement.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/trust.h"

namespace orvik::host {

int FileReplacement::Open(const std::string& path, const std::string& spare_folder) {
  place_ = FindPlace(path, Links::kTrusted);
  if (!place_) return place_.error;
  if (place_.name.empty()) return EISDIR;
  const int folder = place_.folder.get();
  const char* const name = place_.name.c_str();
  struct stat attributes;
  const bool exists = fstatat(folder, name, &attributes, AT_SYMLINK_NOFOLLOW) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists) {
    is_device_ = S_ISCHR(attributes.st_mode);
    if (S_ISDIR(attributes.st_mode)) return EISDIR;
    if (!S_ISREG(attributes.st_mode) && !is_device_) return EINVAL;
    if (!MayReplace(attributes, place_.folder_attributes)) return EACCES;
    constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    old_ = Descriptor(openat(folder, name, kFlags));
    if (!old_) return errno;
  }
  if (!is_device_) {
    staged_.emplace(folder, place_.name);
    const int refusal = staged_->Make(old_ ? 0600 : 0666);
    const bool takes_none = refusal == EACCES || refusal == EPERM || refusal == EROFS;
    if (refusal == 0 || !exists || !takes_none) return refusal;
    staged_.reset();
  }
  spare_ = MakeTemporaryFile(spare_folder);
  if (!spare_) spare_ = Descriptor(memfd_create("orvik-spare", MFD_CLOEXEC));
  return spare_ ? 0 : errno;
}

int FileReplacement::Write(std::string_view bytes) {
  return WriteAll(descriptor(), bytes);
}

std::size_t FileReplacement::Read(void* buffer, std::size_t count, std::uint64_t position) const {
  std::size_t done = 0;
  return ReadAt(descriptor(), buffer, count, static_cast<off_t>(position), &done) == 0 ? done : 0;
}

int FileReplacement::Commit() {
  if (!old_) return staged_->Commit(-1);
  struct stat old, made;
  if (fstat(old_.get(), &old) != 0) return errno;
  const bool may_write_into = is_device_ || MayWriteInto(old, place_.folder_attributes);
  if (!staged_) return may_write_into ? WriteIntoTarget() : EACCES;
  KeepProperties(old_.get(), old, staged_->descriptor());
  if (fstat(staged_->descriptor(), &made) != 0) return errno;
  const bool is_alike = made.st_uid == old.st_uid && made.st_gid == old.st_gid &&
                        made.st_mode == old.st_mode && old.st_nlink <= 1;
  // What others have put in the place of the old file meanwhile is replaced.
  const bool is_there = HasName(old_.get(), place_.folder.get(), place_.name.c_str());
  if (!is_alike && is_there && may_write_into) return WriteIntoTarget();
  const int error = staged_->Commit(is_there ? old_.get() : -1);
  // A mount point keeps its name.
  return error == EBUSY && is_there && may_write_into ? WriteIntoTarget() : error;
}

int FileReplacement::WriteIntoTarget() const {
  struct stat content, target;
  if (fstat(descriptor(), &content) != 0 || fstat(old_.get(), &target) != 0) return errno;
  const bool is_file = S_ISREG(target.st_mode);
  if (is_file && content.st_size > 0 &&
      fallocate(old_.get(), FALLOC_FL_KEEP_SIZE, 0, content.st_size) != 0 &&
      (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) {
    return errno;
  }
  char buffer[1 << 16];
  for (off_t at = 0; at < content.st_size;) {
    const std::size_t count = Read(buffer, sizeof buffer, static_cast<std::uint64_t>(at));
    if (count == 0) return EIO;
    const std::string_view piece(buffer, count);
    const int error = is_file ? WriteAllAt(old_.get(), piece, at) : WriteAll(old_.get(), piece);
    if (error != 0) return error;
    at += static_cast<off_t>(count);
  }
  return !is_file || ftruncate(old_.get(), content.st_size) == 0 ? 0 : errno;
}

}  // namespace orvik::host
