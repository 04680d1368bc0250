#include "streams/writable_file_stream.h"

#include <utility>

#include "files/file_manipulator.h"
#include "streams/copy_piece.h"

namespace orvik {
namespace {

constexpr std::size_t kGathered = 1 << 16;

}  // namespace

CWritableFileStream::CWritableFileStream(const COrvikFilePath& path) {
  InitializeStream(path, {});
}

CWritableFileStream::CWritableFileStream(const COrvikFilePath& path, _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

CWritableFileStream::~CWritableFileStream() {
  if (file_ == nullptr) return;
  Flush();
  std::fclose(file_);
}

void CWritableFileStream::InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER) {
  opened_ = false;
  path_ = path;
  file_ = CFileManipulator::OpenFile(path, "w+b");
  opened_ = file_ != nullptr;
}

bool CWritableFileStream::Turn(Direction direction) {
  if (!Flush()) return false;
  if (direction_ != direction && direction_ != Direction::kNone) {
    static_cast<void>(fseeko(file_, 0, SEEK_CUR));
  }
  direction_ = direction;
  return true;
}

bool CWritableFileStream::Flush() {
  const std::size_t count = std::exchange(gathered_count_, 0);
  gathered_free_ = 0;
  return count == 0 || std::fwrite(gathered_.get(), 1, count, file_) == count;
}

HRESULT CWritableFileStream::Read(void* buffer, unsigned long count, unsigned long* read) {
  if (buffer == nullptr || read == nullptr || file_ == nullptr) return E_FAIL;
  *read = Turn(Direction::kRead) ? std::fread(buffer, 1, count, file_) : 0;
  return *read == 0 ? S_FALSE : S_OK;
}

HRESULT CWritableFileStream::Write(const void* data, unsigned long count, unsigned long* written) {
  if (written != nullptr) *written = 0;
  if (file_ == nullptr || (data == nullptr && count != 0)) return E_FAIL;
  if (count > gathered_free_) {
    if (!Turn(Direction::kWrite)) return E_FAIL;
    if (count >= kGathered) {
      const std::size_t done = std::fwrite(data, 1, count, file_);
      if (written != nullptr) *written = done;
      return done == count ? S_OK : E_FAIL;
    }
    if (gathered_ == nullptr) gathered_.reset(new unsigned char[kGathered]);
    gathered_free_ = kGathered;
  }
  CopyPiece(gathered_.get() + gathered_count_, data, count);
  gathered_count_ += count;
  gathered_free_ -= count;
  if (written != nullptr) *written = count;
  return S_OK;
}

HRESULT CWritableFileStream::Seek(_LARGE_INTEGER move, unsigned long origin,
                                  _ULARGE_INTEGER* new_position) {
  if (file_ == nullptr || !Flush()) return E_FAIL;
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
