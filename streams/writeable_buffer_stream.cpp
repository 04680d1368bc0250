#include "streams/writeable_buffer_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "host/memory.h"

namespace orvik {
namespace {

constexpr std::size_t kFirstRoom = 4000;  // in addition to the first bytes
constexpr std::uint32_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

}  // namespace

unsigned long CWriteableBufferStream::GetSize() {
  return detached_ ? detached_size_ : static_cast<unsigned long>(room_.next - buffer_.get());
}

HRESULT CWriteableBufferStream::Write(const void* data, unsigned long count,
                                      unsigned long* written) {
  if (written != nullptr) *written = 0;
  if (count == 0) return S_OK;
  if (data == nullptr || !room_.Put(data, count)) {
    if (count > kMostBytes - GetSize() || data == nullptr || detached_) {
      has_failed_ = true;
      return E_FAIL;
    }
    Grow(std::size_t{GetSize()} + count);
    room_.Put(data, count);
  }
  if (written != nullptr) *written = count;
  return S_OK;
}

// By half each time, so that the time for copying stays linear.
void CWriteableBufferStream::Grow(std::size_t new_size) {
  const std::size_t size = GetSize();
  const std::size_t room =
      std::min<std::size_t>(new_size + std::max(kFirstRoom, new_size / 2), kMostBytes);
  void* const bytes = std::realloc(buffer_.get(), room);
  if (bytes == nullptr) throw std::bad_alloc();
  static_cast<void>(buffer_.release());
  buffer_.reset(static_cast<unsigned char*>(bytes));
  room_ = {buffer_.get() + size, room - size};
}

boost::shared_array<unsigned char> CWriteableBufferStream::DetachBufferPointer() {
  if (!detached_) detached_size_ = GetSize();
  detached_ = true;
  room_ = {};
  return boost::shared_array<unsigned char>(buffer_.release(), Free());
}

CAtlStringA CWriteableBufferStream::DetachBufferAsString() {
  Write("", 1, nullptr);
  const boost::shared_array<unsigned char> buffer = DetachBufferPointer();
  if (buffer == nullptr) return CAtlStringA();
  const char* const text = reinterpret_cast<const char*>(buffer.get());
  const std::size_t length = strnlen(text, detached_size_);
  CAtlStringA result;
  if (length > kLongestNarrowString) {
    has_failed_ = true;
    return result;
  }
  char* const copy = result.GetBufferSetLength(static_cast<int>(length));
  host::AdviseLargePages(copy, length);
  std::memcpy(copy, text, length);
  result.ReleaseBuffer(static_cast<int>(length));
  return result;
}

}  // namespace orvik
