#include "streams/compressed_file.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string_view>

#include "files/whole_file.h"

namespace orvik {
namespace {

constexpr std::size_t kPiece = 1 << 16;
constexpr std::uint64_t kSlack = 100;  // by which the compressed form may be longer

}  // namespace

CompressedFile::~CompressedFile() {
  if (is_open_) deflateEnd(&stream_);
}

bool CompressedFile::Open(const COrvikFilePath& path) {
  path_ = path;
  is_open_ = path.CanFileBeWrittenTo() && OpenReplacement(path, file_) &&
             deflateInit(&stream_, Z_DEFAULT_COMPRESSION) == Z_OK;
  return is_open_;
}

bool CompressedFile::Write(const unsigned char* bytes, std::size_t count) {
  if (!is_open_) return false;
  taken_ += count;
  constexpr std::size_t kMostBytes = std::numeric_limits<uInt>::max();
  for (std::size_t left = count; left != 0;) {
    const std::size_t piece = std::min(left, kMostBytes);
    stream_.next_in = const_cast<Bytef*>(bytes + (count - left));
    stream_.avail_in = static_cast<uInt>(piece);
    left -= piece;
    if (!Deflate(Z_NO_FLUSH)) return false;
  }
  return true;
}

bool CompressedFile::Deflate(int flush) {
  Bytef output[kPiece];
  int result = Z_OK;
  do {
    stream_.next_out = output;
    stream_.avail_out = sizeof output;
    result = deflate(&stream_, flush);
    const std::size_t count = sizeof output - stream_.avail_out;
    given_ += count;
    const bool is_good = result == Z_OK || result == Z_STREAM_END || result == Z_BUF_ERROR;
    if (!is_good || file_.Write({reinterpret_cast<const char*>(output), count}) != 0) {
      deflateEnd(&stream_);
      is_open_ = false;
      return false;
    }
  } while (stream_.avail_out == 0);
  return true;
}

CompressedFile::Result CompressedFile::Finish(WhenLarger when_larger) {
  if (!is_open_ || !Deflate(Z_FINISH) || !path_.CanFileBeWrittenTo()) return Result::kFailed;
  if (given_ <= taken_ + kSlack) {
    return file_.Commit() == 0 ? Result::kCompressed : Result::kFailed;
  }
  if (when_larger == WhenLarger::kFail || !StoreUncompressed()) return Result::kFailed;
  return Result::kUncompressed;
}

// The bytes are in the stream that is not needed.
bool CompressedFile::StoreUncompressed() {
  host::FileReplacement plain;
  if (!OpenReplacement(path_, plain)) return false;
  z_stream inflation = {};
  if (inflateInit(&inflation) != Z_OK) return false;
  const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&inflation, inflateEnd);
  Bytef input[kPiece], output[kPiece];
  int result = Z_OK;
  for (std::uint64_t at = 0; result != Z_STREAM_END;) {
    if (inflation.avail_in == 0) {
      const std::size_t count = file_.Read(input, sizeof input, at);
      at += count;
      inflation.next_in = input;
      inflation.avail_in = static_cast<uInt>(count);
    }
    inflation.next_out = output;
    inflation.avail_out = sizeof output;
    result = inflate(&inflation, Z_NO_FLUSH);
    if (result != Z_OK && result != Z_STREAM_END) return false;
    const std::size_t count = sizeof output - inflation.avail_out;
    if (plain.Write({reinterpret_cast<const char*>(output), count}) != 0) return false;
  }
  return plain.Commit() == 0;
}

}  // namespace orvik
