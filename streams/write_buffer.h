// Buffers small pieces of a stream's bytes. The XML writer writes many pieces of a few bytes.
//
//   CopyPiece     copies a piece without a call
//   WriteRoom     the free bytes of a stream, which a writer fills without a call of the stream
//   WriteBuffer   64 KiB in front of a file, which its owner writes when they are full and at the
//   end
// Only two things can fail: the write function that a WriteBuffer is given, and memory
// (std::bad_alloc). One object is used in one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {

// memcpy, without the call for up to 16 bytes: two moves that may overlap cover a piece. For 0
// bytes no memory is accessed.
inline void CopyPiece(unsigned char* to, const void* from_bytes, std::size_t count) {
  const auto* const from = static_cast<const unsigned char*>(from_bytes);
  const auto ends = [&]<typename Word>(Word first, Word last) {
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + count - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + count - sizeof last, &last, sizeof last);
  };
  if (count > 16) {
    std::memcpy(to, from, count);
  } else if (count >= 8) {
    ends(std::uint64_t{}, std::uint64_t{});
  } else if (count >= 4) {
    ends(std::uint32_t{}, std::uint32_t{});
  } else if (count >= 2) {
    ends(std::uint16_t{}, std::uint16_t{});
  } else if (count == 1) {
    *to = *from;
  }
}

// The free bytes at the end of a stream's buffer. They belong to the stream: every call of the
// stream may move or close them.
struct WriteRoom {
  unsigned char* next = nullptr;
  std::size_t free = 0;

  // False, without a change, when the bytes do not fit; then use the stream's Write.
  bool Put(const void* data, std::size_t count) {
    if (count > free) return false;
    CopyPiece(next, data, count);
    next += count;
    free -= count;
    return true;
  }
};

class WriteBuffer {
 public:
  // Without free bytes before the first piece and after a flush.
  WriteRoom* room() { return &room_; }

  // Takes the bytes. If they do not fit, `write` (bool of bytes and count) gets the buffered bytes;
  // long pieces go to `write` directly. Returns its result, or true if it was not called.
  template <typename Write>
  bool Add(const void* data, std::size_t count, Write write) {
    if (room_.Put(data, count)) return true;
    if (!Flush(write)) return false;
    if (count >= kRoom) return write(static_cast<const unsigned char*>(data), count);
    if (bytes_ == nullptr) bytes_.reset(new unsigned char[kRoom]);
    room_ = {bytes_.get(), kRoom};
    return room_.Put(data, count);
  }

  // Hands the buffered bytes to `write`; true, without a call, when there are none.
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
