#include "host/replace_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/staged_file.h"

namespace orvik::host {

namespace {

constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr int kMaximumLinks = 40;

int RefusalOf(const struct stat& attributes) {
  if (S_ISREG(attributes.st_mode)) return 0;
  return S_ISDIR(attributes.st_mode) ? EISDIR : EINVAL;
}

int WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(descriptor, content.data(), content.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int ReadAll(int descriptor, std::size_t expected, std::string* content) {
  content->clear();
  // One byte more than expected, so that the end is seen without growing; the files of /proc tell
  // no size.
  constexpr std::size_t kUntold = 4096;
  std::size_t size = 0;
  content->resize(expected == 0 ? kUntold : expected + 1);
  for (;;) {
    const ssize_t count = read(descriptor, content->data() + size, content->size() - size);
    if (count < 0) {
      if (errno == EINTR) continue;
      const int error = errno;
      content->clear();
      return error;
    }
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
    if (size == content->size()) content->resize(size * 2);
  }
  content->resize(size);
  return 0;
}

// The path of what a final symbolic link points to in the end, whether or not that exists.
int FollowLinks(std::string* path) {
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

bool Holds(int descriptor, std::size_t size, std::string_view content) {
  if (size != content.size()) return false;
  char buffer[1 << 16];
  while (!content.empty()) {
    const ssize_t count = read(descriptor, buffer, std::min(sizeof buffer, content.size()));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    const std::string_view piece(buffer, static_cast<std::size_t>(count));
    if (!content.starts_with(piece)) return false;
    content.remove_prefix(piece.size());
  }
  return true;
}

// What a process left that was killed between an exchange and the removal of the old file.
void RemoveExchanged(const std::string& target) {
  const Descriptor folder(open(FolderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) StagedFile(folder.get(), NameOf(target)).RemoveAbandoned();
}

// A time of its own for every file that is put in place: the kernel's advances in steps that are
// longer than a small change takes.
void StampTime(int descriptor) {
  timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {}};
  clock_gettime(CLOCK_REALTIME, &times[1]);
  futimens(descriptor, times);
}

thread_local int delays = 0;
thread_local std::set<std::string> unflushed_folders;

enum class OldFile { kModel, kSuperseded };

ReplaceResult Replace(const std::string& path, std::string_view content, Flush flush,
                      const std::string& model, OldFile old_role) {
  ReplaceResult result;
  const auto fail = [&result](int error) {
    result.error = error;
    return result;
  };
  std::string target = path;
  if (const int error = FollowLinks(&target)) return fail(error);
  if (target.empty() || target.ends_with('/')) return fail(target.empty() ? ENOENT : EISDIR);

  // What cannot be read for lack of rights can be replaced all the same.
  struct stat old;
  const bool exists = stat(target.c_str(), &old) == 0;
  if (!exists && errno != ENOENT) return fail(errno);
  Descriptor old_file;
  if (exists) {
    if (const int refusal = RefusalOf(old)) return fail(refusal);
  }
  const bool is_kept = exists && old_role == OldFile::kModel;
  if (is_kept) {
    if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return fail(errno);
    old_file = Descriptor(open(target.c_str(), O_RDONLY | kOpenFlags));
    if (old_file && fstat(old_file.get(), &old) == 0 &&
        Holds(old_file.get(), static_cast<std::size_t>(old.st_size), content)) {
      result.identity = IdentityOf(old);
      if (flush == Flush::kNone) RemoveExchanged(target);
      return result;
    }
  }

  Descriptor model_file;
  bool is_modelled = is_kept;
  if (!exists && !model.empty() && stat(model.c_str(), &old) == 0) {
    model_file = Descriptor(open(model.c_str(), O_RDONLY | kOpenFlags));
    is_modelled = true;
  }

  const Descriptor folder(open(FolderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return fail(errno);
  StagedFile file(folder.get(), NameOf(target));
  if (const int error = file.Make(is_modelled ? old.st_mode & 0666 : 0666)) return fail(error);
  if (const int error = WriteAll(file.descriptor(), content)) return fail(error);
  if (is_modelled) {
    KeepProperties((is_kept ? old_file : model_file).get(), old, file.descriptor());
  }
  StampTime(file.descriptor());
  if (flush == Flush::kToDisk && fsync(file.descriptor()) != 0) return fail(errno);
  if (const int error = file.Commit(flush == Flush::kNone ? old_file.get() : -1))
    return fail(error);
  result.wrote = true;
  struct stat present;
  if (fstat(file.descriptor(), &present) == 0) result.identity = IdentityOf(present);
  if (flush == Flush::kToDisk) {
    if (delays > 0) {
      unflushed_folders.insert(FolderOf(target));
    } else if (const int error = FlushFolder(folder.get())) {
      return fail(error);
    }
  }
  return result;
}

}  // namespace

FolderFlushDelay::FolderFlushDelay() {
  ++delays;
}

FolderFlushDelay::~FolderFlushDelay() {
  if (--delays > 0) return;
  for (const std::string& path : unflushed_folders) {
    const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) FlushFolder(folder.get());
  }
  unflushed_folders.clear();
}

int ReadWholeFile(const std::string& path, std::string* content, FileIdentity* identity) {
  constexpr int kReadings = 5;
  const Descriptor file(open(path.c_str(), O_RDONLY | kOpenFlags));
  if (!file) return errno;
  for (int tries = 1;; ++tries) {
    struct stat before, after;
    if (fstat(file.get(), &before) != 0) return errno;
    if (const int refusal = RefusalOf(before)) return refusal;
    if (lseek(file.get(), 0, SEEK_SET) != 0) return errno;
    if (const int error = ReadAll(file.get(), static_cast<std::size_t>(before.st_size), content)) {
      return error;
    }
    if (identity == nullptr) return 0;
    if (fstat(file.get(), &after) != 0) return errno;
    *identity = IdentityOf(before);
    // A file that is being written in place is read again until it holds still.
    if (*identity == IdentityOf(after) || tries == kReadings) return 0;
  }
}

ReplaceResult ReplaceFile(const std::string& path, std::string_view content, Flush flush,
                          const std::string& model) {
  return Replace(path, content, flush, model, OldFile::kModel);
}

ReplaceResult SupersedeFile(const std::string& path, std::string_view content) {
  return Replace(path, content, Flush::kToDisk, {}, OldFile::kSuperseded);
}

int CreateFile(const std::string& path, std::string_view content) {
  const Descriptor folder(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return errno;
  StagedFile file(folder.get(), NameOf(path));
  if (const int error = file.Make(0666)) return error;
  if (const int error = WriteAll(file.descriptor(), content)) return error;
  return file.CommitAsNew();
}

int WriteInPlace(const std::string& path, std::string_view content) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | kOpenFlags, 0666));
  if (!file) return errno;
  struct stat attributes;
  if (fstat(file.get(), &attributes) != 0) return errno;
  if (const int refusal = RefusalOf(attributes)) return refusal;
  if (ftruncate(file.get(), 0) != 0) return errno;
  if (const int error = WriteAll(file.get(), content)) return error;
  return file.Close() ? 0 : errno;
}

}  // namespace orvik::host
