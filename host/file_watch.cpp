#include "host/file_watch.h"

#include <limits.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <utility>

#include "host/staged_file.h"

namespace orvik::host {
namespace {

constexpr uint32_t kSigns = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                            IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// inotify does not report that a parent folder was moved or replaced, so this is checked regularly.
constexpr int kLookSeconds = 1;

constexpr int kMaximumLinks = 40;

bool IsFolder(const std::string& path, struct stat* info) {
  return stat(path.c_str(), info) == 0 && S_ISDIR(info->st_mode);
}

// The target of a link; "" when the path is not a link.
std::string LinkTarget(const std::string& path) {
  std::string text;
  if (ReadLink(AT_FDCWD, path.c_str(), &text) != 0) return {};
  return text.starts_with('/') ? text : std::string(ParentPath(path)) + "/" + text;
}

}  // namespace

FileWatch::FileWatch(std::string path)
    : path_(std::move(path)),
      queue_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)),
      events_(epoll_create1(EPOLL_CLOEXEC)) {
  constexpr itimerspec kEverySecond = {{kLookSeconds, 0}, {kLookSeconds, 0}};
  if (timer_) timerfd_settime(timer_.get(), 0, &kEverySecond, nullptr);
  epoll_event readable = {};
  readable.events = EPOLLIN;
  for (const Descriptor* source : {&queue_, &timer_}) {
    if (*source) epoll_ctl(events_.get(), EPOLL_CTL_ADD, source->get(), &readable);
  }
  Arm();
}

// The place of the path itself, and of the target of each link at its end.
std::vector<FileWatch::Place> FileWatch::PlacesOnTheWay() const {
  std::vector<Place> places;
  std::string path = path_;
  for (int links = 0; links <= kMaximumLinks && !path.empty(); ++links) {
    Place place{std::string(ParentPath(path)), std::string(LeafName(path))};
    struct stat info = {};
    while (!IsFolder(place.folder, &info) && place.folder != "/" && place.folder != ".") {
      place.name = std::string(LeafName(place.folder));
      place.folder = std::string(ParentPath(place.folder));
    }
    place.device = info.st_dev;
    place.inode = info.st_ino;
    places.push_back(std::move(place));
    path = LinkTarget(path);
  }
  return places;
}

// Watches the places on the way to the file. True when they differ from those watched before, which
// means that something on the way appeared or vanished.
bool FileWatch::Arm() {
  if (!queue_) return false;
  constexpr auto kIsSame = [](const Place& one, const Place& other) {
    return std::tie(one.folder, one.name, one.device, one.inode) ==
           std::tie(other.folder, other.name, other.device, other.inode);
  };
  // A folder may appear after the places were found and before they are watched, so look again.
  for (bool moved = false;; moved = true) {
    std::vector<Place> places = PlacesOnTheWay();
    const bool is_watched =
        std::equal(places.begin(), places.end(), places_.begin(), places_.end(), kIsSame);
    if (is_watched) return moved;
    for (const Place& place : places_) inotify_rm_watch(queue_.get(), place.watch);
    places_.clear();
    for (Place& place : places) {
      place.watch = inotify_add_watch(queue_.get(), place.folder.c_str(), kSigns);
      if (place.watch >= 0) {
        places_.push_back(std::move(place));
      } else if (errno != ENOENT && errno != ENOTDIR) {
        return moved;
      }
    }
  }
}

// Reads the reported events; true when any of them concerns the file.
bool FileWatch::DrainEvents() {
  std::uint64_t looks = 0;
  [[maybe_unused]] const ssize_t drained = read(timer_.get(), &looks, sizeof looks);
  alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
  bool concerned = false;
  for (;;) {
    const ssize_t count = read(queue_.get(), buffer, sizeof buffer);
    if (count <= 0) break;
    for (ssize_t at = 0; at < count;) {
      inotify_event event;
      std::memcpy(&event, buffer + at, sizeof event);
      const char* name = buffer + at + offsetof(inotify_event, name);
      at += static_cast<ssize_t>(sizeof event + event.len);
      concerned |= (event.mask & IN_Q_OVERFLOW) != 0;
      const bool lost = (event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0;
      for (Place& place : places_) {
        if (place.watch != event.wd) continue;
        concerned |= lost || (event.len > 0 && place.name == name);
        if (lost) place.inode = 0;  // matches no folder, so that Arm watches it again
      }
    }
  }
  return concerned;
}

bool FileWatch::TakeChanges() {
  const bool concerned = DrainEvents();
  return Arm() || concerned;
}

bool FileWatch::Wait(int timeout_ms) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    if (!ok() || !events_) return false;
    int left = -1;
    if (timeout_ms >= 0) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
      left = static_cast<int>(std::clamp<decltype(rest)>(rest, 0, INT_MAX));
    }
    pollfd polled = {events_.get(), POLLIN, 0};
    const int ready = poll(&polled, 1, left);
    if (ready < 0 || (ready == 0 && Clock::now() >= end)) return false;
    if (TakeChanges()) return true;
  }
}

}  // namespace orvik::host
