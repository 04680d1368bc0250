#include "platform/carbon/forks.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/paths.h"
#include "host/replace_file.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

using carbon::Status;

constexpr SInt64 kLargestFork = std::numeric_limits<SInt64>::max();

// An open data fork. Methods that return an int return 0 or an errno.
class OpenFork {
 public:
  OpenFork(host::Descriptor file, bool may_write) : file_(std::move(file)), may_write_(may_write) {}

  int Size(SInt64* size) const {
    const std::optional<std::uint64_t> bytes = host::SizeOfRegular(file_.get());
    if (!bytes) return EIO;
    *size = static_cast<SInt64>(*bytes);
    return 0;
  }
  int Read(SInt64 place, unsigned long count, char* buffer, unsigned long* done) const {
    std::size_t bytes = 0;
    const int error = host::ReadAt(file_.get(), buffer, count, place, &bytes);
    *done = bytes;
    return error;
  }
  int Write(SInt64 place, unsigned long count, const char* buffer, unsigned long* done) {
    if (!may_write_) return EBADF;
    if (count > static_cast<UInt64>(kLargestFork - place)) return EFBIG;
    std::size_t bytes = 0;
    const int error = host::WriteAllAt(file_.get(), {buffer, count}, place, &bytes);
    *done = bytes;
    return error;
  }
  int Close() { return file_.Close() || errno == EINTR ? 0 : errno; }

  SInt64 position = 0;

 private:
  host::Descriptor file_;
  bool may_write_;
};

std::mutex forks_mutex;

std::vector<std::shared_ptr<OpenFork>>& Forks() {
  static auto* const forks = new std::vector<std::shared_ptr<OpenFork>>;
  return *forks;
}

// A lock of this byte stands for permission to write.
constexpr off_t kWriterByte = 0x7FFFFFFFFFFFFF00;

enum class Share { kNothing, kShared, kAlone };

struct Opening {
  SInt8 permission;
  int first_choice;   // flags of open
  int second_choice;  // if the caller lacks permission for the first
  Share reading;
  Share writing;
};

constexpr Opening kOpenings[] = {
    {fsRdPerm, O_RDONLY, O_RDONLY, Share::kShared, Share::kNothing},
    {fsWrPerm, O_RDWR, O_WRONLY, Share::kNothing, Share::kShared},
    {fsRdWrPerm, O_RDWR, O_RDWR, Share::kShared, Share::kAlone},
    {fsRdWrShPerm, O_RDWR, O_RDWR, Share::kShared, Share::kShared},
    {fsRdDenyPerm, O_RDWR, O_RDONLY, Share::kAlone, Share::kShared},
    {fsWrDenyPerm, O_RDWR, O_RDONLY, Share::kShared, Share::kAlone},
};

// Whether the call has failed because another process holds the lock. After other failures the file
// system is treated as one without locks.
bool IsTaken(int result) {
  return result != 0 && (errno == EWOULDBLOCK || errno == EACCES);
}

bool ReadingIsDenied(int descriptor, Share share) {
  if (share == Share::kNothing) return false;
  return IsTaken(flock(descriptor, (share == Share::kAlone ? LOCK_EX : LOCK_SH) | LOCK_NB));
}

bool WritingIsDenied(int descriptor, Share share, int access) {
  // The kernel allows a write lock only on a descriptor open for writing, so a reader cannot lock
  // writers out.
  if (share == Share::kNothing || access == O_RDONLY) return false;
  if (share == Share::kShared && access == O_WRONLY) return false;
  struct flock lock {};
  lock.l_type = share == Share::kAlone ? F_WRLCK : F_RDLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kWriterByte;
  lock.l_len = 1;
  return IsTaken(fcntl(descriptor, F_OFD_SETLK, &lock));
}

// For writing, it opens the file as any output file: a link, or a file with several names, only as
// host/trust.h allows.
host::Descriptor OpenRegularFile(const std::string& path, const struct statx& expected, int access,
                                 bool follow) {
  host::Descriptor file =
      access != O_RDONLY ? host::OpenForOutput(path, access)
                         : host::OpenPath(path, access | O_NONBLOCK | (follow ? 0 : O_NOFOLLOW));
  if (!file) return file;
  struct statx info {};
  int error = carbon::StatDescriptor(file.get(), &info);
  if (error == 0 &&
      (info.stx_ino != expected.stx_ino || carbon::DeviceOf(info) != carbon::DeviceOf(expected))) {
    error = ENOENT;
  }
  if (error == 0) return file;
  errno = error;
  return {};
}

bool LacksRight(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == ETXTBSY;
}

// Takes over the fork and returns its number; 0 when all numbers are in use.
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

// The fork with this number, or null. With `frees`, the number becomes free.
std::shared_ptr<OpenFork> FindFork(FSIORefNum number, bool frees = false) {
  const std::lock_guard lock{forks_mutex};
  auto& forks = Forks();
  if (number <= 0 || static_cast<std::size_t>(number) > forks.size()) return nullptr;
  std::shared_ptr<OpenFork>& slot = forks[static_cast<std::size_t>(number) - 1];
  return frees ? std::move(slot) : slot;
}

