#include "host/file_replacement.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>

#include "host/descriptor.h"
#include "host/file_place.h"
#include "host/file_properties.h"
#include "host/staged_file.h"
#include "host/trust.h"

namespace orvik::host {
namespace {

// Writes the content of the file `from` into the file `to`.
int WriteIntoTarget(int from, int to) {
  struct stat content, target;
  if (fstat(from, &content) != 0 || fstat(to, &target) != 0) return errno;
  const bool is_file = S_ISREG(target.st_mode);
  if (is_file && content.st_size > 0 &&
      fallocate(to, FALLOC_FL_KEEP_SIZE, 0, content.st_size) != 0 &&
      (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) {
    return errno;
  }
  char buffer[1 << 16];
  for (off_t at = 0; at < content.st_size;) {
    std::size_t count = 0;
    if (const int error = ReadAt(from, buffer, sizeof buffer, at, &count)) return error;
    if (count == 0) return EIO;
    const std::string_view piece(buffer, count);
    const int error = is_file ? WriteAllAt(to, piece, at) : WriteAll(to, piece);
    if (error != 0) return error;
    at += static_cast<off_t>(count);
  }
  return !is_file || ftruncate(to, content.st_size) == 0 ? 0 : errno;
}

}  // namespace

struct FileReplacement::State {
  // The descriptor of the new content.
  int descriptor() const { return staged ? staged->descriptor() : spare.get(); }

  bool is_device = false;
  FilePlace place;
  Descriptor old;  // the target, when it exists
  std::optional<StagedFile> staged;
  Descriptor spare;
};

FileReplacement::FileReplacement() : state_(std::make_unique<State>()) {}

FileReplacement::~FileReplacement() = default;

bool FileReplacement::is_device() const {
  return state_->is_device;
}

int FileReplacement::Open(const std::string& path, const std::string& spare_folder) {
  state_->place = FindPlace(path, Links::kTrusted);
  if (!state_->place) return state_->place.error;
  if (state_->place.name.empty()) return EISDIR;
  const int folder = state_->place.folder.get();
  const char* const name = state_->place.name.c_str();
  struct stat attributes;
  const bool exists = fstatat(folder, name, &attributes, AT_SYMLINK_NOFOLLOW) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists) {
    state_->is_device = S_ISCHR(attributes.st_mode);
    if (S_ISDIR(attributes.st_mode)) return EISDIR;
    if (!S_ISREG(attributes.st_mode) && !state_->is_device) return EINVAL;
    if (!MayReplace(attributes, state_->place.folder_attributes)) return EACCES;
    constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    state_->old = Descriptor(openat(folder, name, kFlags));
    if (!state_->old) return errno;
  }
  if (!state_->is_device) {
    state_->staged.emplace(folder, state_->place.name);
    const int refusal = state_->staged->Make(state_->old ? 0600 : 0666);
    const bool takes_none = refusal == EACCES || refusal == EPERM || refusal == EROFS;
    if (refusal == 0 || !exists || !takes_none) return refusal;
    state_->staged.reset();
  }
  state_->spare = MakeTemporaryFile(spare_folder);
  if (!state_->spare) state_->spare = Descriptor(memfd_create("orvik-spare", MFD_CLOEXEC));
  return state_->spare ? 0 : errno;
}

int FileReplacement::Write(std::string_view bytes) {
  return WriteAll(state_->descriptor(), bytes);
}

std::size_t FileReplacement::Read(void* buffer, std::size_t count, std::uint64_t position) const {
  std::size_t done = 0;
  return ReadAt(state_->descriptor(), buffer, count, static_cast<off_t>(position), &done) == 0
             ? done
             : 0;
}

int FileReplacement::Commit() {
  if (!state_->old) return state_->staged->Commit(-1);
  const int target = state_->old.get();
  struct stat old, made;
  if (fstat(target, &old) != 0) return errno;
  const auto write_into = [&] { return WriteIntoTarget(state_->descriptor(), target); };
  const bool may_write_into =
      state_->is_device || MayWriteInto(old, state_->place.folder_attributes);
  if (!state_->staged) return may_write_into ? write_into() : EACCES;
  KeepProperties(target, old, state_->staged->descriptor());
  if (fstat(state_->staged->descriptor(), &made) != 0) return errno;
  const bool is_alike = made.st_uid == old.st_uid && made.st_gid == old.st_gid &&
                        made.st_mode == old.st_mode && old.st_nlink <= 1;
  // If another process has put a new file under the name, that file is replaced.
  const bool is_there = HasName(target, state_->place.folder.get(), state_->place.name.c_str());
  if (!is_alike && is_there && may_write_into) return write_into();
  const int error = state_->staged->Commit(is_there ? target : -1);
  // A mount point cannot be replaced.
  return error == EBUSY && is_there && may_write_into ? write_into() : error;
}

}  // namespace orvik::host
