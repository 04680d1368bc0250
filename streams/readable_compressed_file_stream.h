// A stream that reads what CWritableCompressedFileStream has written.
//
// The file is held open from the constructor on, and read once, from its beginning to its end. A
// file that begins as a zlib stream (RFC 1950) is decompressed. Any other is given as it is: so the
// writer leaves bytes that do not get shorter. Such bytes may happen to begin as a zlib stream;
// they are read with CreateReadableStreamOnFile.
#pragma once

#include <memory>

#include "files/file_path.h"
#include "streams/reference_counted.h"

namespace [[gnu::visibility("default")]] orvik {

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
