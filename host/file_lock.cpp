#include "host/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "host/descriptor.h"

namespace orvik::host {

struct FileLock::Held {
  Descriptor descriptor;
  dev_t device;
  ino_t inode;
};

namespace {

Descriptor Open(const std::string& path) {
  constexpr int kFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  Descriptor descriptor(open(path.c_str(), O_RDONLY | kFlags));
  if (!descriptor && errno == ENOENT) {
    descriptor = Descriptor(open(path.c_str(), O_RDWR | O_CREAT | kFlags, 0666));
  }
  return descriptor;
}

// 0 or the error number.
int Lock(int descriptor, int milliseconds) {
  using Clock = std::chrono::steady_clock;
  if (milliseconds == FileLock::kWaitForever) {
    while (flock(descriptor, LOCK_EX) != 0) {
      if (errno != EINTR) return errno;
    }
    return 0;
  }
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  auto pause = std::chrono::microseconds(100);
  constexpr auto kLongestPause = std::chrono::microseconds(5000);
  while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || Clock::now() >= deadline) return errno;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, kLongestPause);
  }
  return 0;
}

}  // namespace

FileLock FileLock::Take(const std::string& path, int milliseconds) {
  // The locks of this thread. Those given up are swept out here.
  thread_local std::vector<std::weak_ptr<Held>> own;

  FileLock result;
  Descriptor descriptor = Open(path);
  struct stat attributes;
  if (!descriptor || fstat(descriptor.get(), &attributes) != 0) {
    result.error_ = errno;
    return result;
  }
  std::erase_if(own, [](const auto& lock) { return lock.expired(); });
  for (const auto& lock : own) {
    std::shared_ptr<Held> held = lock.lock();
    if (held->device == attributes.st_dev && held->inode == attributes.st_ino) {
      result.held_ = std::move(held);
      return result;
    }
  }
  result.error_ = Lock(descriptor.get(), milliseconds);
  if (result.error_ == 0) {
    result.held_ =
        std::make_shared<Held>(Held{std::move(descriptor), attributes.st_dev, attributes.st_ino});
    own.push_back(result.held_);
  }
  return result;
}

}  // namespace orvik::host
