// Compressing into a file while the bytes come, in constant memory.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>

#include "files/file_path.h"
#include "host/file_replacement.h"

namespace orvik {

// Replaces a file by one zlib stream at the default level, when it is finished.
class CompressedFile {
 public:
  CompressedFile() = default;
  CompressedFile(const CompressedFile&) = delete;
  CompressedFile& operator=(const CompressedFile&) = delete;
  ~CompressedFile();

  // False when the file cannot be replaced.
  bool Open(const COrvikFilePath& path);
  // False when the bytes could not be taken; nothing more is taken then.
  bool Write(const unsigned char* bytes, std::size_t count);

  enum class WhenLarger { kFail, kStoreUncompressed };
  enum class Result { kFailed, kCompressed, kUncompressed };
  // Ends the stream. A stream that is more than 100 bytes longer than what it holds is a failure,
  // or leaves the bytes in the file as they are. After a failure the file is as it was.
  Result Finish(WhenLarger when_larger);

 private:
  bool Deflate(int flush);
  bool StoreUncompressed();

  COrvikFilePath path_;
  host::FileReplacement file_;
  z_stream stream_ = {};
  bool is_open_ = false;
  std::uint64_t taken_ = 0;
  std::uint64_t given_ = 0;
};

}  // namespace orvik
