#include "platform/carbon/open_forks.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/paths.h"
#include "host/replace_file.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik::carbon {

namespace {

constexpr SInt64 kLargestFork = std::numeric_limits<SInt64>::max();

std::mutex forks_mutex;

std::vector<std::shared_ptr<OpenFork>>& Forks() {
  static std::vector<std::shared_ptr<OpenFork>> forks;
  return forks;
}

// The byte whose lock is the right to write.
constexpr off_t kWriterByte = 0x7FFFFFFFFFFFFF00;

enum class Share { kNothing, kShared, kAlone };

struct Opening {
  int first_choice;   // flags of open
  int second_choice;  // when the caller lacks the right for the first
  Share reading;
  Share writing;
};

bool OpeningFor(SInt8 permissions, Opening* opening) {
  switch (permissions) {
    case fsCurPerm:
      *opening = {O_RDWR, O_RDONLY, Share::kShared, Share::kShared};
      return true;
    case fsRdPerm:
      *opening = {O_RDONLY, O_RDONLY, Share::kShared, Share::kNothing};
      return true;
    case fsWrPerm:
      *opening = {O_RDWR, O_WRONLY, Share::kNothing, Share::kShared};
      return true;
    case fsRdWrPerm:
      *opening = {O_RDWR, O_RDWR, Share::kShared, Share::kAlone};
      return true;
    case fsRdWrShPerm:
      *opening = {O_RDWR, O_RDWR, Share::kShared, Share::kShared};
      return true;
    case fsRdDenyPerm:
      *opening = {O_RDWR, O_RDONLY, Share::kAlone, Share::kShared};
      return true;
    case fsWrDenyPerm:
      *opening = {O_RDWR, O_RDONLY, Share::kShared, Share::kAlone};
      return true;
    default:
      return false;
  }
}

// Whether the call says that somebody else has the lock. Other failures mean that the file system
// has none.
bool IsTaken(int result) {
  return result != 0 && (errno == EWOULDBLOCK || errno == EACCES);
}

bool ReadingIsDenied(int descriptor, Share share) {
  if (share == Share::kNothing) return false;
  return IsTaken(flock(descriptor, (share == Share::kAlone ? LOCK_EX : LOCK_SH) | LOCK_NB));
}

bool WritingIsDenied(int descriptor, Share share, int access) {
  // A lock needs a descriptor of its own kind: a reader cannot lock writers out.
  if (share == Share::kNothing || access == O_RDONLY) return false;
  if (share == Share::kShared && access == O_WRONLY) return false;
  struct flock lock {};
  lock.l_type = share == Share::kAlone ? F_WRLCK : F_RDLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kWriterByte;
  lock.l_len = 1;
  return IsTaken(fcntl(descriptor, F_OFD_SETLK, &lock));
}

host::Descriptor OpenRegularFile(const std::string& path, const struct statx& expected, int access,
                                 bool follow) {
  // Of the links to a file that is to be written only those of trusted users are followed.
  host::Descriptor file =
      follow && access != O_RDONLY
          ? host::OpenForOutput(path, access)
          : host::OpenPath(path, access | O_NONBLOCK | (follow ? 0 : O_NOFOLLOW));
  if (!file) return file;
  struct statx info {};
  int error = StatDescriptor(file.get(), &info);
  if (error == 0 && (info.stx_ino != expected.stx_ino || DeviceOf(info) != DeviceOf(expected))) {
    error = ENOENT;
  }
  if (error == 0) return file;
  errno = error;
  return {};
}

bool LacksRight(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == ETXTBSY;
}

}  // namespace

int OpenFork::Close() {
  return file_.Close() || errno == EINTR ? 0 : errno;
}

int OpenFork::Size(SInt64* size) const {
  struct stat info {};
  if (fstat(file_.get(), &info) != 0) return errno;
  *size = info.st_size;
  return 0;
}

int OpenFork::Read(SInt64 position_in_fork, unsigned long count, char* buffer,
                   unsigned long* done) const {
  return host::ReadAt(file_.get(), buffer, count, position_in_fork, done);
}

int OpenFork::Write(SInt64 position_in_fork, unsigned long count, const char* buffer,
                    unsigned long* done) {
  *done = 0;
  if (!may_write_) return EBADF;
  if (count > static_cast<UInt64>(kLargestFork - position_in_fork)) return EFBIG;
  return host::WriteAllAt(file_.get(), {buffer, count}, position_in_fork, done);
}

FSIORefNum RegisterFork(std::shared_ptr<OpenFork> fork) {
  const std::lock_guard lock{forks_mutex};
  auto& forks = Forks();
  auto slot = std::find(forks.begin(), forks.end(), nullptr);
  if (slot == forks.end()) {
    if (forks.size() == std::numeric_limits<FSIORefNum>::max()) return 0;
    slot = forks.insert(slot, nullptr);
  }
  *slot = std::move(fork);
  return static_cast<FSIORefNum>(slot - forks.begin() + 1);
}

std::shared_ptr<OpenFork> FindFork(FSIORefNum number) {
  const std::lock_guard lock{forks_mutex};
  const auto& forks = Forks();
  if (number <= 0 || static_cast<std::size_t>(number) > forks.size()) return nullptr;
  return forks[static_cast<std::size_t>(number) - 1];
}

std::shared_ptr<OpenFork> UnregisterFork(FSIORefNum number) {
  const std::lock_guard lock{forks_mutex};
  auto& forks = Forks();
  if (number <= 0 || static_cast<std::size_t>(number) > forks.size()) return nullptr;
  return std::exchange(forks[static_cast<std::size_t>(number) - 1], nullptr);
}

host::Descriptor OpenDataFork(const FSRef& ref, SInt8 permissions, bool* may_write, OSErr* status) {
  const auto fail = [&](OSErr reason) {
    *status = reason;
    return host::Descriptor();
  };
  Opening opening{};
  if (!OpeningFor(permissions, &opening)) return fail(paramErr);
  std::string path;
  struct statx info {};
  int error = LocateReference(ref, &path, &info);
  const bool link = error == 0 && S_ISLNK(info.stx_mode);
  if (link) error = StatPath(path, Leaf::kFollow, &info);
  if (error != 0) return fail(Status(error));
  if (!S_ISREG(info.stx_mode)) return fail(notAFileErr);

  int access = opening.first_choice;
  host::Descriptor file = OpenRegularFile(path, info, access, link);
  if (!file && LacksRight(errno) && opening.second_choice != access) {
    access = opening.second_choice;
    file = OpenRegularFile(path, info, access, link);
  }
  if (!file) {
    const bool is_locked = errno == EPERM && (info.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
    return fail(is_locked ? OSErr{fLckdErr} : Status(errno));
  }
  const bool reading_denied = ReadingIsDenied(file.get(), opening.reading);
  if (reading_denied || WritingIsDenied(file.get(), opening.writing, access)) {
    return fail(reading_denied ? permErr : opWrErr);
  }
  *may_write = access != O_RDONLY;
  return file;
}

}  // namespace orvik::carbon
