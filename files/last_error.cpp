#include "files/last_error.h"

namespace orvik {

DWORD g_dwLastErrCode = 0;

DWORD GetLastError() {
  return g_dwLastErrCode;
}

void SetLastError(DWORD code) {
  g_dwLastErrCode = code;
}

}  // namespace orvik
