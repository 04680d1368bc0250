// The lock of a folder whose files several processes change, and who holds it.
//
// The lock is a file ".orvik.lock" in the folder. It stays there once the folder was written; when
// it is removed, the next holder makes it anew. Exactly the users who may write the folder may open
// the file: a process that can only read the folder cannot hold up its writers. The file's
// owner, and its right for the group and for others, are those of the folder when it is made. Later
// ones that differ are put right by making the file anew: an existing file never changes its owner
// or its mode.
//
// Two bytes of the file are locked with open-file-description locks (fcntl), which end with their
// process and work on network file systems. Takers queue at the first byte; the one at the head of
// the queue waits for the second byte, which the holder keeps. So a holder that comes back at once
// goes to the end of the queue. A volume without such locks has a second file, ".orvik.lock.held",
// which is created exclusively and names its holder. It is stale when its process has ended, or,
// where that process ran on another machine, after ten minutes. If neither can be had, the lock is
// refused.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

inline constexpr char kFolderLockName[] = ".orvik.lock";

// The thread that holds a lock may take it again; it is given up with the last of its holders. An
// object is used and destroyed on the thread that took it. Processes started by exec do not inherit
// locks; a forked child keeps them from others until it ends, but does not hold them.
class FolderLock {
 public:
  FolderLock() = default;

  // Waits at most `milliseconds`, by the monotonic clock (0 tries once). `folder` is open, and
  // `attributes` are its own. Errors: EWOULDBLOCK when another holds the lock for the whole wait,
  // EACCES or EROFS when the folder may not be written, EINVAL when the lock's name belongs to
  // something else than a lock's file that IsTrustedFile, else what the volume reports.
  static FolderLock Acquire(int folder, const struct stat& attributes, int milliseconds);

  bool held() const { return held_ != nullptr; }
  explicit operator bool() const { return held(); }
  // The error number when not held.
  int error() const { return error_; }
  // The name in the folder of what caused the error; "" when it is not a file of the lock.
  const char* obstacle() const { return obstacle_; }
  // Whether the thread held it already.
  bool is_nested() const { return is_nested_; }

  // The lock's file stays. Without this one that was made for the lock goes with it: where nothing
  // was written nothing is left.
  void KeepFile();

  void Release() { held_.reset(); }

 private:
  struct Held;

  std::shared_ptr<Held> held_;
  int error_ = 0;
  const char* obstacle_ = "";
  bool is_nested_ = false;
};

// Locks the content of a file of the folder, open for writing, whose lock the caller holds: a
// process whose lock file was removed may still be at its change. The lock ends with the open file.
// 0; EWOULDBLOCK when another holds it for the whole wait; else what the volume reports.
int LockContent(int file, int milliseconds);

// A process that holds the lock of a folder.
struct LockHolder {
  pid_t pid = 0;          // 0: not known
  bool is_local = false;  // it runs on this machine
  std::string host;       // of the machine that it runs on
};

// Finds the holder of the folder's lock; nothing when it is free. 0, or why that is not known:
// EACCES when the caller may not open the lock's file, EINVAL when Acquire would not use it.
int FindLockHolder(const std::string& folder, std::optional<LockHolder>* holder);

}  // namespace host
}  // namespace orvik
