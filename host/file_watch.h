// Waits for a file to change, be made, replaced or removed, whoever does it (inotify).
#pragma once

#include <sys/types.h>

#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Watches one path. Neither the file nor its folders need exist: the nearest folder that does is
// watched until the next one below it appears.
class FileWatch {
 public:
  explicit FileWatch(std::string path);
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // Whether changes can be noticed at all (false when the system grants no watch).
  bool ok() const { return watch_ >= 0; }

  // Blocks until the file may have changed: true. False after timeout_ms milliseconds without a
  // sign (-1 waits without end), on a signal, or when the watch is lost. A change between two calls
  // makes the next one return at once; several changes may be told as one.
  bool Wait(int timeout_ms);

 private:
  bool Arm();
  bool DrainEvents();

  std::string path_;
  std::string watched_folder_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::string awaited_name_;  // the entry of watched_folder_ on the way to the file
  int queue_ = -1;
  int watch_ = -1;
};

}  // namespace host
}  // namespace orvik
