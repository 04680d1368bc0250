// Gathers the many small pieces that the XML writer writes.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "streams/copy_piece.h"

namespace [[gnu::visibility("default")]] orvik {

class WriteBuffer {
 public:
  // Takes the bytes. `write` (bool of bytes and count) gets what has been gathered when there is no
  // more room, and long pieces directly; the answer is its own.
  template <typename Write>
  bool Add(const void* data, std::size_t count, Write write) {
    if (count > free_) {
      if (!Flush(write)) return false;
      if (count >= kRoom) return write(static_cast<const unsigned char*>(data), count);
      if (bytes_ == nullptr) bytes_.reset(new unsigned char[kRoom]);
      free_ = kRoom;
    }
    CopyPiece(bytes_.get() + count_, data, count);
    count_ += count;
    free_ -= count;
    return true;
  }

  template <typename Write>
  bool Flush(Write write) {
    const std::size_t count = std::exchange(count_, 0);
    free_ = 0;
    return count == 0 || write(bytes_.get(), count);
  }

 private:
  static constexpr std::size_t kRoom = 1 << 16;

  std::unique_ptr<unsigned char[]> bytes_;
  std::size_t count_ = 0;
  std::size_t free_ = 0;  // 0 until there are bytes
};

}  // namespace orvik
