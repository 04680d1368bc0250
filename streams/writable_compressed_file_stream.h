// A stream whose bytes end up compressed in a file.
//
// The file holds exactly one zlib stream (RFC 1950) over all bytes written, and nothing else; it is
// written when the last reference goes. Until then the bytes are collected in a temporary file
// (".rawstream"), which is removed in every case, and the target is empty. The target holds the
// bytes uncompressed when they do not shrink to their length + 100 bytes, when there are
// 4 GiB or more of them, and when it cannot be written as a zlib stream; it stays empty when it has
// become read-only, and when the bytes could not all be collected and no write could tell so.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <memory>

#include "files/file_path.h"
#include "host/descriptor.h"
#include "streams/com_ptr.h"
#include "streams/reference_counted.h"

namespace [[gnu::visibility("default")]] orvik {

class CWritableCompressedFileStream final : public StreamBase<IStream> {
 public:
  explicit CWritableCompressedFileStream(const COrvikFilePath& path);
  CWritableCompressedFileStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  ~CWritableCompressedFileStream() override;

  // Whether the target and the temporary file could be opened. When only the latter could not, the
  // target has been emptied already.
  bool valid() const { return valid_; }

  // E_INVALIDARG when the stream is not valid or the bytes could not be written.
  HRESULT Write(const void* data, unsigned long count, unsigned long* written) override;

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  // True when the target holds the compressed bytes.
  bool CompressFile();

  bool written_ = false;
  bool failure_told_ = false;  // by a write: what came before it is compressed
  off_t raw_size_ = 0;
  host::Descriptor raw_lock_;
  _LARGE_INTEGER start_;
  COrvikFilePath target_path_;
  COrvikFilePath raw_path_;
  CComPtr<IStream> inner_;
  std::unique_ptr<std::FILE, CloseFile> target_;
  bool valid_ = false;
};

// Compresses a file of less than 4 GiB into another, which is replaced. 0 for success. A source
// that does not exist counts as empty; one that cannot be read whole is a failure. The compression
// is always zlib's default level, which is 6.
int compressFile(const COrvikFilePath& source, const COrvikFilePath& destination, int level);

// zlib's compress: its result, and its length through `destination_length`.
int zlib1_compress(unsigned char* destination, unsigned int* destination_length,
                   const unsigned char* source, unsigned int source_length);

}  // namespace orvik
