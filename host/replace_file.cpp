#include "host/replace_file.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "host/file_properties.h"
#include "host/staged_file.h"
#include "host/trust.h"

namespace orvik::host {
namespace {

constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

enum class End { kRead, kExpected };

// With End::kExpected, does not read again after the expected number of bytes.
int ReadAll(int descriptor, std::size_t expected, std::size_t limit, End end,
            std::string* content) {
  content->clear();
  // Reads one byte more than expected, so that the end is found without growing the buffer. The
  // files in /proc have no size.
  constexpr std::size_t kUnknownSize = 4096;
  std::size_t size = 0;
  if (expected > limit) return EFBIG;
  content->resize(expected == 0 ? kUnknownSize : expected + 1);
  for (;;) {
    std::size_t count = 0;
    int error = ReadSome(descriptor, content->data() + size, content->size() - size, &count);
    if (error == 0 && size + count > limit) error = EFBIG;
    if (error != 0) {
      content->clear();
      return error;
    }
    if (count == 0) break;
    size += count;
    if (end == End::kExpected && size == expected) break;
    if (size == content->size()) content->resize(size * 2);
  }
  content->resize(size);
  return 0;
}

int ReadOpened(int file, std::string* content, FileIdentity* identity, std::size_t limit,
               struct stat* attributes) {
  constexpr int kReadings = 5;
  for (int tries = 1;; ++tries) {
    struct stat before, after;
    if (fstat(file, &before) != 0) return errno;
    if (const int refusal = RefusalOf(before.st_mode)) return refusal;
    if (tries > 1 && lseek(file, 0, SEEK_SET) != 0) return errno;
    if (const int error = ReadAll(file, static_cast<std::size_t>(before.st_size), limit,
                                  identity != nullptr ? End::kExpected : End::kRead, content)) {
      return error;
    }
    if (attributes != nullptr) *attributes = before;
    if (identity == nullptr) return 0;
    if (fstat(file, &after) != 0) return errno;
    *identity = IdentityOf(before);
    // A file that is being written in place is read again until it no longer changes.
    if (*identity == IdentityOf(after) || tries == kReadings) return 0;
  }
}

// Opens regular files only. If no other user can change the name, it is examined and then opened in
// two calls.
Descriptor OpenRegularAt(const FilePlace& place, int access) {
  const int folder = place.folder.get();
  const char* const name = place.name.c_str();
  if (OthersCanChange(place.folder_attributes)) {
    return OpenRegular(folder, name, access | O_NOFOLLOW);
  }
  struct stat seen;
  if (fstatat(folder, name, &seen, AT_SYMLINK_NOFOLLOW) != 0) return {};
  if (const int refusal = RefusalOf(seen.st_mode)) {
    errno = refusal;
    return {};
  }
  return Descriptor(openat(folder, name, access | O_NOFOLLOW | kOpenFlags));
}

bool Holds(int file, std::size_t size, std::string_view content) {
  if (size != content.size()) return false;
  char buffer[1 << 16];
  for (off_t at = 0; !content.empty();) {
    std::size_t count = 0;
    const std::size_t wanted = std::min(sizeof buffer, content.size());
    if (ReadAt(file, buffer, wanted, at, &count) != 0 || count == 0) return false;
    if (!content.starts_with(std::string_view(buffer, count))) return false;
    content.remove_prefix(count);
    at += static_cast<off_t>(count);
  }
  return true;
}

// Gives every new file a distinct modification time. The kernel's clock for files advances in steps
// that are longer than a small change takes.
void StampTime(int descriptor) {
  timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {}};
  clock_gettime(CLOCK_REALTIME, &times[1]);
  futimens(descriptor, times);
}

// The folders that this thread will flush at the end of its FolderFlushDelay.
struct DelayedFlush {
  int delays = 0;
  int error = 0;  // of the first folder that could not be remembered
  std::vector<std::pair<FileIdentity, Descriptor>> folders;

