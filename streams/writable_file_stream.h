// A stream into a file, which is created or emptied when the stream is made and stays open until
// the last Release. Bytes are gathered on their way, as the C library does: a write that fails is
// reported by a later one, by a seek, or not at all when it is the last. Offsets are 64 bits.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

#include "files/file_path.h"
#include "streams/reference_counted.h"

namespace [[gnu::visibility("default")]] orvik {

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
  // The C library wants a positioning call between a read and a write. False when gathered bytes
  // cannot be written.
  bool Turn(Direction direction);
  // Hands the gathered bytes to the C library.
  bool Flush();

  std::FILE* file_ = nullptr;
  COrvikFilePath path_;
  bool opened_ = false;
  Direction direction_ = Direction::kNone;
  std::unique_ptr<unsigned char[]> gathered_;  // small pieces, which are cheaper here than there
  std::size_t gathered_count_ = 0;
  std::size_t gathered_free_ = 0;  // 0 unless the last operation was a write
};

}  // namespace orvik
