// Streams into and out of compressed files.
//
// A compressed file contains exactly one zlib stream (RFC 1950), or uncompressed bytes that
// compression would have lengthened. Both classes work in constant memory, on one file from its
// beginning to its end. An object is used in one thread at a time; only its reference count may be
// used by several. Errors are results of the calls; too little memory throws std::bad_alloc.
#pragma once

#include <memory>

#include "files/file_path.h"
#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"
#include "streams/write_buffer.h"

namespace [[gnu::visibility("default")]] orvik {

// A stream that writes its bytes compressed into a file.
//
// The file then contains exactly one zlib stream (RFC 1950) at the default level over all bytes
// written. Each write compresses its bytes, in constant memory, into a private file beside the
// target. The last Release or Finish replaces the target by it. Until then the target stays as it
// was, or missing. host/file_replacement.h lists what a target keeps: mode, owner, group, links,
// and its other names.
//
// If the compressed form is more than 100 bytes longer than the content, the target gets the
// uncompressed bytes. A read-only file, whose mode lets no user write, is refused, also for root
// and behind a link. The target also stays as it was if it has become read-only, if not all bytes
// could be written, or if it could not be replaced; Finish reports that.
class CWritableCompressedFileStream final : public StreamBase<IStream>, public IFinishableStream {
 public:
  // The start offset is ignored.
  explicit CWritableCompressedFileStream(const COrvikFilePath& path, _LARGE_INTEGER start = {});
  ~CWritableCompressedFileStream() override;

  // Whether the target can be written and the private file could be made.
  bool valid() const { return valid_; }

  // E_INVALIDARG when the stream is not valid or finished, or the bytes could not be written.
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;

  // Replaces the target.
  HRESULT Finish() override;
  WriteRoom* room() override { return buffer_.room(); }

 private:
  struct File;

  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  // True when the target contains the compressed bytes.
  bool CompressFile();

  std::unique_ptr<File> file_;
  WriteBuffer buffer_;
  bool valid_ = false;
  bool is_finished_ = false;
  bool has_failed_ = false;
};

// Compresses a file into another, which is replaced. 0 for success. A missing source counts as
// empty. Fails for a device, if the source cannot be read completely, and if its compressed form is
// more than 100 bytes longer. The compression always uses zlib's default level, 6.
int compressFile(const COrvikFilePath& source, const COrvikFilePath& destination, int level);

// zlib's compress: returns its result, and its length through `destination_length`.
int zlib1_compress(unsigned char* destination, unsigned int* destination_length,
                   const unsigned char* source, unsigned int source_length);

// A stream that reads the files of CWritableCompressedFileStream.
//
// The file is open from the constructor on, and is read once, from its beginning to its end. A file
// that begins like a zlib stream (RFC 1950) is decompressed. Other files are read unchanged,
// because the writer stores bytes uncompressed if compression would lengthen them. If such bytes
// happen to begin like a zlib stream, read them with CreateReadableStreamOnFile.
class CReadableCompressedFileStream final : public StreamBase<IStream> {
 public:
  explicit CReadableCompressedFileStream(const COrvikFilePath& path);
  ~CReadableCompressedFileStream() override;

  // Whether the file could be opened: a regular file or a character device.
  [[nodiscard]] bool opened() const;
  // Whether the stream decompresses the file.
  [[nodiscard]] bool is_compressed() const;

  // S_FALSE, and 0 bytes, at the end. E_FAIL, and the bytes before the fault, when the stream is
  // damaged, ends too early or is followed by other bytes, and when the file cannot be read;
  // further calls also fail. E_INVALIDARG for a null buffer. `read` may be null.
  HRESULT Read(void* buffer, unsigned long count, unsigned long* read) override;

 private:
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orvik
