#include "streams/compressed_file_stream.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <limits>
#include <memory>

#include "files/file_manipulator.h"
#include "files/whole_file.h"
#include "files/windows_files.h"
#include "host/descriptor.h"
#include "host/file_replacement.h"
#include "host/paths.h"

namespace orvik {

namespace {

constexpr std::size_t kPiece = 1 << 16;
constexpr std::uint64_t kSlack = 100;  // the most bytes by which compression may lengthen

// False for a file that no user may write (no write bit in its mode). Links are followed.
bool MayBeWritten(const COrvikFilePath& path) {
  struct stat file;
  return host::StatPath(path.ToBytes(), 0, &file) != 0 ||
         (AttributesFromMode(static_cast<UInt16>(file.st_mode)) & FILE_ATTRIBUTE_READONLY) == 0;
}

}  // namespace

// Replaces a file by one zlib stream at the default level; Finish puts it in place.
class CompressedFile {
 public:
  CompressedFile() = default;
  CompressedFile(const CompressedFile&) = delete;
  CompressedFile& operator=(const CompressedFile&) = delete;
  ~CompressedFile();

  // False when the file cannot be replaced.
  bool Open(const COrvikFilePath& path);
  // False when the bytes could not be compressed or written; then no more bytes are accepted.
  bool Write(const unsigned char* bytes, std::size_t count);
  // Write as a function for a WriteBuffer.
  auto writer() {
    return [this](const unsigned char* bytes, std::size_t count) { return Write(bytes, count); };
  }

  enum class WhenLarger { kFail, kStoreUncompressed };
  enum class Result { kFailed, kCompressed, kUncompressed };
  // Ends the stream. If it is more than 100 bytes longer than its content, this fails, or stores
  // the content uncompressed in the file. A failure leaves the old file as it was.
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

CompressedFile::~CompressedFile() {
  if (is_open_) deflateEnd(&stream_);
}

bool CompressedFile::Open(const COrvikFilePath& path) {
  path_ = path;
  is_open_ = MayBeWritten(path) && OpenReplacement(path, file_) &&
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
  if (!is_open_ || !Deflate(Z_FINISH) || !MayBeWritten(path_)) return Result::kFailed;
  if (given_ <= taken_ + kSlack) {
    return file_.Commit() == 0 ? Result::kCompressed : Result::kFailed;
  }
  if (when_larger == WhenLarger::kFail || !StoreUncompressed()) return Result::kFailed;
  return Result::kUncompressed;
}

// Decompresses the stream, which is not needed any more, to get the bytes.
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

struct CWritableCompressedFileStream::File : CompressedFile {};

CWritableCompressedFileStream::CWritableCompressedFileStream(const COrvikFilePath& path,
                                                             _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

CWritableCompressedFileStream::~CWritableCompressedFileStream() {
  static_cast<void>(Finish());
}

void CWritableCompressedFileStream::InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER) {
  file_ = std::make_unique<File>();
  valid_ = file_->Open(path);
}

HRESULT CWritableCompressedFileStream::Write(const void* data, unsigned long count,
                                             unsigned long* written) {
  if (written != nullptr) *written = 0;
  if (!valid_ || is_finished_ || has_failed_ || (data == nullptr && count != 0)) {
    return E_INVALIDARG;
  }
  // If an exception leaves this function, the flag stays set: an incomplete file must not replace
  // the old one.
  has_failed_ = true;
  if (!buffer_.Add(data, count, file_->writer())) return E_INVALIDARG;
  has_failed_ = false;
  if (written != nullptr) *written = count;
  return S_OK;
}

HRESULT CWritableCompressedFileStream::Finish() {
  if (!is_finished_) {
    is_finished_ = true;
    CompressFile();
  }
  return has_failed_ ? E_FAIL : S_OK;
}

bool CWritableCompressedFileStream::CompressFile() {
  using enum CompressedFile::Result;
  has_failed_ = has_failed_ || !valid_ || !buffer_.Flush(file_->writer());
  if (has_failed_) return false;
  const auto result = file_->Finish(CompressedFile::WhenLarger::kStoreUncompressed);
  has_failed_ = result == kFailed;
  return result == kCompressed;
}

int compressFile(const COrvikFilePath& source, const COrvikFilePath& destination, int) {
  CompressedFile compressed;
  if (!compressed.Open(destination)) return -1;
  if (source.FileExists()) {
    const CFile file(CFileManipulator::OpenFile(source, "rb"));
    // A device may have no end.
    if (!file || !host::SizeOfRegular(fileno(file.get()))) return -1;
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[kPiece]);
    for (std::size_t count; (count = std::fread(buffer.get(), 1, kPiece, file.get())) != 0;) {
      if (!compressed.Write(buffer.get(), count)) return -1;
    }
    if (std::ferror(file.get()) != 0) return -1;
  }
  using enum CompressedFile::Result;
  return compressed.Finish(CompressedFile::WhenLarger::kFail) == kCompressed ? 0 : -1;
}

int zlib1_compress(unsigned char* destination, unsigned int* destination_length,
                   const unsigned char* source, unsigned int source_length) {
  uLongf length = *destination_length;
  const int result = compress(destination, &length, source, source_length);
  *destination_length = static_cast<unsigned int>(length);
  return result;
}

namespace {

// Whether the two bytes begin a zlib stream without a preset dictionary (RFC 1950, 2.2).
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

  // Reads the next piece of the file; at its end the piece is empty.
  void Fill() {
    zlib.next_in = piece;
    zlib.avail_in = static_cast<uInt>(std::fread(piece, 1, kPiece, file.get()));
    if (std::ferror(file.get()) != 0) has_failed = true;
  }

  // Fills the buffer; 0 at the end and after a failure.
  std::size_t Give(unsigned char* buffer, std::size_t count) {
    if (zlib.avail_in == 0) Fill();
    if (has_failed) return 0;
    if (!is_compressed || is_at_end) {
      // A file must end with its stream.
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
    // A piece of compressed bytes may yield nothing until the next piece is read.
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
