// Locks between processes (and threads) that the kernel gives up when their holder ends.
#pragma once

#include <memory>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// An exclusive lock on a file or a folder (flock). A folder is opened for reading alone, so that
// users who share it can all lock it; a file is made when missing (mode 0666 less the umask). The
// name must stay: whoever replaces the file by rename must lock its folder instead.
//
// The thread that holds a lock may take it again; it is given up with the last of its holders.
// An object is used and destroyed on the thread that took it. Processes started by exec do not
// inherit locks; a forked child shares them until it ends.
class FileLock {
 public:
  FileLock() = default;

  static constexpr int kWaitForever = -1;

  // Waits at most `milliseconds` (0 tries once). Not held when that was not enough, or when the
  // path cannot be opened.
  static FileLock Take(const std::string& path, int milliseconds = kWaitForever);

  bool held() const { return held_ != nullptr; }
  explicit operator bool() const { return held(); }
  // The error number when not held: EWOULDBLOCK when another has it.
  int error() const { return error_; }
  void Release() { held_.reset(); }

 private:
  struct Held;

  std::shared_ptr<Held> held_;
  int error_ = 0;
};

}  // namespace host
}  // namespace orvik
