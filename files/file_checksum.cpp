#include "files/file_checksum.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "files/checksum.h"
#include "files/checksum_variants.h"
#include "host/worker_thread.h"

namespace orvik {
namespace {

constexpr std::size_t kPiece = std::size_t{256} << 10;
constexpr std::size_t kUnknownPiece = std::size_t{16} << 10;

// Reading less takes about as long as starting a thread.
constexpr std::size_t kWorthTwoThreads = std::size_t{8} << 20;

// A run of bytes of a file.
class Part {
 public:
  Part(int file, std::size_t start, std::size_t size, host::Monitor* monitor)
      : file_(file),
        monitor_(monitor),
        start_(start),
        size_(size),
        buffer_(std::make_unique_for_overwrite<unsigned char[]>(std::min(size, kPiece))) {}

  void Read() {
    for (std::size_t done = 0; done < size_;) {
      const std::size_t wanted = std::min(size_ - done, kPiece);
      const auto at = static_cast<off_t>(start_ + done);
      const ssize_t got = pread(file_, buffer_.get(), wanted, at);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return;
      checksum_ = ContinueCRC32(checksum_, buffer_.get(), got);
      done += static_cast<std::size_t>(got);
      if (!host::Advances(monitor_, 0, static_cast<std::uint64_t>(got))) return;
    }
    is_read_ = true;
  }

  bool is_read() const { return is_read_; }
  std::uint32_t checksum() const { return checksum_; }

 private:
  const int file_;
  host::Monitor* const monitor_;
  const std::size_t start_;
  const std::size_t size_;
  const std::unique_ptr<unsigned char[]> buffer_;
  std::uint32_t checksum_ = 0;
  bool is_read_ = false;
};

std::optional<std::uint32_t> ChecksumToEnd(int file, host::Monitor* monitor) {
  const auto buffer = std::make_unique_for_overwrite<unsigned char[]>(kUnknownPiece);
  std::uint32_t checksum = 0;
  for (off_t done = 0;;) {
    const ssize_t got = pread(file, buffer.get(), kUnknownPiece, done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return checksum;
    checksum = ContinueCRC32(checksum, buffer.get(), got);
    done += got;
    if (!host::Advances(monitor, 0, static_cast<std::uint64_t>(got))) return std::nullopt;
  }
}

}  // namespace

std::optional<std::uint32_t> ChecksumOfFile(int file, std::size_t size, host::Monitor* monitor) {
  if (size == 0) return ChecksumToEnd(file, monitor);
  const std::size_t half = size < kWorthTwoThreads ? size : size / 2;
  Part first(file, 0, half, monitor);
  Part second(file, half, size - half, monitor);
  std::thread worker;
  if (half < size) worker = host::StartWorker([&second] { second.Read(); });
  first.Read();
  if (worker.joinable()) {
    worker.join();
  } else {
    second.Read();
  }
  if (!first.is_read() || !second.is_read()) return std::nullopt;
  return crc32::Join(first.checksum(), second.checksum(), size - half);
}

}  // namespace orvik
