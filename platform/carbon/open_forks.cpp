#include "platform/carbon/open_forks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace orvik::carbon {
namespace {

constexpr SInt64 kLargestFork = std::numeric_limits<SInt64>::max();

std::mutex forks_mutex;

std::vector<std::shared_ptr<OpenFork>>& Forks() {
  static std::vector<std::shared_ptr<OpenFork>> forks;
  return forks;
}

}  // namespace

int OpenFork::Close() {
  return file_.Close() || errno == EINTR ? 0 : errno;
}

int OpenFork::Size(SInt64* size) const {
  struct stat info {};
  if (fstat(file_.get(), &info) != 0) return errno;
  *size = info.st_size;
  return 0;
}

int OpenFork::Read(SInt64 position_in_fork, unsigned long count, char* buffer,
                   unsigned long* done) const {
  return host::ReadAt(file_.get(), buffer, count, position_in_fork, done);
}

int OpenFork::Write(SInt64 position_in_fork, unsigned long count, const char* buffer,
                    unsigned long* done) {
  *done = 0;
  if (!may_write_) return EBADF;
  if (count > static_cast<UInt64>(kLargestFork - position_in_fork)) return EFBIG;
  return host::WriteAllAt(file_.get(), {buffer, count}, position_in_fork, done);
}

FSIORefNum RegisterFork(std::shared_ptr<OpenFork> fork) {
  const std::lock_guard lock{forks_mutex};
  auto& forks = Forks();
  auto slot = std::find(forks.begin(), forks.end(), nullptr);
  if (slot == forks.end()) {
    if (forks.size() == std::numeric_limits<FSIORefNum>::max()) return 0;
    slot = forks.insert(slot, nullptr);
  }
  *slot = std::move(fork);
  return static_cast<FSIORefNum>(slot - forks.begin() + 1);
}

std::shared_ptr<OpenFork> FindFork(FSIORefNum number) {
  const std::lock_guard lock{forks_mutex};
  const auto& forks = Forks();
  if (number <= 0 || static_cast<std::size_t>(number) > forks.size()) return nullptr;
  return forks[static_cast<std::size_t>(number) - 1];
}

std::shared_ptr<OpenFork> UnregisterFork(FSIORefNum number) {
  const std::lock_guard lock{forks_mutex};
  auto& forks = Forks();
  if (number <= 0 || static_cast<std::size_t>(number) > forks.size()) return nullptr;
  return std::exchange(forks[static_cast<std::size_t>(number) - 1], nullptr);
}

}  // namespace orvik::carbon
