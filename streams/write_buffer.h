// Gathers the many small pieces that the XML writer writes.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "streams/write_room.h"

namespace [[gnu::visibility("default")]] orvik {

class WriteBuffer {
 public:
  // Closed, without free bytes, until there has been a piece, and after a flush.
  WriteRoom* room() { return &room_; }

  // Takes the bytes. `write` (bool of bytes and count) gets what has been gathered when there is no
  // more room, and long pieces directly; the answer is its own.
  template <typename Write>
  bool Add(const void* data, std::size_t count, Write write) {
    if (room_.Put(data, count)) return true;
    if (!Flush(write)) return false;
    if (count >= kRoom) return write(static_cast<const unsigned char*>(data), count);
    if (bytes_ == nullptr) bytes_.reset(new unsigned char[kRoom]);
    room_ = {bytes_.get(), kRoom};
    return room_.Put(data, count);
  }

  template <typename Write>
  bool Flush(Write write) {
    const unsigned char* const end = std::exchange(room_, {bytes_.get(), 0}).next;
    const auto count = static_cast<std::size_t>(end - bytes_.get());
    return count == 0 || write(bytes_.get(), count);
  }

 private:
  static constexpr std::size_t kRoom = 1 << 16;

  std::unique_ptr<unsigned char[]> bytes_;
  WriteRoom room_;
};

}  // namespace orvik
