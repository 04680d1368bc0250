#include "streams/writable_file_stream.h"

#include "files/file_manipulator.h"

namespace orvik {

CWritableFileStream::CWritableFileStream(const COrvikFilePath& path) {
  InitializeStream(path, {});
}

CWritableFileStream::CWritableFileStream(const COrvikFilePath& path, _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

CWritableFileStream::~CWritableFileStream() {
  if (file_ != nullptr) std::fclose(file_);
}

void CWritableFileStream::InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER) {
  opened_ = false;
  path_ = path;
  file_ = CFileManipulator::OpenFile(path, "w+b");
  opened_ = file_ != nullptr;
}

void CWritableFileStream::Turn(Direction direction) {
  if (direction_ != direction && direction_ != Direction::kNone) {
    static_cast<void>(fseeko(file_, 0, SEEK_CUR));
  }
  direction_ = direction;
}

HRESULT CWritableFileStream::Read(void* buffer, unsigned long count, unsigned long* read) {
  if (buffer == nullptr || read == nullptr || file_ == nullptr) return E_FAIL;
  Turn(Direction::kRead);
  *read = std::fread(buffer, 1, count, file_);
  return *read == 0 ? S_FALSE : S_OK;
}

HRESULT CWritableFileStream::Write(const void* data, unsigned long count, unsigned long* written) {
  unsigned long done = 0;
  if (file_ != nullptr && data != nullptr) {
    Turn(Direction::kWrite);
    done = std::fwrite(data, 1, count, file_);
  }
  if (written != nullptr) *written = done;
  return done == count && file_ != nullptr ? S_OK : E_FAIL;
}

HRESULT CWritableFileStream::Seek(_LARGE_INTEGER move, unsigned long origin,
                                  _ULARGE_INTEGER* new_position) {
  if (file_ == nullptr) return E_FAIL;
  const int whence = origin == STREAM_SEEK_CUR   ? SEEK_CUR
                     : origin == STREAM_SEEK_END ? SEEK_END
                                                 : SEEK_SET;
  if (fseeko(file_, move.QuadPart, whence) != 0) return E_FAIL;
  direction_ = Direction::kNone;
  if (new_position != nullptr) {
    const off_t position = ftello(file_);
    new_position->QuadPart = position < 0 ? 0 : static_cast<std::uint64_t>(position);
  }
  return S_OK;
}

}  // namespace orvik
