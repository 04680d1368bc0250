// A memory stream that only grows.
//
// Its size is a 32-bit number: a write that would exceed 4 GiB - 1 is refused with E_FAIL and
// changes nothing. After a detach the stream is empty for good: every write of at least one byte is
// refused with E_FAIL, further detaches give nothing, and GetSize() keeps its value.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

class CWriteableBufferStream final : public StreamBase<IStreamOnBuffer>, public IFinishableStream {
 public:
  // Appends all bytes (S_OK) or none (E_FAIL). Throws std::bad_alloc when memory is lacking; the
  // content is kept.
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;
  unsigned long GetSize() override;
  boost::shared_array<unsigned char> DetachBufferPointer() override;
  // Writes a NUL byte first, so GetSize() counts it. Empty for content of 2 GiB or more, which is
  // too long for a string.
  CAtlStringA DetachBufferAsString() override;

  // Whether all bytes were taken and fitted in a string. The stream stays usable.
  HRESULT Finish() override { return has_failed_ ? E_FAIL : S_OK; }
  WriteRoom* room() override { return &room_; }

 private:
  struct Free {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
  };

  void Grow(std::size_t new_size);

  std::unique_ptr<unsigned char, Free> buffer_;
  WriteRoom room_;  // after the content; closed after a detach
  unsigned long detached_size_ = 0;
  bool detached_ = false;
  bool has_failed_ = false;
};

}  // namespace orvik
