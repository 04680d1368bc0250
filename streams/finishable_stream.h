// How the writer of a stream learns whether all of it arrived.
//
// The results of Write alone do not say so: bytes are gathered on their way, and a stream's last
// bytes move when its last reference goes, which has no result.
#pragma once

#include "streams/stream_interfaces.h"
#include "streams/write_room.h"

namespace [[gnu::visibility("default")]] orvik {

// What the streams of this library that write offer beside IStream.
class IFinishableStream {
 public:
  virtual ~IFinishableStream() = default;
  // Ends the stream: what was written is brought to its place, and a file is closed. S_OK when all
  // of it arrived, E_FAIL otherwise; a further call gives the same. Files take no more bytes
  // afterwards.
  [[nodiscard("it alone says whether all bytes arrived")]] virtual HRESULT Finish() = 0;
  // The free bytes of the stream's buffer; what is put there has been written like by Write.
  virtual WriteRoom* room() = 0;
};

// Finish of a stream that offers it; S_OK for one that does not, E_INVALIDARG for null.
[[nodiscard("it alone says whether all bytes arrived")]] HRESULT FinishStream(IStream* stream);
// The room of a stream that offers it, or null. It lives as long as the stream.
WriteRoom* RoomOfStream(IStream* stream);

}  // namespace orvik