  void Add(const FilePlace& place) {
    FileIdentity identity;
    identity.device = place.folder_attributes.st_dev;
    identity.inode = place.folder_attributes.st_ino;
    for (const auto& known : folders) {
      if (known.first == identity) return;
    }
    Descriptor own(fcntl(place.folder.get(), F_DUPFD_CLOEXEC, 0));
    if (!own) {
      error = error == 0 ? errno : error;
      return;
    }
    folders.emplace_back(identity, std::move(own));
  }
};

thread_local DelayedFlush delayed;

// Flushes the names in the file's folder, at once or at the end of a FolderFlushDelay.
int FlushFolderOf(const FilePlace& place) {
  if (delayed.delays == 0) return FlushFolder(place.folder.get());
  delayed.Add(place);
  return 0;
}

enum class Taken { kReplace, kRefuse };

// `old` is the file whose properties the new file gets; its descriptor may be empty. It is null
// when the name was free: `taken` says what happens when the name is taken meanwhile.
ReplaceResult Put(const FilePlace& place, std::string_view content, Flush flush,
                  const OpenedFile* old, Taken taken = Taken::kReplace) {
  ReplaceResult result;
  const auto fail = [&result](int error) {
    result.error = error;
    return result;
  };
  StagedFile file(place.folder.get(), place.name);
  const mode_t mode = old != nullptr ? old->attributes.st_mode & 0666 : 0666;
  if (const int error = file.Make(mode)) return fail(error);
  if (const int error = WriteAll(file.descriptor(), content)) return fail(error);
  const int replaced = old != nullptr ? old->descriptor.get() : -1;
  if (old != nullptr) {
    KeepProperties(replaced, old->attributes, file.descriptor());
  } else {
    struct stat made;
    InheritFromFolder(file.descriptor(), place.folder_attributes, &made);
  }
  StampTime(file.descriptor());
  if (flush == Flush::kToDisk && fsync(file.descriptor()) != 0) return fail(errno);
  // A file that must not replace another needs no staged name first.
  const bool refuses = old == nullptr && taken == Taken::kRefuse;
  int error = EEXIST;
  if (refuses) {
    error = file.CommitUnlessTaken();
  } else if (old == nullptr && !file.has_name()) {
    error = file.CommitAsNew();
  }
  if (error == EEXIST && !refuses) error = file.Commit(flush == Flush::kNone ? replaced : -1);
  if (error != 0) return fail(error);
  result.wrote = true;
  struct stat present;
  if (fstat(file.descriptor(), &present) == 0) result.identity = IdentityOf(present);
  if (flush == Flush::kToDisk) result.error = FlushFolderOf(place);
  return result;
}

// The file is complete as soon as it has its name.
int MakeNew(const std::string& path, std::string_view content) {
  const FilePlace place = FindEntry(path, Links::kTrusted);
  if (!place) return place.error;
  StagedFile file(place.folder.get(), place.name);
  if (const int error = file.Make(0666)) return error;
  if (const int error = WriteAll(file.descriptor(), content)) return error;
  return file.CommitAsNew();
}

// Whether the file, opened with O_NONBLOCK, may be written in place: 0, or an errno. Makes the
// descriptor blocking again.
int ReadyForOutput(int file, const FilePlace& place, int flags) {
  struct stat attributes;
  if (fstat(file, &attributes) != 0) return errno;
  if (!S_ISCHR(attributes.st_mode)) {
    if (const int refusal = RefusalOf(attributes.st_mode)) return refusal;
    if (!MayReplace(attributes, place.folder_attributes) ||
        !MayWriteInto(attributes, place.folder_attributes)) {
      return EACCES;
    }
    if ((flags & O_TRUNC) != 0 && ftruncate(file, 0) != 0) return errno;
  }
  const int status = fcntl(file, F_GETFL);
  return status >= 0 && fcntl(file, F_SETFL, status & ~O_NONBLOCK) == 0 ? 0 : errno;
}

}  // namespace

FolderFlushDelay::FolderFlushDelay() {
  ++delayed.delays;
}

FolderFlushDelay::~FolderFlushDelay() {
  if (!is_finished_) Finish();
}

int FolderFlushDelay::Finish() {
  is_finished_ = true;
  if (--delayed.delays > 0) return 0;
  const DelayedFlush ended = std::exchange(delayed, {});
  int first = ended.error;
  for (const auto& folder : ended.folders) {
    const int error = FlushFolder(folder.second.get());
    if (first == 0) first = error;
  }
  return first;
}

int FlushFile(int file, const FilePlace& place) {
  return fsync(file) == 0 ? FlushFolderOf(place) : errno;
}

int ReadWholeFile(const std::string& path, std::string* content, FileIdentity* identity,
                  std::size_t limit) {
  const Descriptor file = OpenRegular(path, O_RDONLY);
  if (!file) return errno;
  return ReadOpened(file.get(), content, identity, limit, nullptr);
}

int ReadWholeFile(const FilePlace& place, std::size_t limit, std::string* content,
                  OpenedFile* opened, int access) {
  opened->descriptor = OpenRegularAt(place, access);
  if (!opened->descriptor) return errno;
  return ReadOpened(opened->descriptor.get(), content, &opened->identity, limit,
                    &opened->attributes);
}

