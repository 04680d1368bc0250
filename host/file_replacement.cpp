#include "host/file_replacement.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/file_properties.h"
#include "host/temporary_file.h"

namespace orvik::host {

namespace {

// The path of what a final symbolic link points to in the end, whether or not that exists.
int FollowLinks(std::string* path) {
  constexpr int kMaximumLinks = 40;
  for (int links = 0; links <= kMaximumLinks; ++links) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path->c_str(), target, sizeof target);
    if (length < 0) return errno == EINVAL || errno == ENOENT ? 0 : errno;
    if (static_cast<std::size_t>(length) == sizeof target) return ENAMETOOLONG;
    std::string next(target, static_cast<std::size_t>(length));
    *path = next.starts_with('/') ? next : FolderOf(*path) + '/' + next;
  }
  return ELOOP;
}

}  // namespace

int FileReplacement::Open(const std::string& path, const std::string& spare_folder) {
  target_ = path;
  if (const int error = FollowLinks(&target_)) return error;
  if (target_.empty() || target_.ends_with('/')) return target_.empty() ? ENOENT : EISDIR;
  struct stat attributes;
  const bool exists = stat(target_.c_str(), &attributes) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists) {
    if (S_ISDIR(attributes.st_mode)) return EISDIR;
    is_device_ = S_ISCHR(attributes.st_mode);
    if (!S_ISREG(attributes.st_mode) && !is_device_) return EINVAL;
    old_ = Descriptor(open(target_.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!old_) return errno;
  }
  int error = 0;
  if (!is_device_) {
    error = OpenStaged();
    if (error == 0) return 0;
    staged_.reset();
    const bool takes_none = error == EACCES || error == EPERM || error == EROFS;
    if (!exists || !takes_none) return error;
  }
  spare_ = MakeTemporaryFile(spare_folder);
  return spare_ ? 0 : errno;
}

int FileReplacement::OpenStaged() {
  folder_ = Descriptor(open(FolderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder_) return errno;
  staged_.emplace(folder_.get(), NameOf(target_));
  return staged_->Make(old_ ? 0600 : 0666);
}

int FileReplacement::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

std::size_t FileReplacement::Read(void* buffer, std::size_t count, std::uint64_t position) const {
  for (;;) {
    const ssize_t got = pread(descriptor(), buffer, count, static_cast<off_t>(position));
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) return 0;
  }
}

int FileReplacement::Commit() {
  if (!old_) return staged_->Commit(-1);
  if (!staged_) return WriteIntoTarget();
  struct stat old, made;
  if (fstat(old_.get(), &old) != 0) return errno;
  KeepProperties(old_.get(), old, staged_->descriptor());
  if (fstat(staged_->descriptor(), &made) != 0) return errno;
  const bool is_alike = made.st_uid == old.st_uid && made.st_gid == old.st_gid &&
                        made.st_mode == old.st_mode && old.st_nlink <= 1;
  // What others have put in the place of the old file meanwhile is replaced.
  const bool is_there = HasName(old_.get(), folder_.get(), NameOf(target_).c_str());
  return is_alike || !is_there ? staged_->Commit(is_there ? old_.get() : -1) : WriteIntoTarget();
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
    for (std::size_t done = 0; done < count;) {
      const ssize_t written = is_file ? pwrite(old_.get(), buffer + done, count - done, at)
                                      : write(old_.get(), buffer + done, count - done);
      if (written < 0 && errno != EINTR) return errno;
      if (written <= 0) continue;
      done += static_cast<std::size_t>(written);
      at += written;
    }
  }
  return !is_file || ftruncate(old_.get(), content.st_size) == 0 ? 0 : errno;
}

}  // namespace orvik::host
