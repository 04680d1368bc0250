// The last-error word: one for the process, set by SetLastError alone.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

extern DWORD g_dwLastErrCode;

DWORD GetLastError();
void SetLastError(DWORD code);

}  // namespace orvik
