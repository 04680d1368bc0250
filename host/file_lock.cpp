#include "host/file_lock.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/lock_file.h"
#include "host/proc.h"
#include "host/staged_file.h"
#include "host/tree_walk.h"
#include "text/of_thread.h"

namespace orvik::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kHeldName[] = ".orvik.lock.held";
constexpr char kAsidePrefix[] = ".orvik.lock.held.";  // a stale file; a process id follows
constexpr off_t kQueueByte = 0;
constexpr off_t kHolderByte = 1;
// The lock file must be opened again. Differs from every errno; EAGAIN already means EWOULDBLOCK.
constexpr int kAgain = -1;
// How often a removed lock file is made again when there is no time to wait.
constexpr int kTries = 100;
// Behind the content of every property list.
constexpr off_t kContentByte = off_t{1} << 40;
constexpr std::int64_t kForeignStaleSeconds = 600;

struct flock LockOf(off_t byte, short type, off_t count = 1) {
  return {.l_type = type, .l_whence = SEEK_SET, .l_start = byte, .l_len = count, .l_pid = 0};
}

int SetLock(int file, off_t byte, short type, off_t count = 1) {
  struct flock lock = LockOf(byte, type, count);
  while (fcntl(file, F_OFD_SETLK, &lock) != 0) {
    if (errno != EINTR) return errno == EACCES ? EAGAIN : errno;
  }
  return 0;
}

// Retries until the result is not EAGAIN or the timeout expires.
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

bool IsStale(int file) {
  const HolderWords words = ReadHolderWords(file);
  if (words.host == LockHostName()) {
    const std::optional<std::uint64_t> start = StartTicks(words.pid);
    return !start || (words.start != 0 && *start != words.start);
  }
  struct stat attributes;
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return fstat(file, &attributes) == 0 &&
         now.tv_sec - attributes.st_mtim.tv_sec > kForeignStaleSeconds;
}

// Removes the files of processes that were killed while they removed a stale file.
void RemoveLeftovers(int folder, const struct stat& attributes) {
  constexpr std::string_view beginning = kAsidePrefix;
  std::vector<std::string> names;
  ListFolder(folder, [&](const dirent& entry) {
    const std::string_view name = entry.d_name;
    const bool is_aside = name.starts_with(beginning) && name.size() > beginning.size() &&
                          name.find_first_not_of("0123456789", beginning.size()) == name.npos;
    if (is_aside) names.emplace_back(name);
    return 0;
  });
  for (const std::string& name : names) {
    Descriptor file;
    const bool is_ours = OpenLockFile(folder, attributes, name.c_str(), O_RDONLY, &file) == 0 &&
                         CheckHolderWords(file.get()) == 0;
    if (is_ours && IsStale(file.get())) unlinkat(folder, name.c_str(), 0);
  }
}

// Removes a stale file. Renames it first, because only then it can be checked that the file is
// still the one that was examined. EAGAIN: the caller should try to create the file again. EINVAL:
// the existing file is not a lock file.
int RemoveStale(int folder, const struct stat& attributes) {
  Descriptor file;
  int error = OpenLockFile(folder, attributes, kHeldName, O_RDONLY, &file);
  if (error == 0) error = CheckHolderWords(file.get());
  if (error != 0) return error == EINVAL ? EINVAL : EAGAIN;
  if (!IsStale(file.get())) return EAGAIN;
  RemoveLeftovers(folder, attributes);
  const std::string aside = kAsidePrefix + std::to_string(getpid());
  if (renameat(folder, kHeldName, folder, aside.c_str()) != 0) return EAGAIN;
  if (!HasName(file.get(), folder, aside.c_str())) {
    RenameWithoutReplacing(folder, aside.c_str(), folder, kHeldName);
  } else {
    unlinkat(folder, aside.c_str(), 0);
  }
  return EAGAIN;
}

int CreateHeld(int folder, const struct stat& attributes) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const Descriptor file(openat(folder, kHeldName, kFlags, 0600));
  if (!file) return errno == EEXIST ? RemoveStale(folder, attributes) : errno;
  GiveFolderRights(file.get(), attributes);
  const int error = WriteAll(file.get(), OwnHolderWords());
  if (error != 0) unlinkat(folder, kHeldName, 0);
  return error;
}

// Queues and then waits for the holder. Without a queue and a holder, one call takes the lock.
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

// The files that are open while a lock is held.
struct LockFiles {
  Descriptor file;            // its bytes are locked
  Descriptor held_folder;     // has the exclusive file, where bytes cannot be locked
  const char* obstacle = "";  // the name of the file that may not be used
  bool is_made = false;       // the file did not exist before
};

