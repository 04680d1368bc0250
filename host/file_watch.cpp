#include "host/file_watch.h"

#include <limits.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <tuple>
#include <utility>

namespace orvik::host {

namespace {

constexpr uint32_t kSigns = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                            IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// A parent folder that is moved away, or put in another's place, gives no sign: look now and then.
constexpr int kLookMilliseconds = 1000;

bool IsFolder(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// "/a/b" into "/a" and "b"; the folder of a top-level entry is "/", of a bare name ".".
std::pair<std::string, std::string> Split(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

}  // namespace

FileWatch::FileWatch(std::string path) : path_(std::move(path)) {
  queue_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  Arm();
}

FileWatch::~FileWatch() {
  if (queue_ >= 0) close(queue_);
}

// Watches the nearest folder that exists. True when that is another one than before, which means
// that something on the way appeared or vanished.
bool FileWatch::Arm() {
  if (queue_ < 0) return false;
  // A folder that appears between the test and the watch would go unseen: look again afterwards.
  for (bool moved = false;; moved = true) {
    auto [folder, name] = Split(path_);
    while (!IsFolder(folder) && folder != "/" && folder != ".") {
      std::tie(folder, name) = Split(folder);
    }
    struct stat info = {};
    stat(folder.c_str(), &info);
    if (folder == watched_folder_ && watch_ >= 0 && info.st_dev == device_ &&
        info.st_ino == inode_) {
      return moved;
    }
    if (watch_ >= 0) inotify_rm_watch(queue_, watch_);
    watched_folder_ = folder;
    device_ = info.st_dev;
    inode_ = info.st_ino;
    awaited_name_ = name;
    watch_ = inotify_add_watch(queue_, folder.c_str(), kSigns);
    if (watch_ < 0 && errno != ENOENT && errno != ENOTDIR) return moved;
  }
}

// Reads what has been reported; true when any of it concerns the file.
bool FileWatch::DrainEvents() {
  alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
  bool concerned = false;
  for (;;) {
    const ssize_t count = read(queue_, buffer, sizeof buffer);
    if (count <= 0) break;
    for (ssize_t at = 0; at < count;) {
      inotify_event event;
      std::memcpy(&event, buffer + at, sizeof event);
      const char* name = buffer + at + offsetof(inotify_event, name);
      at += static_cast<ssize_t>(sizeof event + event.len);
      const bool lost = (event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0;
      if (lost && event.wd == watch_) {
        watch_ = -1;
        watched_folder_.clear();
        concerned = true;
      }
      concerned |= (event.mask & IN_Q_OVERFLOW) != 0 || (event.len > 0 && awaited_name_ == name);
    }
  }
  return concerned;
}

bool FileWatch::Wait(int timeout_ms) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    if (queue_ < 0 || watch_ < 0) return false;
    int left = kLookMilliseconds;
    if (timeout_ms >= 0) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
      left = static_cast<int>(std::clamp<decltype(rest)>(rest, 0, kLookMilliseconds));
    }
    pollfd polled = {queue_, POLLIN, 0};
    const int ready = poll(&polled, 1, left);
    if (ready < 0 || (ready == 0 && timeout_ms >= 0 && Clock::now() >= end)) return false;
    const bool concerned = DrainEvents();
    if (Arm() || concerned) return true;
  }
}

}  // namespace orvik::host
