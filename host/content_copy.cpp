#include "host/node_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "host/descriptor.h"

namespace orvik::host {
namespace {

// The errors with which the kernel refuses to copy between these two files.
bool KernelDeclines(int error) {
  return error == EXDEV || error == EINVAL || error == EOPNOTSUPP || error == ENOSYS ||
         error == ETXTBSY || error == EPERM || error == EBADF;
}

// Smaller files are copied as quickly, and a hole or a shared block would save no room.
constexpr off_t kWorthSharing = 4096;

int Report(Monitor* monitor, off_t bytes) {
  return Advances(monitor, 0, static_cast<std::uint64_t>(bytes)) ? 0 : ECANCELED;
}

// For files in memory, the kernel's own copy is slower than a copy through a buffer.
bool IsInMemory(int file) {
  struct statfs info;
  return fstatfs(file, &info) == 0 &&
         (info.f_type == TMPFS_MAGIC || static_cast<unsigned long>(info.f_type) == RAMFS_MAGIC);
}

class Copier {
 public:
  static constexpr off_t kSmall = 64 * 1024;  // the kernel's own copy is not worth a call

  Copier(int source, int target, std::size_t buffer_size, bool is_large, Side* side,
         Monitor* monitor)
      : source_(source),
        target_(target),
        buffer_size_(buffer_size),
        largest_(monitor != nullptr ? kWatched : kLargest),
        side_(side),
        monitor_(monitor),
        in_kernel_(is_large && !IsInMemory(target)) {}

  // Copies a file of unknown size, as in /proc, where the size is 0.
  int CopyUnknownSize() {
    char probe;
    ssize_t got;
    do {
      got = pread(source_, &probe, 1, 0);
    } while (got < 0 && errno == EINTR);
    if (got < 0) return ReadError(errno);
    if (got == 0) return 0;
    for (off_t start = 0;;) {
      off_t copied = 0;
      if (const int error = CopyThroughBuffer(start, start + kSmall, &copied)) return error;
      if (copied == 0) return 0;
      if (const int error = Report(monitor_, copied)) return error;
      start += copied;
    }
  }

  // Copies the bytes from `start` to `end`. Sets `at_end` when the source ends earlier.
  int CopyRange(off_t start, off_t end, bool* at_end) {
    while (start < end) {
      off_t copied = 0;
      const int error = in_kernel_ && end - start > kSmall ? CopyInKernel(start, end, &copied)
                                                           : CopyThroughBuffer(start, end, &copied);
      if (error != 0) return error;
      if (copied == 0 && !std::exchange(in_kernel_, false)) {
        *at_end = true;
        return 0;
      }
      if (const int stop = Report(monitor_, copied)) return stop;
      start += copied;
    }
    return 0;
  }

 private:
  int ReadError(int error) const {
    *side_ = Side::kSource;
    return error;
  }

  static constexpr off_t kLargest = 1 << 30;
  static constexpr off_t kWatched = 4 << 20;

  int CopyInKernel(off_t start, off_t end, off_t* copied) {
    off_t from = start;
    off_t to = start;
    const ssize_t done = copy_file_range(
        source_, &from, target_, &to, static_cast<std::size_t>(std::min(end - start, largest_)), 0);
    if (done < 0 && errno != EINTR) {
      // A disk error may come from either file; the copy through the buffer finds out which.
      if (!KernelDeclines(errno) && errno != EIO) return errno;
      in_kernel_ = false;
      return CopyThroughBuffer(start, end, copied);
    }
    *copied = std::max<ssize_t>(done, 0);
    if (done < 0) return CopyThroughBuffer(start, end, copied);
    return 0;
  }

  int CopyThroughBuffer(off_t start, off_t end, off_t* copied) {
    const auto wanted =
        static_cast<std::size_t>(std::min<off_t>(end - start, static_cast<off_t>(buffer_size_)));
    if (allocated_ < wanted) {
      buffer_ = std::make_unique_for_overwrite<char[]>(wanted);
      allocated_ = wanted;
    }
    std::size_t got = 0;
    if (const int error = ReadAt(source_, buffer_.get(), wanted, start, &got)) {
      return ReadError(error);
    }
    *copied = static_cast<off_t>(got);
    return WriteAllAt(target_, {buffer_.get(), got}, start);
  }

  int source_;
  int target_;
  std::size_t buffer_size_;
  off_t largest_;  // the most bytes in one system call
  Side* side_;
  Monitor* monitor_;
  bool in_kernel_;
  std::unique_ptr<char[]> buffer_;
  std::size_t allocated_ = 0;
};

bool ShareBlocks(int source, int target) {
  return ioctl(target, FICLONE, source) == 0;
}

int Reserve(int target, off_t size) {
  if (fallocate(target, FALLOC_FL_KEEP_SIZE, 0, size) == 0) return 0;
  return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? errno : 0;
}

}  // namespace

int CopyContent(int source, int target, const ContentSize& source_size, std::size_t buffer_size,
                Side* side, Monitor* monitor) {
  const off_t size = source_size.size;
  if (size > kWorthSharing && ShareBlocks(source, target)) {
    return Report(monitor, size);
  }
  const bool sparse = size > kWorthSharing && source_size.allocated < size;
  if (size > static_cast<off_t>(buffer_size)) {
    // A large copy should not displace the data of other processes in the page cache.
    posix_fadvise(source, 0, 0, POSIX_FADV_NOREUSE);
    posix_fadvise(target, 0, 0, POSIX_FADV_NOREUSE);
  }
  if (!sparse && size > static_cast<off_t>(buffer_size)) {
    if (const int error = Reserve(target, size)) return error;
  }
  Copier copier{source, target, buffer_size, size > Copier::kSmall, side, monitor};
  if (size == 0) return copier.CopyUnknownSize();
  bool at_end = false;
  off_t position = 0;
  while (position < size && !at_end) {
    off_t data = position;
    off_t hole = size;
    if (sparse) {
      data = lseek(source, position, SEEK_DATA);
      if (data < 0 && errno == ENXIO) break;  // a hole to the end
      if (data < 0) data = position;
      hole = lseek(source, data, SEEK_HOLE);
      if (hole <= data || hole > size) hole = size;
    }
    if (data > position) {
      if (const int error = Report(monitor, data - position)) return error;
    }
    if (const int error = copier.CopyRange(data, hole, &at_end)) return error;
    position = hole;
  }
  if (sparse && !at_end && ftruncate(target, size) != 0) return errno;
  return position < size && !at_end ? Report(monitor, size - position) : 0;
}

}  // namespace orvik::host
