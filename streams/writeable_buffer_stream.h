// A memory stream that only grows.
//
// Its size is a 32-bit number: a write that would pass 4 GiB is refused with E_FAIL and changes
// nothing. After a detach the stream is spent: every write of at least one byte is refused with
// E_FAIL, further detaches give nothing, and GetSize() keeps its value.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

class CWriteableBufferStream final : public StreamBase<IStreamOnBuffer>, public IFinishableStream {
 public:
  // Appends; gives S_OK with all bytes written, or E_FAIL with none. Throws std::bad_alloc when
  // there is no memory, and the content is kept.
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;
  unsigned long GetSize() override;
  boost::shared_array<unsigned char> DetachBufferPointer() override;
  // Writes a NUL byte first, so GetSize() counts it. Empty for content of 2 GiB or more, which no
  // string can hold.
  CAtlStringA DetachBufferAsString() override;

  // Whether all bytes were taken and a string could hold them. The stream goes on.
  HRESULT Finish() override { return has_failed_ ? E_FAIL : S_OK; }
  WriteRoom* room() override { return &room_; }

 private:
  struct Free {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
  };

  void Grow(std::size_t new_size);

  std::unique_ptr<unsigned char, Free> buffer_;
  WriteRoom room_;  // behind the content; closed after a detach
  unsigned long detached_size_ = 0;
  bool detached_ = false;
  bool has_failed_ = false;
};

}  // namespace orvik