int CreateHeldInTime(int folder, const struct stat& attributes, Clock::time_point deadline,
                     LockFiles* files) {
  constexpr std::chrono::microseconds kPause{1000};
  int error = Poll(deadline, kPause, [&] { return CreateHeld(folder, attributes); });
  if (error == EINVAL) files->obstacle = kHeldName;
  if (error != 0) return error;
  files->held_folder = Descriptor(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  if (files->held_folder) return 0;
  error = errno;
  unlinkat(folder, kHeldName, 0);
  return error;
}

// Locks the present lock file. kAgain: it was replaced meanwhile.
int LockFile(int folder, const struct stat& attributes, Clock::time_point deadline,
             LockFiles* files) {
  const auto refuse = [files](int error) {
    files->obstacle = kFolderLockName;
    return error;
  };
  int error = OpenLockFile(folder, attributes, kFolderLockName, O_RDWR, &files->file);
  if (error == ENOENT) {
    error = MakeLockFile(folder, attributes, kFolderLockName, &files->file);
    if (error != 0) return error == EEXIST ? kAgain : error;
    files->is_made = true;
  }
  if (error != 0) return refuse(error);
  const int file = files->file.get();
  error = LockBytes(file, deadline);
  if (HasNoLocks(error)) return CreateHeldInTime(folder, attributes, deadline, files);
  if (error != 0) return error;
  // If the file was removed meanwhile, other processes may have locked a new one.
  if (!HasName(file, folder, kFolderLockName)) return kAgain;
  if (CheckHolderWords(file) != 0) return refuse(EINVAL);
  if (!HasFolderRights(file, attributes) && RenewLockFile(folder, attributes, kFolderLockName)) {
    return kAgain;
  }
  WriteHolderWords(file);
  return 0;
}

}  // namespace

struct FolderLock::Held {
  Held(dev_t its_device, ino_t its_inode) : device(its_device), inode(its_inode) {}
  ~Held() {
    // In a forked child, the lock belongs to the parent. A child that was forked while the lock was
    // held has the file open, too, so closing it here would not unlock it; F_UNLCK does.
    if (process != getpid() || !files.file) return;
    // Processes that wait for the file then find that it has lost its name.
    if (folder && HasName(files.file.get(), folder.get(), kFolderLockName)) {
      unlinkat(folder.get(), kFolderLockName, 0);
    }
    if (files.held_folder) {
      unlinkat(files.held_folder.get(), kHeldName, 0);
    } else {
      SetLock(files.file.get(), kQueueByte, F_UNLCK, 2);
    }
  }

  dev_t device;
  ino_t inode;
  pid_t process = getpid();
  LockFiles files;
  Descriptor folder;  // set if the lock file must be removed
};

FolderLock FolderLock::Acquire(int folder, const struct stat& attributes, int milliseconds) {
  // The locks of this thread. Locks that have ended are removed from the list here.
  auto& own = OfThread<std::vector<std::weak_ptr<Held>>>();

  FolderLock result;
  std::erase_if(own, [](const auto& lock) { return lock.expired(); });
  for (const auto& lock : own) {
    std::shared_ptr<Held> held = lock.lock();
    if (held->device == attributes.st_dev && held->inode == attributes.st_ino &&
        held->process == getpid()) {
      result.held_ = std::move(held);
      result.is_nested_ = true;
      return result;
    }
  }
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (int tries = 1;; ++tries) {
    auto held = std::make_shared<Held>(attributes.st_dev, attributes.st_ino);
    result.error_ = LockFile(folder, attributes, deadline, &held->files);
    result.obstacle_ = held->files.obstacle;
    if (result.error_ == 0) {
      own.push_back(held);
      if (held->files.is_made) held->folder = Descriptor(fcntl(folder, F_DUPFD_CLOEXEC, 0));
      result.held_ = std::move(held);
      return result;
    }
    if (result.error_ != kAgain) return result;
    if (tries >= kTries && Clock::now() >= deadline) {
      result.error_ = EWOULDBLOCK;
      return result;
    }
  }
}

void FolderLock::KeepFile() {
  if (held_) held_->folder = {};
}

int LockContent(int file, int milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  constexpr std::chrono::microseconds kPause{1000};
  return Poll(deadline, kPause, [=] { return SetLock(file, kContentByte, F_WRLCK); });
}

int FindLockHolder(const std::string& folder, std::optional<LockHolder>* holder) {
  holder->reset();
  const Descriptor place(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat attributes;
  if (!place || fstat(place.get(), &attributes) != 0) return errno == ENOENT ? 0 : errno;
  const auto show = [&](int file) {
    const HolderWords words = ReadHolderWords(file);
    *holder = LockHolder{words.pid, words.host == LockHostName(), words.host};
  };
  Descriptor file;
  int error = OpenLockFile(place.get(), attributes, kHeldName, O_RDONLY, &file);
  if (error == 0 && !IsStale(file.get())) {
    show(file.get());
    return 0;
  }
  error = OpenLockFile(place.get(), attributes, kFolderLockName, O_RDONLY, &file);
  if (error != 0) return error == ENOENT ? 0 : error;
  struct flock lock = LockOf(kHolderByte, F_WRLCK);
  if (fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) show(file.get());
  return 0;
}

}  // namespace orvik::host
