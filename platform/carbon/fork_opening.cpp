#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/carbon/catalog.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/carbon/open_forks.h"
#include "host/at_path.h"
#include "platform/carbon/errno_status.h"

namespace orvik::carbon {
namespace {

// The byte whose lock stands for the right to write.
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

int OpenRegularFile(const std::string& path, const struct statx& expected, int access,
                    bool follow) {
  const host::AtPath at{path};
  if (at.error() != 0) {
    errno = at.error();
    return -1;
  }
  const int descriptor =
      openat(at.folder(), at.name(),
             access | (follow ? 0 : O_NOFOLLOW) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return -1;
  struct statx info {};
  int error = StatDescriptor(descriptor, &info);
  if (error == 0 && (info.stx_ino != expected.stx_ino || DeviceOf(info) != DeviceOf(expected))) {
    error = ENOENT;
  }
  if (error == 0) return descriptor;
  close(descriptor);
  errno = error;
  return -1;
}

bool LacksRight(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == ETXTBSY;
}

}  // namespace

int OpenDataFork(const FSRef& ref, SInt8 permissions, bool* may_write, OSErr* status) {
  const auto fail = [&](OSErr reason) {
    *status = reason;
    return -1;
  };
  Opening opening{};
  if (!OpeningFor(permissions, &opening)) return fail(paramErr);
  std::string path;
  struct statx info {};
  int error = LocateReference(ref, &path, &info);
  const bool link = error == 0 && S_ISLNK(info.stx_mode);
  if (link) error = StatPath(path, Leaf::kFollow, &info);
  if (error != 0) return fail(static_cast<OSErr>(host::StatusFromErrno(error)));
  if (!S_ISREG(info.stx_mode)) return fail(notAFileErr);

  int access = opening.first_choice;
  int descriptor = OpenRegularFile(path, info, access, link);
  const bool immutable = IsImmutable(info);
  if (descriptor < 0 && LacksRight(errno) && opening.second_choice != access) {
    access = opening.second_choice;
    descriptor = OpenRegularFile(path, info, access, link);
  }
  if (descriptor < 0) {
    return fail(immutable && errno == EPERM ? OSErr{fLckdErr}
                                            : static_cast<OSErr>(host::StatusFromErrno(errno)));
  }
  if (access != O_RDONLY) {
    CatalogRecord record;
    ReadCatalogRecord({descriptor, nullptr}, &record);
    if (record.locked) {
      close(descriptor);
      if (opening.second_choice != O_RDONLY) return fail(fLckdErr);
      access = O_RDONLY;
      descriptor = OpenRegularFile(path, info, access, link);
      if (descriptor < 0) return fail(static_cast<OSErr>(host::StatusFromErrno(errno)));
    }
  }
  const bool reading_denied = ReadingIsDenied(descriptor, opening.reading);
  if (reading_denied || WritingIsDenied(descriptor, opening.writing, access)) {
    close(descriptor);
    return fail(reading_denied ? permErr : opWrErr);
  }
  *may_write = access != O_RDONLY;
  return descriptor;
}

}  // namespace orvik::carbon