ReplaceResult ReplaceFile(const FilePlace& place, std::string_view content, Flush flush,
                          const OpenedFile& old) {
  if (!old.descriptor) return Put(place, content, flush, nullptr, Taken::kRefuse);
  if (faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0) {
    return {.error = errno, .identity = {}, .obstacle = {}};
  }
  return Put(place, content, flush, &old);
}

Descriptor OpenForOutput(const std::string& path, int flags) {
  const bool is_new = (flags & O_EXCL) != 0;
  const FilePlace place =
      is_new ? FindEntry(path, Links::kTrusted) : FindPlace(path, Links::kTrusted);
  errno = place.error != 0 ? place.error : place.name.empty() ? EISDIR : 0;
  if (errno != 0) return {};
  Descriptor file(openat(place.folder.get(), place.name.c_str(),
                         (flags & ~O_TRUNC) | O_NOFOLLOW | kOpenFlags, 0666));
  if (!file) {
    if (errno == ENXIO) errno = EINVAL;  // a pipe without a reader, a socket
    return {};
  }
  if (const int error = ReadyForOutput(file.get(), place, flags)) {
    file = {};
    errno = error;
  }
  return file;
}

namespace {

bool NamesDescriptor(const std::string& path) {
  return path.starts_with("/dev/fd/") || path.starts_with("/proc/self/fd/") ||
         path == "/dev/stdout" || path == "/dev/stderr";
}

}  // namespace

ReplaceResult WriteToSpecialFile(const std::string& path, std::string_view content) {
  constexpr int kFlags = O_WRONLY | O_NOCTTY | O_CLOEXEC;
  ReplaceResult result;
  Descriptor file;
  if (NamesDescriptor(path)) {
    file = Descriptor(open(path.c_str(), kFlags));
  } else {
    const FilePlace place = FindPlace(path, Links::kTrusted);
    result.error = place.error;
    result.obstacle = place.obstacle;
    struct stat there;
    if (place && StatEntry(place, &there) == 0 && !MayReplace(there, place.folder_attributes)) {
      result.error = EACCES;
      result.obstacle = place.path;
    }
    if (result.error != 0) return result;
    file = Descriptor(openat(place.folder.get(), place.name.c_str(), kFlags | O_NOFOLLOW));
  }
  result.error = file ? WriteAll(file.get(), content) : errno;
  if (!file.Close() && result.error == 0) result.error = errno;
  result.wrote = result.error == 0;
  return result;
}

ReplaceResult SupersedeFile(const FilePlace& place, std::string_view content) {
  return Put(place, content, Flush::kToDisk, nullptr);
}

ReplaceResult ReplaceFile(const std::string& path, std::string_view content,
                          const ReplaceOptions& options) {
  ReplaceResult result;
  if (options.present == Present::kRefuse) {
    result.error = MakeNew(path, content);
    result.wrote = result.error == 0;
    return result;
  }
  const Flush flush = options.flush;
  const FilePlace place = FindPlace(path, Links::kTrusted);
  result.error = place.error;
  result.obstacle = place.obstacle;
  if (!place) return result;
  // A file that cannot be read can still be replaced.
  OpenedFile old;
  const int folder = place.folder.get();
  const char* const name = place.name.c_str();
  if (fstatat(folder, name, &old.attributes, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return Put(place, content, flush, nullptr);
    result.error = errno;
    return result;
  }
  result.error = RefusalOf(old.attributes.st_mode);
  if (result.error == 0 && !MayReplace(old.attributes, place.folder_attributes)) {
    result.error = EACCES;
    result.obstacle = place.path;
    return result;
  }
  if (result.error == 0 && faccessat(folder, name, W_OK, AT_EACCESS) != 0) {
    const bool is_own = errno == EACCES && old.attributes.st_uid == geteuid();
    result.error = is_own && options.read_only == ReadOnly::kReplace ? 0 : errno;
  }
  if (result.error != 0) return result;
  old.descriptor = OpenRegularAt(place, O_RDONLY);
  const int file = old.descriptor.get();
  if (file >= 0 && fstat(file, &old.attributes) == 0 &&
      Holds(file, static_cast<std::size_t>(old.attributes.st_size), content)) {
    result.identity = IdentityOf(old.attributes);
    // A process that was killed between the exchange and the removal may have left the old file.
    if (flush == Flush::kNone) StagedFile(folder, place.name).RemoveAbandoned();
    return result;
  }
  return Put(place, content, flush, &old);
}

}  // namespace orvik::host
