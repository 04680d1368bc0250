#include "files/storage_files.h"

namespace orvik {

HRESULT StgCreateDocfile(const char16_t*, DWORD, DWORD, IStorage**) {
  return E_NOTIMPL;
}

HRESULT StgOpenStorage(const char16_t*, IStorage*, DWORD, char16_t**, DWORD, IStorage**) {
  return E_NOTIMPL;
}

HRESULT StgIsStorageFile(const char16_t*) {
  return E_NOTIMPL;
}

}  // namespace orvik
