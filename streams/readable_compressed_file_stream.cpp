#include "streams/readable_compressed_file_stream.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdio>

#include "files/c_file.h"
#include "files/file_manipulator.h"

namespace orvik {
namespace {

constexpr std::size_t kPiece = 1 << 16;

// The two bytes at the start of a zlib stream without a preset dictionary (RFC 1950, 2.2).
bool IsZlibHeader(const unsigned char* bytes) {
  return (bytes[0] & 0x0F) == Z_DEFLATED && bytes[0] >> 4 <= 7 && (bytes[1] & 0x20) == 0 &&
         (bytes[0] * 256 + bytes[1]) % 31 == 0;
}

}  // namespace

struct CReadableCompressedFileStream::State {
  explicit State(const COrvikFilePath& path) : file(CFileManipulator::OpenFile(path, "rb")) {
    if (!file) return;
    Fill();
    if (zlib.avail_in < 2 || !IsZlibHeader(piece)) return;
    is_compressed = inflateInit(&zlib) == Z_OK;
    has_failed = !is_compressed;
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    if (is_compressed) inflateEnd(&zlib);
  }

  // Reads the next piece of the file; none is left at its end.
  void Fill() {
    zlib.next_in = piece;
    zlib.avail_in = static_cast<uInt>(std::fread(piece, 1, kPiece, file.get()));
    if (std::ferror(file.get()) != 0) has_failed = true;
  }

  // Bytes for the buffer; 0 at the end and after a failure.
  std::size_t Give(unsigned char* buffer, std::size_t count) {
    if (zlib.avail_in == 0) Fill();
    if (has_failed) return 0;
    if (!is_compressed || is_at_end) {
      // Nothing lies behind a stream.
      has_failed = is_at_end && zlib.avail_in != 0;
      if (is_at_end) return 0;
      const std::size_t given = std::min<std::size_t>(count, zlib.avail_in);
      std::copy_n(zlib.next_in, given, buffer);
      zlib.next_in += given;
      zlib.avail_in -= static_cast<uInt>(given);
      return given;
    }
    const std::size_t room = std::min<std::size_t>(count, UINT_MAX);
    zlib.next_out = buffer;
    zlib.avail_out = static_cast<uInt>(room);
    const bool file_ends = zlib.avail_in == 0;
    const int result = inflate(&zlib, Z_NO_FLUSH);
    is_at_end = result == Z_STREAM_END;
    has_failed = !is_at_end && (result != Z_OK || (file_ends && zlib.avail_out != 0));
    return room - zlib.avail_out;
  }

  CFile file;
  z_stream zlib = {};
  bool is_compressed = false;
  bool is_at_end = false;
  bool has_failed = false;
  unsigned char piece[kPiece];
};

CReadableCompressedFileStream::CReadableCompressedFileStream(const COrvikFilePath& path)
    : state_(std::make_unique<State>(path)) {}

CReadableCompressedFileStream::~CReadableCompressedFileStream() = default;

bool CReadableCompressedFileStream::opened() const {
  return state_->file != nullptr;
}

bool CReadableCompressedFileStream::is_compressed() const {
  return state_->is_compressed;
}

HRESULT CReadableCompressedFileStream::Read(void* buffer, unsigned long count,
                                            unsigned long* read) {
  if (read != nullptr) *read = 0;
  if (buffer == nullptr) return E_INVALIDARG;
  if (!opened()) return E_FAIL;
  auto* const bytes = static_cast<unsigned char*>(buffer);
  std::size_t total = 0;
  bool goes_on = true;
  while (goes_on && total < count && !state_->has_failed) {
    // A piece of the file may give nothing before the next one is read.
    const bool was_at_end = state_->is_at_end;
    const std::size_t given = state_->Give(bytes + total, count - total);
    total += given;
    goes_on = given != 0 || (state_->is_compressed && !was_at_end);
  }
  if (read != nullptr) *read = total;
  if (state_->has_failed) return E_FAIL;
  return total == 0 ? S_FALSE : S_OK;
}

}  // namespace orvik
