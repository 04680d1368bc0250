#include "streams/writable_compressed_file_stream.h"

#include <sys/stat.h>
#include <zlib.h>

#include <cerrno>
#include <limits>
#include <memory>
#include <new>

#include "files/file_manipulator.h"
#include "files/whole_file.h"
#include "streams/stream_factory.h"
#include "streams/temp_file.h"

namespace orvik {
namespace {

constexpr unsigned int kCompressionSlack = 100;
constexpr int kDefaultLevel = 6;
constexpr char16_t kRawExtension[] = u".rawstream";

}  // namespace

CWritableCompressedFileStream::CWritableCompressedFileStream(const COrvikFilePath& path) {
  InitializeStream(path, {});
}

CWritableCompressedFileStream::CWritableCompressedFileStream(const COrvikFilePath& path,
                                                             _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

CWritableCompressedFileStream::~CWritableCompressedFileStream() {
  target_.reset();
  if (valid_) CompressFile();
  CFileManipulator::DeleteFile(raw_path_);
}

void CWritableCompressedFileStream::InitializeStream(const COrvikFilePath& path,
                                                     _LARGE_INTEGER start) {
  start_ = start;
  target_path_ = path;
  raw_path_ = COrvikFilePath::CreateTempFileName(kRawExtension, {});
  if (!target_path_.CanFileBeWrittenTo()) return;
  target_.reset(CFileManipulator::OpenFile(path, "wb"));
  if (target_ == nullptr) return;
  raw_lock_ = CreateTempFile(raw_path_, kRawExtension);
  if (!raw_lock_) return;
  inner_ = CStreamFactory::CreateWritableFileStream(raw_path_, start_);
  valid_ = inner_ != nullptr;
}

HRESULT CWritableCompressedFileStream::Write(const void* data, unsigned long count,
                                             unsigned long* written) {
  if (inner_ == nullptr) {
    if (written != nullptr) *written = 0;
    return E_INVALIDARG;
  }
  const HRESULT result = inner_->Write(data, count, written);
  if (result < 0) {
    failure_told_ = true;
    return E_INVALIDARG;
  }
  written_ = true;
  raw_size_ += static_cast<off_t>(count);
  return result;
}

bool CWritableCompressedFileStream::CompressFile() {
  if (inner_ == nullptr) return false;
  inner_.Release();
  // What could not be written, perhaps only with the last release, must not pass for less.
  struct stat record;
  errno = 0;
  const bool is_found = CFileManipulator::StatFile(raw_path_, &record) == 0;
  const bool has_vanished = !is_found && errno == ENOENT;
  const bool is_whole = is_found && record.st_size == raw_size_;
  if (!failure_told_ && !is_whole && !has_vanished) return false;
  if (!written_ || has_vanished) {
    CFileManipulator::CopyFileTo(target_path_, raw_path_, FALSE);
  }
  if (!target_path_.CanFileBeWrittenTo()) return false;
  if (compressFile(raw_path_, target_path_, kDefaultLevel) == 0) return true;
  CFileManipulator::CopyFileTo(raw_path_, target_path_, FALSE);
  return false;
}

int compressFile(const COrvikFilePath& source, const COrvikFilePath& destination, int) {
  unsigned char* bytes = nullptr;
  const unsigned long length = CFileManipulator::ReadFileIntoBuffer(source, bytes);
  std::unique_ptr<unsigned char[]> input(bytes);
  if (source.FileExists() && length != source.GetFileSize()) return -1;
  if (length > std::numeric_limits<unsigned int>::max() - kCompressionSlack) return -1;

  auto output_length = static_cast<unsigned int>(length) + kCompressionSlack;
  const std::unique_ptr<unsigned char[]> output(new (std::nothrow) unsigned char[output_length]);
  if (output == nullptr) return Z_MEM_ERROR;  // the bytes then reach the target uncompressed
  const int result =
      zlib1_compress(output.get(), &output_length, input.get(), static_cast<unsigned int>(length));
  input.reset();
  if (result != Z_OK) return result;

  const char* const compressed = reinterpret_cast<const char*>(output.get());
  return WriteWholeFile(destination, {compressed, output_length}) ? 0 : -1;
}

int zlib1_compress(unsigned char* destination, unsigned int* destination_length,
                   const unsigned char* source, unsigned int source_length) {
  uLongf length = *destination_length;
  const int result = compress(destination, &length, source, source_length);
  *destination_length = static_cast<unsigned int>(length);
  return result;
}

}  // namespace orvik
