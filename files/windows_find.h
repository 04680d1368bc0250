// Searching folders under the Windows names: nothing is ever found, folders are listed by
// COrvikDirectoryPath.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

struct FILETIME {
  DWORD dwLowDateTime = 0;
  DWORD dwHighDateTime = 0;
};

struct _WIN32_FIND_DATA {
  DWORD dwFileAttributes = 0;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh = 0;
  DWORD nFileSizeLow = 0;
  DWORD dwReserved0 = 0;
  DWORD dwReserved1 = 0;
  char16_t cFileName[MAX_PATH] = {};
  char16_t cAlternateFileName[14] = {};
};

// Always INVALID_HANDLE_VALUE; `find_data` is not touched.
HANDLE FindFirstFile(const char16_t* path, _WIN32_FIND_DATA* find_data);

// Always FALSE.
BOOL FindNextFile(HANDLE find, _WIN32_FIND_DATA* find_data);

// Always TRUE.
BOOL FindClose(HANDLE find);

// Fills the record: attributes as GetFileAttributes gives them; the times are seconds since 1904
// (high word, low 32 bits), not converted; the size is what the data fork has allocated, in bytes.
// The name goes to the start of cFileName and is terminated (it has at most 255 units); the
// reserved fields and the alternate name are emptied.
void InitW32FindDataFromCatalogInfo(const FSCatalogInfo* info, const HFSUniStr255* name,
                                    _WIN32_FIND_DATA* find_data);

}  // namespace orvik
