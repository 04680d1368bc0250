#include "streams/writeable_buffer_stream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>
#include <new>

#include "streams/copy_piece.h"

namespace orvik {
namespace {

constexpr std::uint32_t kSlack = 4000;
constexpr std::uint32_t kMostBytes = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kLongestString = INT_MAX - 16;  // header and terminator count as well

}  // namespace

HRESULT CWriteableBufferStream::Write(const void* data, unsigned long count,
                                      unsigned long* written) {
  if (written != nullptr) *written = 0;
  if (count == 0) return S_OK;
  if (count > free_ || data == nullptr) {
    if (count > kMostBytes - size_ || data == nullptr || detached_) return E_FAIL;
    Grow(size_ + static_cast<std::uint32_t>(count));
  }
  CopyPiece(buffer_.get() + size_, data, count);
  size_ += static_cast<std::uint32_t>(count);
  free_ -= static_cast<std::uint32_t>(count);
  if (written != nullptr) *written = count;
  return S_OK;
}

// The slack is fixed, so a long document passes here every 4000 bytes; the block behind it grows by
// half each time it must, which keeps the copying linear.
void CWriteableBufferStream::Grow(std::uint32_t new_size) {
  const std::uint32_t capacity = new_size > kMostBytes - kSlack ? kMostBytes : new_size + kSlack;
  if (capacity > room_) {
    const std::size_t room = std::max<std::size_t>(capacity, room_ + room_ / 2);
    void* const bytes = std::realloc(buffer_.get(), room);
    if (bytes == nullptr) throw std::bad_alloc();
    static_cast<void>(buffer_.release());
    buffer_.reset(static_cast<unsigned char*>(bytes));
    room_ = room;
  }
  free_ = capacity - size_;
}

boost::shared_array<unsigned char> CWriteableBufferStream::DetachBufferPointer() {
  detached_ = true;
  free_ = 0;
  return boost::shared_array<unsigned char>(buffer_.release(), Free());
}

CAtlStringA CWriteableBufferStream::DetachBufferAsString() {
  Write("", 1, nullptr);
  const boost::shared_array<unsigned char> buffer = DetachBufferPointer();
  if (buffer == nullptr) return CAtlStringA();
  const char* const text = reinterpret_cast<const char*>(buffer.get());
  const std::size_t length = strnlen(text, size_);
  if (length > kLongestString) return CAtlStringA();
  return CAtlStringA(text, static_cast<int>(length));
}

}  // namespace orvik
