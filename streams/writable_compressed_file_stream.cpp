#include "streams/writable_compressed_file_stream.h"

#include <zlib.h>

#include <cstdio>
#include <memory>

#include "files/c_file.h"
#include "files/file_manipulator.h"
#include "streams/compressed_file.h"

namespace orvik {

CWritableCompressedFileStream::CWritableCompressedFileStream(const COrvikFilePath& path) {
  InitializeStream(path, {});
}

CWritableCompressedFileStream::CWritableCompressedFileStream(const COrvikFilePath& path,
                                                             _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

CWritableCompressedFileStream::~CWritableCompressedFileStream() {
  static_cast<void>(Finish());
}

void CWritableCompressedFileStream::InitializeStream(const COrvikFilePath& path,
                                                     _LARGE_INTEGER start) {
  start_ = start;
  file_ = std::make_unique<CompressedFile>();
  valid_ = file_->Open(path);
}

HRESULT CWritableCompressedFileStream::Write(const void* data, unsigned long count,
                                             unsigned long* written) {
  if (written != nullptr) *written = 0;
  if (!valid_ || is_finished_ || has_failed_ || (data == nullptr && count != 0)) {
    return E_INVALIDARG;
  }
  const auto compress_piece = [this](const unsigned char* bytes, std::size_t size) {
    return file_->Write(bytes, size);
  };
  // An exception leaves it so: what is incomplete must not replace the old file.
  has_failed_ = true;
  if (!buffer_.Add(data, count, compress_piece)) return E_INVALIDARG;
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
  const auto compress_piece = [this](const unsigned char* bytes, std::size_t size) {
    return file_->Write(bytes, size);
  };
  has_failed_ = has_failed_ || !valid_ || !buffer_.Flush(compress_piece);
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
    if (!file) return -1;
    constexpr std::size_t kPiece = 1 << 16;
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

}  // namespace orvik
