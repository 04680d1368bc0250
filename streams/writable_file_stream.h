// A stream into a file, which is created or emptied when the stream is made and stays open until
// the last Release. A new file belongs to the caller, even in another user's folder. Bytes are
// buffered: a write error is reported by a later write, by a seek, or by Finish; the error of the
// last write is lost without Finish. Offsets are 64 bits.
#pragma once

#include "files/file_path.h"
#include "files/whole_file.h"
#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"
#include "streams/write_buffer.h"

namespace [[gnu::visibility("default")]] orvik {

class CWritableFileStream final : public StreamBase<IStream>, public IFinishableStream {
 public:
  // The start offset is ignored: the file starts empty and is written from its beginning.
  explicit CWritableFileStream(const COrvikFilePath& path, _LARGE_INTEGER start = {});
  ~CWritableFileStream() override;

  // Whether the file could be opened; otherwise every operation is E_FAIL.
  bool opened() const { return opened_; }

  // Read and write at the file's only position. A short write is E_FAIL.
  HRESULT Read(void* buffer, unsigned long count, unsigned long* read) override;
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;
  // An origin other than STREAM_SEEK_CUR and STREAM_SEEK_END means the start. A position past the
  // end is allowed.
  HRESULT Seek(_LARGE_INTEGER move, unsigned long origin, _ULARGE_INTEGER* new_position) override;

  // Closes the file.
  HRESULT Finish() override;
  WriteRoom* room() override { return buffer_.room(); }

 private:
  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  enum class Direction { kNone, kRead, kWrite };

  // Writes bytes to the file and returns how many it accepted.
  std::size_t WriteOut(const unsigned char* bytes, std::size_t count);
  // False when the buffered bytes cannot be written.
  bool Flush();
  // The C library requires a positioning call between a read and a write.
  void Turn(Direction direction);

  CFile file_;
  COrvikFilePath path_;
  bool opened_ = false;
  bool has_failed_ = false;
  Direction direction_ = Direction::kNone;
  WriteBuffer buffer_;
};

}  // namespace orvik
