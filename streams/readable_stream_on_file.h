// A read-only stream over a file.
//
// The file is not kept open between calls: each call opens it, positions it and closes it again, so
// the file may be replaced or removed in between. Only regular files and character devices are
// opened (CFileManipulator::OpenFile).
//
// Reading works at any 64-bit position; reads after the end and before the beginning give no bytes.
// The size is the 32-bit size of COrvikFilePath::GetFileSize, taken once. For a file of 4 GiB or
// more it is 0xFFFFFFFF: positions above it cannot be sought, and STREAM_SEEK_END counts from it.
#pragma once

#include "files/file_path.h"
#include "files/whole_file.h"
#include "streams/com_ptr.h"

namespace [[gnu::visibility("default")]] orvik {

class CReadableStreamOnFile final : public StreamBase<IStream> {
 public:
  explicit CReadableStreamOnFile(const COrvikFilePath& path, _LARGE_INTEGER start = {});

  // Whether the file could be opened at construction.
  bool opened() const { return opened_; }

  // E_FAIL when `buffer` or `read` is null; S_FALSE when nothing was read, also when the file
  // cannot be opened.
  HRESULT Read(void* buffer, unsigned long count, unsigned long* read) override;
  // STG_E_INVALIDFUNCTION for an unknown origin (nothing changes) and for a position outside the
  // file (the position is then the size + 1); E_UNEXPECTED when the file cannot be opened.
  HRESULT Seek(_LARGE_INTEGER move, unsigned long origin, _ULARGE_INTEGER* new_position) override;
  // Copies from the position, which does not move. E_FAIL when the file cannot be opened or ends
  // before `count` bytes; then the existing bytes have been copied, but no count is stored. Results
  // of the target are ignored. E_INVALIDARG for a null target.
  HRESULT CopyTo(IStream* target, _ULARGE_INTEGER count, _ULARGE_INTEGER* read,
                 _ULARGE_INTEGER* written) override;
  // The name is a fresh empty string; with STATFLAG_NONAME it is not changed.
  HRESULT Stat(tagSTATSTG* out, unsigned long flags) override;
  // A separate stream at the same position, even if it could not open the file.
  HRESULT Clone(IStream** out) override;

 private:
  void InitializeStream(const COrvikFilePath& path, _LARGE_INTEGER start);
  // The file at the position; null when it cannot be opened.
  CFile InternalGetFileHandle() const;

  _ULARGE_INTEGER file_size_;
  _LARGE_INTEGER position_;
  COrvikFilePath path_;
  bool opened_ = false;
};

}  // namespace orvik
