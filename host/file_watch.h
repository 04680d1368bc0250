// Reports that a file was changed, made, replaced or removed by any process (inotify).
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Watches a path, and if links stand at its end, every path on the way to the file. Neither the
// file nor its folders need exist: the nearest existing folder is watched until the next folder
// below it appears.
class FileWatch {
 public:
  explicit FileWatch(std::string path);
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // False when the system grants no watch, so that no change can be noticed.
  bool ok() const { return !places_.empty(); }

  // A descriptor for poll, epoll or an event loop. It becomes readable when TakeChanges should be
  // called, at the latest a second after a folder on the way was moved or replaced, which inotify
  // does not report. -1 when the system grants none.
  int descriptor() const { return events_.get(); }

  // Whether the file may have changed since the last call. Never blocks.
  bool TakeChanges();

  // Blocks until the file may have changed and returns true. Returns false when `timeout_ms`
  // milliseconds have passed (-1 waits without end), on a signal, or when the watch is lost. A
  // change between two calls makes the next call return at once. Several changes may be reported as
  // one.
  bool Wait(int timeout_ms);

 private:
  // An entry that concerns the file when it appears, changes or vanishes.
  struct Place {
    std::string folder;
    std::string name;
    dev_t device = 0;
    ino_t inode = 0;
    int watch = -1;
  };

  std::vector<Place> PlacesOnTheWay() const;
  bool Arm();
  bool DrainEvents();

  std::string path_;
  std::vector<Place> places_;
  Descriptor queue_;
  Descriptor timer_;
  Descriptor events_;  // the queue and the timer
};

}  // namespace host
}  // namespace orvik