// Opens the data fork of the regular file that `ref` names, or to which the named link leads, by
// the rules of forks.h. Empty, with `status` set, on failure.
host::Descriptor OpenDataFork(const FSRef& ref, SInt8 permissions, bool* may_write, OSErr* status) {
  const auto fail = [&](OSErr reason) {
    *status = reason;
    return host::Descriptor();
  };
  const auto* const opening =
      std::find_if(std::begin(kOpenings), std::end(kOpenings),
                   [permissions](const Opening& each) { return each.permission == permissions; });
  if (opening == std::end(kOpenings)) return fail(paramErr);
  std::string path;
  struct statx info {};
  int error = carbon::LocateReference(ref, &path, &info);
  const bool link = error == 0 && S_ISLNK(info.stx_mode);
  if (link) error = carbon::StatPath(path, carbon::Leaf::kFollow, &info);
  if (error != 0) return fail(Status(error));
  if (!S_ISREG(info.stx_mode)) return fail(notAFileErr);

  int access = opening->first_choice;
  host::Descriptor file = OpenRegularFile(path, info, access, link);
  if (!file && LacksRight(errno) && opening->second_choice != access) {
    access = opening->second_choice;
    file = OpenRegularFile(path, info, access, link);
  }
  if (!file) {
    const bool is_locked = errno == EPERM && (info.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
    return fail(is_locked ? OSErr{fLckdErr} : Status(errno));
  }
  const bool reading_denied = ReadingIsDenied(file.get(), opening->reading);
  if (reading_denied || WritingIsDenied(file.get(), opening->writing, access)) {
    return fail(reading_denied ? permErr : opWrErr);
  }
  *may_write = access != O_RDONLY;
  return file;
}

// The position that a mode and an offset mean.
OSErr PlaceInFork(const OpenFork& fork, UInt16 mode, SInt64 offset, SInt64* place) {
  SInt64 base = 0;
  switch (mode) {
    case fsAtMark:
      *place = fork.position;
      return noErr;
    case fsFromStart:
      break;
    case fsFromLEOF:
      if (const int error = fork.Size(&base)) return Status(error);
      break;
    default:
      base = fork.position;
  }
  if (offset > 0 && base > std::numeric_limits<SInt64>::max() - offset) return posErr;
  if (base + offset < 0) return posErr;
  *place = base + offset;
  return noErr;
}

// Calls `transfer` with the fork and the position, and moves the mark behind the `done` bytes.
template <class Call>
OSErr Transfer(FSIORefNum fork, UInt16 mode, SInt64 offset, unsigned long request_count,
               const void* buffer, const unsigned long* done, const Call& transfer) {
  const std::shared_ptr<OpenFork> open = FindFork(fork);
  if (!open) return rfNumErr;
  if (buffer == nullptr && request_count != 0) return paramErr;
  SInt64 place = 0;
  if (const OSErr status = PlaceInFork(*open, mode, offset, &place)) return status;
  const OSErr status = transfer(*open, place);
  open->position = place + static_cast<SInt64>(*done);
  return status;
}

}  // namespace

OSErr FSGetDataForkName(HFSUniStr255* name) {
  if (name == nullptr) return paramErr;
  name->length = 0;
  return noErr;
}

OSErr FSOpenFork(const FSRef* ref, unsigned long name_length, const UniChar*, SInt8 permissions,
                 FSIORefNum* fork) {
  if (ref == nullptr || fork == nullptr) return paramErr;
  if (name_length != 0) return errFSForkNotFound;
  OSErr status = noErr;
  bool may_write = false;
  host::Descriptor file = OpenDataFork(*ref, permissions, &may_write, &status);
  if (!file) return status;
  const FSIORefNum number = RegisterFork(std::make_shared<OpenFork>(std::move(file), may_write));
  if (number == 0) return tmfoErr;
  *fork = number;
  return noErr;
}

OSErr FSCloseFork(FSIORefNum fork) {
  const std::shared_ptr<OpenFork> closing = FindFork(fork, true);
  return closing ? Status(closing->Close()) : OSErr{rfNumErr};
}

OSErr FSReadFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                 unsigned long request_count, void* buffer, unsigned long* actual_count) {
  unsigned long done = 0;
  const OSErr status =
      Transfer(fork, position_mode, position_offset, request_count, buffer, &done,
               [&](OpenFork& open, SInt64 place) {
                 return Status(open.Read(place, request_count, static_cast<char*>(buffer), &done));
               });
  if (actual_count != nullptr) *actual_count = done;
  return status == noErr && done < request_count ? OSErr{eofErr} : status;
}

OSErr FSWriteFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                  unsigned long request_count, const void* buffer, unsigned long* actual_count) {
  unsigned long done = 0;
  const OSErr status = Transfer(
      fork, position_mode, position_offset, request_count, buffer, &done,
      [&](OpenFork& open, SInt64 place) {
        const int error = open.Write(place, request_count, static_cast<const char*>(buffer), &done);
        return error == EBADF ? OSErr{wrPermErr} : Status(error);
      });
  if (actual_count != nullptr) *actual_count = done;
  return status;
}

OSErr FSGetForkSize(FSIORefNum fork, SInt64* fork_size) {
  const std::shared_ptr<OpenFork> open = FindFork(fork);
  if (!open) return rfNumErr;
  if (fork_size == nullptr) return paramErr;
  return Status(open->Size(fork_size));
}

OSErr FSGetForkPosition(FSIORefNum fork, SInt64* position) {
  const std::shared_ptr<OpenFork> open = FindFork(fork);
  if (!open) return rfNumErr;
  if (position == nullptr) return paramErr;
  *position = open->position;
  return noErr;
}

OSErr FSSetForkPosition(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset) {
  const std::shared_ptr<OpenFork> open = FindFork(fork);
  if (!open) return rfNumErr;
  return PlaceInFork(*open, position_mode, position_offset, &open->position);
}

}  // namespace orvik
