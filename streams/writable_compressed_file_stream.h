// A stream whose bytes end up compressed in a file.
//
// The file then holds exactly one zlib stream (RFC 1950) at the default level over all bytes
// written, and nothing else. They are compressed as they come, in constant memory, into a private
// file beside the target, which takes its place when the last reference goes, or with Finish. Until
// then the target is as it was, or missing. What stays of a target that exists is said in
// host/file_replacement.h: mode, owner, group, links, and its other names.
//
// The target holds the bytes uncompressed when their compressed form would be more than 100 bytes
// longer. It stays as it was when it has become read-only, and when not all bytes could be taken or
// the file could not be put in place; Finish reports that.
#pragma once

#include <memory>

#include "files/file_path.h"
#include "streams/finishable_stream.h"
#include "streams/reference_counted.h"
#include "streams/write_buffer.h"

namespace [[gnu::visibility("default")]] orvik {

class CompressedFile;

class CWritableCompressedFileStream final : public StreamBase<IStream>, public IFinishableStream {
 public:
  explicit CWritableCompressedFileStream(const COrvikFilePath& path);
  // The start offset changes nothing.
  CWritableCompressedFileStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  ~CWritableCompressedFileStream() override;

  // Whether the target can be written and there is a file to collect the bytes in.
  bool valid() const { return valid_; }

  // E_INVALIDARG when the stream is not valid or finished, or the bytes could not be written.
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;

  // Puts the file in its place.
  HRESULT Finish() override;
  WriteRoom* room() override { return buffer_.room(); }

 private:
  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  // True when the target holds the compressed bytes.
  bool CompressFile();

  _LARGE_INTEGER start_;
  std::unique_ptr<CompressedFile> file_;
  WriteBuffer buffer_;
  bool valid_ = false;
  bool is_finished_ = false;
  bool has_failed_ = false;
};

// Compresses a file into another, which is replaced. 0 for success. A source that does not exist
// counts as empty; one that cannot be read whole is a failure, and so is one whose compressed form
// is more than 100 bytes longer. The compression is always zlib's default level, which is 6.
int compressFile(const COrvikFilePath& source, const COrvikFilePath& destination, int level);

// zlib's compress: its result, and its length through `destination_length`.
int zlib1_compress(unsigned char* destination, unsigned int* destination_length,
                   const unsigned char* source, unsigned int source_length);

}  // namespace orvik
