#include "platform/carbon/open_forks.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/carbon/fork_names.h"

namespace orvik::carbon {
namespace {

constexpr SInt64 kLargestFork = std::numeric_limits<SInt64>::max();

std::mutex forks_mutex;

std::vector<std::shared_ptr<OpenFork>>& Forks() {
  static std::vector<std::shared_ptr<OpenFork>> forks;
  return forks;
}

}  // namespace

OpenFork::~OpenFork() {
  if (descriptor_ >= 0) close(descriptor_);
}

int OpenFork::Close() {
  const int result = close(std::exchange(descriptor_, -1));
  return result == 0 || errno == EINTR ? 0 : errno;
}

int OpenFork::Size(SInt64* size) const {
  if (is_data_fork()) {
    struct stat info {};
    if (fstat(descriptor_, &info) != 0) return errno;
    *size = info.st_size;
    return 0;
  }
  const ssize_t length = fgetxattr(descriptor_, attribute_.c_str(), nullptr, 0);
  if (length < 0) return errno;
  *size = length;
  return 0;
}

int OpenFork::Read(SInt64 position_in_fork, unsigned long count, char* buffer,
                   unsigned long* done) const {
  *done = 0;
  if (!is_data_fork()) {
    std::string value;
    if (const int error = ReadForkAttribute(descriptor_, attribute_, &value)) return error;
    if (position_in_fork >= static_cast<SInt64>(value.size())) return 0;
    *done = value.copy(buffer, count, static_cast<std::size_t>(position_in_fork));
    return 0;
  }
  while (*done < count) {
    const ssize_t got = pread(descriptor_, buffer + *done, count - *done,
                              position_in_fork + static_cast<SInt64>(*done));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return errno;
    *done += static_cast<unsigned long>(std::max<ssize_t>(got, 0));
  }
  return 0;
}

int OpenFork::Write(SInt64 position_in_fork, unsigned long count, const char* buffer,
                    unsigned long* done) {
  *done = 0;
  if (!may_write_) return EBADF;
  if (count > static_cast<UInt64>(kLargestFork - position_in_fork)) return EFBIG;
  if (!is_data_fork()) {
    if (position_in_fork + static_cast<SInt64>(count) > XATTR_SIZE_MAX) return ENOSPC;
    std::string value;
    if (const int error = ReadForkAttribute(descriptor_, attribute_, &value)) return error;
    const auto start = static_cast<std::size_t>(position_in_fork);
    if (value.size() < start + count) value.resize(start + count);
    value.replace(start, count, buffer, count);
    if (const int error = ReplaceAttribute(value)) return error;
    *done = count;
    return 0;
  }
  while (*done < count) {
    const ssize_t written = pwrite(descriptor_, buffer + *done, count - *done,
                                   position_in_fork + static_cast<SInt64>(*done));
    if (written < 0 && errno != EINTR) return errno;
    *done += static_cast<unsigned long>(std::max<ssize_t>(written, 0));
  }
  return 0;
}

int OpenFork::Resize(SInt64 size) {
  if (!may_write_) return EBADF;
  if (is_data_fork()) return ftruncate(descriptor_, size) == 0 ? 0 : errno;
  if (size > XATTR_SIZE_MAX) return ENOSPC;
  std::string value;
  if (const int error = ReadForkAttribute(descriptor_, attribute_, &value)) return error;
  value.resize(static_cast<std::size_t>(size));
  return ReplaceAttribute(value);
}

int OpenFork::Reserve(SInt64 position_in_fork, UInt64 count) {
  if (!may_write_) return EBADF;
  if (count > static_cast<UInt64>(kLargestFork - position_in_fork)) return EFBIG;
  if (!is_data_fork()) {
    return static_cast<UInt64>(position_in_fork) + count > XATTR_SIZE_MAX ? ENOSPC : 0;
  }
  if (count == 0) return 0;
  return fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, position_in_fork,
                   static_cast<SInt64>(count)) == 0
             ? 0
             : errno;
}

int OpenFork::ReplaceAttribute(const std::string& value) {
  return fsetxattr(descriptor_, attribute_.c_str(), value.data(), value.size(), XATTR_REPLACE) == 0
             ? 0
             : errno;
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
