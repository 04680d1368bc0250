// Streams into and out of compressed files.
//
// A compressed file holds exactly one zlib stream (RFC 1950), or uncompressed bytes that would not
// have become shorter. Both classes work in constant memory, on one file from its beginning to its
// end. An object is used in one thread at a time; the reference count alone is shared between
// threads. Errors come as results of the calls; too little memory throws std::bad_alloc.
#pragma once

#include <memory>

#include "files/file_path.h"
#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"
#include "streams/write_buffer.h"

namespace [[gnu::visibility("default")]] orvik {

// A stream whose bytes end up compressed in a file.
//
// The file then holds exactly one zlib stream (RFC 1950) at the default level over all bytes
// written, and nothing else. They are compressed as they come, in constant memory, into a private
// file beside the target, which takes its place when the last reference goes, or with Finish. Until
// then the target is as it was, or missing. What stays of a target that exists is said in
// host/file_replacement.h: mode, owner, group, links, and its other names.
//
// The target holds the bytes uncompressed when their compressed form would be more than 100 bytes
// longer. A read-only file, which all users lack permission to write, is refused, also for root and
// behind a link. The target stays as it was when it has become read-only, and when not all bytes
// could be taken or the file could not be put in place; Finish reports that.
class CWritableCompressedFileStream final : public StreamBase<IStream>, public IFinishableStream {
 public:
  // The start offset changes nothing.
  explicit CWritableCompressedFileStream(const COrvikFilePath& path, _LARGE_INTEGER start = {});
  ~CWritableCompressedFileStream() override;

  // Whether the target can be written and there is a file to collect the bytes in.
  bool valid() const { return valid_; }

  // E_INVALIDARG when the stream is not valid or finished, or the bytes could not be written.
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;

  // Puts the file in its place.
  HRESULT Finish() override;
  WriteRoom* room() override { return buffer_.room(); }

 private:
  struct File;

  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  // True when the target holds the compressed bytes.
  bool CompressFile();

  std::unique_ptr<File> file_;
  WriteBuffer buffer_;
  bool valid_ = false;
  bool is_finished_ = false;
  bool has_failed_ = false;
};

// Compresses a file into another, which is replaced. 0 for success. A source that does not exist
// counts as empty; one that cannot be read whole is a failure, and so are a device and one whose
// compressed form is more than 100 bytes longer. The compression is always zlib's default level,
// which is 6.
int compressFile(const COrvikFilePath& source, const COrvikFilePath& destination, int level);

// zlib's compress: its result, and its length through `destination_length`.
int zlib1_compress(unsigned char* destination, unsigned int* destination_length,
                   const unsigned char* source, unsigned int source_length);

// A stream that reads what CWritableCompressedFileStream has written.
//
// The file is held open from the constructor on, and read once, from its beginning to its end. A
// file that begins as a zlib stream (RFC 1950) is decompressed. Any other is given as it is: so the
// writer leaves bytes that do not get shorter. Such bytes may happen to begin as a zlib stream;
// they are read with CreateReadableStreamOnFile.
class CReadableCompressedFileStream final : public StreamBase<IStream> {
 public:
  explicit CReadableCompressedFileStream(const COrvikFilePath& path);
  ~CReadableCompressedFileStream() override;

  // Whether the file could be opened: a regular file or a character device.
  [[nodiscard]] bool opened() const;
  // Whether its bytes are decompressed.
  [[nodiscard]] bool is_compressed() const;

  // S_FALSE, and 0 bytes, behind the last byte. E_FAIL, and the bytes before the fault, for a
  // stream that is damaged, ends too early or has bytes behind its end, and when the file cannot be
  // read; then for every further call. E_INVALIDARG for a null buffer. `read` may be null.
  HRESULT Read(void* buffer, unsigned long count, unsigned long* read) override;

 private:
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orvik
