#include "streams/writable_file_stream.h"

#include <cstdio>

#include "files/file_manipulator.h"

namespace orvik {

CWritableFileStream::CWritableFileStream(const COrvikFilePath& path, _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

CWritableFileStream::~CWritableFileStream() {
  static_cast<void>(Finish());
}

void CWritableFileStream::InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER) {
  path_ = path;
  file_.reset(CFileManipulator::OpenFile(path, "w+b"));
  opened_ = file_ != nullptr;
  has_failed_ = !opened_;
  // The stream's own buffer replaces that of the C library, because it is faster for small pieces.
  if (opened_) std::setvbuf(file_.get(), nullptr, _IONBF, 0);
}

std::size_t CWritableFileStream::WriteOut(const unsigned char* bytes, std::size_t count) {
  Turn(Direction::kWrite);
  const std::size_t written = std::fwrite(bytes, 1, count, file_.get());
  if (written != count) has_failed_ = true;
  return written;
}

bool CWritableFileStream::Flush() {
  return buffer_.Flush([this](const unsigned char* bytes, std::size_t count) {
    return WriteOut(bytes, count) == count;
  });
}

void CWritableFileStream::Turn(Direction direction) {
  if (direction_ != direction && direction_ != Direction::kNone) {
    static_cast<void>(fseeko(file_.get(), 0, SEEK_CUR));
  }
  direction_ = direction;
}

HRESULT CWritableFileStream::Read(void* buffer, unsigned long count, unsigned long* read) {
  if (buffer == nullptr || read == nullptr || file_ == nullptr) return E_FAIL;
  *read = 0;
  if (Flush()) {
    Turn(Direction::kRead);
    *read = std::fread(buffer, 1, count, file_.get());
  }
  return *read == 0 ? S_FALSE : S_OK;
}

HRESULT CWritableFileStream::Write(const void* data, unsigned long count, unsigned long* written) {
  if (written != nullptr) *written = 0;
  if (file_ == nullptr || (data == nullptr && count != 0)) return E_FAIL;
  std::size_t taken = count;
  const bool is_taken = buffer_.Add(data, count, [&](const unsigned char* bytes, std::size_t size) {
    const std::size_t done = WriteOut(bytes, size);
    if (done != size) taken = bytes == data ? done : 0;
    return done == size;
  });
  if (written != nullptr) *written = taken;
  return is_taken ? S_OK : E_FAIL;
}

HRESULT CWritableFileStream::Seek(_LARGE_INTEGER move, unsigned long origin,
                                  _ULARGE_INTEGER* new_position) {
  if (file_ == nullptr || !Flush()) return E_FAIL;
  const int whence = origin == STREAM_SEEK_CUR   ? SEEK_CUR
                     : origin == STREAM_SEEK_END ? SEEK_END
                                                 : SEEK_SET;
  if (fseeko(file_.get(), move.QuadPart, whence) != 0) return E_FAIL;
  direction_ = Direction::kNone;
  if (new_position != nullptr) {
    const off_t position = ftello(file_.get());
    new_position->QuadPart = position < 0 ? 0 : static_cast<std::uint64_t>(position);
  }
  return S_OK;
}

HRESULT CWritableFileStream::Finish() {
  if (file_ != nullptr) {
    Flush();
    if (std::fclose(file_.release()) != 0) has_failed_ = true;
  }
  return has_failed_ ? E_FAIL : S_OK;
}

}  // namespace orvik
