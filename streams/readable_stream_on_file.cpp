#include "streams/readable_stream_on_file.h"

#include <algorithm>
#include <vector>

#include "files/file_manipulator.h"
#include "files/global_memory.h"

namespace orvik {
namespace {

constexpr std::size_t kCopyPiece = 20000;

// -1, a position outside every file, for a sum that does not fit.
std::int64_t Sum(std::int64_t base, std::int64_t move) {
  std::int64_t sum;
  return __builtin_add_overflow(base, move, &sum) ? -1 : sum;
}

}  // namespace

CReadableStreamOnFile::CReadableStreamOnFile(const COrvikFilePath& path, _LARGE_INTEGER start) {
  InitializeStream(path, start);
}

void CReadableStreamOnFile::InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start) {
  path_ = path;
  position_ = start;
  if (!InternalGetFileHandle()) return;
  opened_ = true;
  file_size_.QuadPart = path_.GetFileSize();
}

CFile CReadableStreamOnFile::InternalGetFileHandle() const {
  CFile file(CFileManipulator::OpenFile(path_, "rb"));
  // If no file can have the position, read from the end.
  if (file && fseeko(file.get(), position_.QuadPart, SEEK_SET) != 0) {
    static_cast<void>(fseeko(file.get(), 0, SEEK_END));
  }
  return file;
}

HRESULT CReadableStreamOnFile::Read(void* buffer, unsigned long count, unsigned long* read) {
  if (buffer == nullptr || read == nullptr) return E_FAIL;
  const CFile file = InternalGetFileHandle();
  *read = file ? std::fread(buffer, 1, count, file.get()) : 0;
  position_.QuadPart = Sum(position_.QuadPart, static_cast<std::int64_t>(*read));
  return *read == 0 ? S_FALSE : S_OK;
}

HRESULT CReadableStreamOnFile::Seek(_LARGE_INTEGER move, unsigned long origin,
                                    _ULARGE_INTEGER* new_position) {
  const auto size = static_cast<std::int64_t>(file_size_.QuadPart);
  if (origin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
  const std::int64_t base = origin == STREAM_SEEK_SET   ? 0
                            : origin == STREAM_SEEK_CUR ? position_.QuadPart
                                                        : size;
  const std::int64_t position = Sum(base, move.QuadPart);
  if (position < 0 || position > size) {
    position_.QuadPart = size + 1;
    return STG_E_INVALIDFUNCTION;
  }
  position_.QuadPart = position;
  if (new_position != nullptr) new_position->QuadPart = static_cast<std::uint64_t>(position);
  const CFile file(CFileManipulator::OpenFile(path_, "rb"));
  if (!file) return E_UNEXPECTED;
  if (fseeko(file.get(), position, SEEK_SET) != 0) return E_INVALIDARG;
  if (new_position != nullptr) {
    new_position->QuadPart = static_cast<std::uint64_t>(ftello(file.get()));
  }
  return S_OK;
}

HRESULT CReadableStreamOnFile::CopyTo(IStream* target, _ULARGE_INTEGER count, _ULARGE_INTEGER* read,
                                      _ULARGE_INTEGER* written) {
  if (target == nullptr) return E_INVALIDARG;
  const CFile file = InternalGetFileHandle();
  if (!file) return E_FAIL;
  std::vector<unsigned char> buffer(kCopyPiece);
  std::uint64_t total_read = 0;
  std::uint64_t total_written = 0;
  for (std::uint64_t remaining = count.QuadPart; remaining != 0;) {
    const std::size_t piece =
        std::fread(buffer.data(), 1, std::min<std::uint64_t>(remaining, kCopyPiece), file.get());
    if (piece == 0) return E_FAIL;
    unsigned long accepted = 0;
    static_cast<void>(target->Write(buffer.data(), piece, &accepted));
    total_read += piece;
    total_written += accepted;
    remaining -= piece;
  }
  if (read != nullptr) read->QuadPart = total_read;
  if (written != nullptr) written->QuadPart = total_written;
  return S_OK;
}

HRESULT CReadableStreamOnFile::Stat(tagSTATSTG* out, unsigned long flags) {
  if (out == nullptr) return E_POINTER;
  char16_t* name = out->pwcsName;
  if ((flags & STATFLAG_NONAME) == 0) {
    name = static_cast<char16_t*>(CoTaskMemAlloc(sizeof(char16_t)));
    if (name != nullptr) *name = 0;
  }
  *out = {};
  out->pwcsName = name;
  out->type = STGTY_STREAM;
  out->cbSize = file_size_;
  return S_OK;
}

HRESULT CReadableStreamOnFile::Clone(IStream** out) {
  if (out == nullptr) return E_POINTER;
  *out = new CReadableStreamOnFile(path_, position_);
  return S_OK;
}

}  // namespace orvik
