// Creates the streams. Each comes with one reference; a null pointer is the only sign of failure.
#pragma once

#include "files/file_path.h"
#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

class CStreamFactory {
 public:
  CStreamFactory() = delete;

  // A stream that collects bytes in memory (writeable_buffer_stream.h). The caller owns the
  // reference in `*out`; nothing is made for a null `out`.
  static void CreateWritableBufferStream(IStreamOnBuffer** out);

  // Null when the file cannot be opened. Reads from `start` on.
  static CComPtr<IStream> CreateReadableStreamOnFile(const COrvikFilePath& path,
                                                     _LARGE_INTEGER start = {});

  // Reads what CreateWritableCompressedFileStream has written
  // (compressed_file_stream.h). Null when the file cannot be opened.
  static CComPtr<IStream> CreateReadableCompressedFileStream(const COrvikFilePath& path);

  // Creates or empties the file. Null for the empty path and when it cannot be opened. The start
  // changes nothing.
  static CComPtr<IStream> CreateWritableFileStream(const COrvikFilePath& path,
                                                   _LARGE_INTEGER start = {});

  // A file that takes the place of the one at the path, compressed, with the last Release
  // (compressed_file_stream.h). Null for the empty path and when the file cannot be
  // replaced. The start changes nothing.
  static CComPtr<IStream> CreateWritableCompressedFileStream(const COrvikFilePath& path,
                                                             _LARGE_INTEGER start = {});
};

}  // namespace orvik
