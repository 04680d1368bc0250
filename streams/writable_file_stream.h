// A stream into a file, which is created or emptied when the stream is made and stays open until
// the last Release. Bytes that the C library still holds then can fail to reach the disk without a
// word. Offsets are 64 bits.
#pragma once

#include <cstdio>

#include "files/file_path.h"
#include "streams/reference_counted.h"

namespace orvik {

class CWritableFileStream final : public StreamBase<IStream> {
 public:
  explicit CWritableFileStream(const COrvikFilePath& path);
  // The start offset changes nothing: the file starts empty and is written from its beginning.
  CWritableFileStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  ~CWritableFileStream() override;

  // Whether the file could be opened; every operation is E_FAIL when it could not.
  bool opened() const { return opened_; }

  // Reads and writes at the file's one position. A short write is E_FAIL.
  HRESULT Read(void* buffer, unsigned long count, unsigned long* read) override;
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;
  // Every origin but STREAM_SEEK_CUR and STREAM_SEEK_END counts from the start. A position past the
  // end is allowed.
  HRESULT Seek(_LARGE_INTEGER move, unsigned long origin, _ULARGE_INTEGER* new_position) override;

 private:
  enum class Direction { kNone, kRead, kWrite };

  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  // The C library wants a positioning call between a read and a write.
  void Turn(Direction direction);

  std::FILE* file_ = nullptr;
  COrvikFilePath path_;
  bool opened_ = false;
  Direction direction_ = Direction::kNone;
};

}  // namespace orvik
