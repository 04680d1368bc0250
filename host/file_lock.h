// The lock of a folder whose files several processes change, and the search for its holder.
//
// The lock is the file ".orvik.lock" in the folder. It stays there after the first change of the
// folder; if it is removed, the next holder makes a new one. Exactly the users who may write the
// folder may open the file, so a process that can only read the folder cannot hold up its writers.
// A new lock file gets the folder's group, the folder's write permissions for the group and for
// others, and, if root makes it, the folder's owner. If these differ later, a holder that can set
// them makes a new file: the owner and mode of an existing file are never changed.
//
// Two bytes of the file are locked with open-file-description locks (fcntl), which end with their
// process and work on network file systems. Waiting processes queue at the first byte; the first of
// them waits for the second byte, which the holder keeps. So a holder that takes the lock again
// goes to the end of the queue. On a volume without such locks, a second file, ".orvik.lock.held",
// is created exclusively and names its holder. It is stale when that process has ended or, if that
// process runs on another machine, after ten minutes. If both ways fail, the lock is refused.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline constexpr char kFolderLockName[] = ".orvik.lock";

// The thread that holds a lock may take it again; the lock ends with the last of its objects. Use
// and destroy an object on the thread that made it. Processes started by exec do not inherit locks.
// A forked child does not hold the lock, and does not delay its release. If the holder is killed,
// however, the lock ends only when such a child has ended, too.
class FolderLock {
 public:
  FolderLock() = default;

  // Waits at most `milliseconds` by the monotonic clock; 0 tries once. `folder` is open, and
  // `attributes` are its attributes. Errors: EWOULDBLOCK when another process or thread holds the
  // lock for the whole wait, EACCES or EROFS when the folder may not be written, EINVAL when the
  // entry with the lock's name is not a lock file that IsTrustedFile accepts, otherwise the error
  // of the volume.
  static FolderLock Acquire(int folder, const struct stat& attributes, int milliseconds);

  bool held() const { return held_ != nullptr; }
  explicit operator bool() const { return held(); }
  // The errno, when the lock is not held.
  int error() const { return error_; }
  // The name of the file of the lock that caused the error; "" for other causes.
  const char* obstacle() const { return obstacle_; }
  // Whether the thread already held the lock.
  bool is_nested() const { return is_nested_; }

  // Keeps the lock file. Without this call, a lock file that was made for this lock is removed at
  // its end, so that a folder without changes stays as it was.
  void KeepFile();

  void Release() { held_.reset(); }

 private:
  struct Held;

  std::shared_ptr<Held> held_;
  int error_ = 0;
  const char* obstacle_ = "";
  bool is_nested_ = false;
};

// Locks the content of a file of the folder. `file` is open for writing, and the caller holds the
// folder's lock: a process whose lock file was removed may still be writing. The lock ends when the
// file is closed. 0; EWOULDBLOCK when another process holds it for the whole wait; otherwise the
// error of the volume.
int LockContent(int file, int milliseconds);

// A process that holds the lock of a folder.
struct LockHolder {
  pid_t pid = 0;          // 0 if unknown
  bool is_local = false;  // it runs on this machine
  std::string host;       // the name of its machine
};

// Finds the holder of the folder's lock; nothing when the lock is free. Returns 0, or an errno when
// the holder cannot be found out: EACCES when the caller may not open the lock file, EINVAL when
// Acquire would refuse it.
int FindLockHolder(const std::string& folder, std::optional<LockHolder>* holder);

}  // namespace host
}  // namespace orvik
