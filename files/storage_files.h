// Compound files, which this platform does not have: every call gives E_NOTIMPL and touches
// nothing.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

class IStorage;

HRESULT StgCreateDocfile(const char16_t* name, DWORD mode, DWORD reserved, IStorage** storage);
HRESULT StgOpenStorage(const char16_t* name, IStorage* priority, DWORD mode, char16_t** exclude,
                       DWORD reserved, IStorage** storage);
HRESULT StgIsStorageFile(const char16_t* name);

}  // namespace orvik
