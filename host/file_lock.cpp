#include "host/file_lock.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/file_place.h"
#include "host/process_start.h"
#include "host/staged_file.h"

namespace orvik::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kHeldName[] = ".orvik.lock.held";
constexpr off_t kQueueByte = 0;
constexpr off_t kHolderByte = 1;
constexpr int kOpenFlags = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr std::int64_t kForeignStaleSeconds = 600;

// The holder's words in the file: process id, start in clock ticks, name of the machine.
struct Words {
  pid_t pid = 0;
  std::uint64_t start = 0;
  std::string host;
};

const std::string& HostName() {
  static const std::string name = [] {
    char text[256] = "";
    const bool has_name = gethostname(text, sizeof text - 1) == 0 && *text != '\0';
    return std::string(has_name ? text : "localhost");
  }();
  return name;
}

// Of this process; computed once in each.
const std::string& OwnWords() {
  thread_local std::string text;
  thread_local pid_t of = 0;
  if (const pid_t pid = getpid(); pid != of) {
    text = std::to_string(pid) + ' ' + std::to_string(StartTicks(pid).value_or(0)) + ' ' +
           HostName() + '\n';
    of = pid;
  }
  return text;
}

Words ReadWords(int file) {
  char bytes[512];
  const ssize_t size = pread(file, bytes, sizeof bytes, 0);
  Words words;
  if (size <= 0) return words;
  const char* const end = static_cast<const char*>(memchr(bytes, '\n', static_cast<size_t>(size)));
  if (end == nullptr) return words;
  const auto [pid_end, pid_error] = std::from_chars(bytes, end, words.pid);
  if (pid_error != std::errc() || pid_end == end) return {};
  const auto [start_end, start_error] = std::from_chars(pid_end + 1, end, words.start);
  if (start_error != std::errc() || start_end == end) return {};
  words.host.assign(start_end + 1, end);
  return words;
}

int SetLock(int file, off_t byte, short type, off_t count = 1) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = count;
  while (fcntl(file, F_OFD_SETLK, &lock) != 0) {
    if (errno != EINTR) return errno == EACCES ? EAGAIN : errno;
  }
  return 0;
}

// Asks again and again until the answer is another one than EAGAIN or the time is over.
template <class Function>
int Poll(Clock::time_point deadline, std::chrono::microseconds pause, Function ask) {
  for (;;) {
    const int error = ask();
    if (error != EAGAIN || Clock::now() >= deadline) return error;
    std::this_thread::sleep_for(pause);
  }
}

bool HasNoLocks(int error) {
  return error == ENOLCK || error == EBADF || error == EOPNOTSUPP || error == ENOSYS ||
         error == EINVAL;
}

// The rights on the lock's file are those to write the folder.
mode_t ModeFor(const struct stat& folder) {
  mode_t mode = S_IRUSR | S_IWUSR;
  if ((folder.st_mode & S_IWGRP) != 0) mode |= S_IRGRP | S_IWGRP;
  if ((folder.st_mode & S_IWOTH) != 0) mode |= S_IROTH | S_IWOTH;
  return mode;
}

// Whoever may changes the file so that it follows its folder.
int FollowRights(int file, const struct stat& folder) {
  struct stat own;
  if (fstat(file, &own) != 0) return errno;
  if (!S_ISREG(own.st_mode)) return EINVAL;
  if ((own.st_mode & 07777) == ModeFor(folder) && own.st_gid == folder.st_gid &&
      own.st_uid == folder.st_uid) {
    return 0;
  }
  const uid_t caller = geteuid();
  if (caller != own.st_uid && caller != 0) return 0;
  if (own.st_gid != folder.st_gid || (caller == 0 && own.st_uid != folder.st_uid)) {
    const uid_t owner = caller == 0 ? folder.st_uid : own.st_uid;
    [[maybe_unused]] const int result = fchown(file, owner, folder.st_gid);
  }
  if ((own.st_mode & 07777) != ModeFor(folder)) fchmod(file, ModeFor(folder));
  return 0;
}

