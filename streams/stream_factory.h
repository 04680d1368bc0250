// Creates the streams. Each has one reference; every failure gives a null pointer without a reason.
#pragma once

#include "files/file_path.h"
#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

class CStreamFactory {
 public:
  CStreamFactory() = delete;

  // A stream that collects bytes in memory (writeable_buffer_stream.h). The caller owns the
  // reference in `*out`; for a null `out` nothing is made.
  static void CreateWritableBufferStream(IStreamOnBuffer** out);

  // Reads from `start`. Null when the file cannot be opened.
  static CComPtr<IStream> CreateReadableStreamOnFile(const COrvikFilePath& path,
                                                     _LARGE_INTEGER start = {});

  // Reads the files of CreateWritableCompressedFileStream (compressed_file_stream.h). Null when the
  // file cannot be opened.
  static CComPtr<IStream> CreateReadableCompressedFileStream(const COrvikFilePath& path);

  // Creates or empties the file. Null for the empty path and when it cannot be opened. The start is
  // ignored.
  static CComPtr<IStream> CreateWritableFileStream(const COrvikFilePath& path,
                                                   _LARGE_INTEGER start = {});

  // Writes a compressed file, which replaces the file at the path with the last Release
  // (compressed_file_stream.h). Null for the empty path and when the file cannot be replaced. The
  // start is ignored.
  static CComPtr<IStream> CreateWritableCompressedFileStream(const COrvikFilePath& path,
                                                             _LARGE_INTEGER start = {});
};

}  // namespace orvik