// Makes the file with its rights before it has its name: another member of the folder's group who
// opens it at this moment would be refused otherwise. None where that cannot be done, or another
// has made it meanwhile.
Descriptor MakeLockFile(int folder, const struct stat& attributes) {
  Descriptor file(openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
  if (!file || FollowRights(file.get(), attributes) != 0) return {};
  const std::string path = "/proc/self/fd/" + std::to_string(file.get());
  if (linkat(AT_FDCWD, path.c_str(), folder, kFolderLockName, AT_SYMLINK_FOLLOW) != 0) return {};
  return file;
}

int OpenLockFile(int folder, const struct stat& attributes, Descriptor* file) {
  *file = Descriptor(openat(folder, kFolderLockName, O_RDWR | kOpenFlags));
  if (!*file && errno == ENOENT) {
    *file = MakeLockFile(folder, attributes);
    if (*file) return 0;
    *file = Descriptor(openat(folder, kFolderLockName, O_RDWR | kOpenFlags));
  }
  if (!*file && errno == ENOENT) {
    *file = Descriptor(openat(folder, kFolderLockName, O_RDWR | O_CREAT | kOpenFlags, 0600));
  }
  // A link, a pipe without a reader, a device: something else has the name.
  if (!*file) return errno == ELOOP || errno == ENXIO ? EINVAL : errno;
  return FollowRights(file->get(), attributes);
}

bool IsStale(int file) {
  const Words words = ReadWords(file);
  if (words.host == HostName()) {
    const std::optional<std::uint64_t> start = StartTicks(words.pid);
    return !start || (words.start != 0 && *start != words.start);
  }
  struct stat attributes;
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return fstat(file, &attributes) == 0 &&
         now.tv_sec - attributes.st_mtim.tv_sec > kForeignStaleSeconds;
}

// Takes a stale file away. It gets another name first: only then it is certain that it is still the
// one that was examined.
void RemoveStale(int folder) {
  const Descriptor file(openat(folder, kHeldName, O_RDONLY | kOpenFlags));
  if (!file || !IsStale(file.get())) return;
  const std::string aside = std::string(kHeldName) + "." + std::to_string(getpid());
  if (renameat(folder, kHeldName, folder, aside.c_str()) != 0) return;
  if (!HasName(file.get(), folder, aside.c_str())) {
    RenameWithoutReplacing(folder, aside.c_str(), folder, kHeldName);
  } else {
    unlinkat(folder, aside.c_str(), 0);
  }
}

int CreateHeld(int folder, const struct stat& attributes) {
  const Descriptor file(
      openat(folder, kHeldName, O_WRONLY | O_CREAT | O_EXCL | kOpenFlags, ModeFor(attributes)));
  if (!file && errno == EEXIST) {
    RemoveStale(folder);
    return EAGAIN;
  }
  if (!file) return errno;
  const std::string& words = OwnWords();
  if (write(file.get(), words.data(), words.size()) == static_cast<ssize_t>(words.size())) return 0;
  const int error = errno != 0 ? errno : EIO;
  unlinkat(folder, kHeldName, 0);
  return error;
}

// Queues, and then waits for the holder; when there is neither queue nor holder, in one step.
int LockBytes(int file, Clock::time_point deadline) {
  using std::chrono::microseconds;
  constexpr microseconds kQueuePause{1000}, kHeadPause{200};
  static_assert(kHolderByte == kQueueByte + 1);
  int error = SetLock(file, kQueueByte, F_WRLCK, 2);
  if (error == EAGAIN) {
    error = Poll(deadline, kQueuePause, [=] { return SetLock(file, kQueueByte, F_WRLCK); });
    if (error != 0) return error;
    error = Poll(deadline, kHeadPause, [=] { return SetLock(file, kHolderByte, F_WRLCK); });
  } else if (error != 0) {
    return error;
  }
  SetLock(file, kQueueByte, F_UNLCK);
  return error;
}

}  // namespace

struct FolderLock::Held {
  Held(dev_t its_device, ino_t its_inode) : device(its_device), inode(its_inode) {}
  ~Held() {
    if (held_file) unlinkat(held_file.get(), kHeldName, 0);
  }

  dev_t device;
  ino_t inode;
  Descriptor file;       // whose bytes are locked
  Descriptor held_file;  // the folder that holds the exclusive file, where bytes cannot be locked
};

FolderLock FolderLock::Take(int folder, const struct stat& attributes, int milliseconds) {
  // The locks of this thread. Those given up are swept out here.
  thread_local std::vector<std::weak_ptr<Held>> own;

  FolderLock result;
  std::erase_if(own, [](const auto& lock) { return lock.expired(); });
  for (const auto& lock : own) {
    std::shared_ptr<Held> held = lock.lock();
    if (held->device == attributes.st_dev && held->inode == attributes.st_ino) {
      result.held_ = std::move(held);
      return result;
    }
  }
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  auto held = std::make_shared<Held>(attributes.st_dev, attributes.st_ino);
  own.push_back(held);
  if (result.error_ = OpenLockFile(folder, attributes, &held->file); result.error_ != 0) {
    return result;
  }
  if (result.error_ = LockBytes(held->file.get(), deadline); result.error_ == 0) {
    const std::string& words = OwnWords();
    // Only shown to people; without room the lock holds all the same.
    [[maybe_unused]] const ssize_t written =
        pwrite(held->file.get(), words.data(), words.size(), 0);
  } else if (HasNoLocks(result.error_)) {
    constexpr std::chrono::microseconds kPause{1000};
    result.error_ = Poll(deadline, kPause, [&] { return CreateHeld(folder, attributes); });
    if (result.error_ == 0) {
      held->held_file = Descriptor(fcntl(folder, F_DUPFD_CLOEXEC, 0));
      if (!held->held_file) {
        result.error_ = errno;
        unlinkat(folder, kHeldName, 0);
      }
    }
  }
  if (result.error_ == 0) result.held_ = std::move(held);
  if (result.error_ == EAGAIN) result.error_ = EWOULDBLOCK;
  return result;
}

std::optional<LockHolder> FindLockHolder(const std::string& folder) {
  const Descriptor place(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!place) return std::nullopt;
  Words words;
  const Descriptor held(openat(place.get(), kHeldName, O_RDONLY | kOpenFlags));
  if (held && !IsStale(held.get())) {
    words = ReadWords(held.get());
    return LockHolder{words.pid, words.host == HostName(), words.host};
  }
  const Descriptor file(openat(place.get(), kFolderLockName, O_RDWR | kOpenFlags));
  if (!file) return std::nullopt;
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kHolderByte;
  lock.l_len = 1;
  if (fcntl(file.get(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return std::nullopt;
  words = ReadWords(file.get());
  return LockHolder{words.pid, words.host == HostName(), words.host};
}

}  // namespace orvik::host
