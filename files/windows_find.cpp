#include "files/windows_find.h"

#include <algorithm>

#include "files/windows_file_attributes.h"

namespace orvik {
namespace {

FILETIME FileTimeFrom(const UTCDateTime& date) {
  return {date.lowSeconds, date.highSeconds};
}

}  // namespace

HANDLE FindFirstFile(const char16_t*, _WIN32_FIND_DATA*) {
  return INVALID_HANDLE_VALUE;
}

BOOL FindNextFile(HANDLE, _WIN32_FIND_DATA*) {
  return FALSE;
}

BOOL FindClose(HANDLE) {
  return TRUE;
}

void InitW32FindDataFromCatalogInfo(const FSCatalogInfo* info, const HFSUniStr255* name,
                                    _WIN32_FIND_DATA* find_data) {
  *find_data = {};
  find_data->dwFileAttributes = AttributesFromMode(info->permissions.mode);
  find_data->ftCreationTime = FileTimeFrom(info->createDate);
  find_data->ftLastAccessTime = FileTimeFrom(info->accessDate);
  find_data->ftLastWriteTime = FileTimeFrom(info->contentModDate);
  find_data->nFileSizeHigh = static_cast<DWORD>(info->dataPhysicalSize >> 32);
  find_data->nFileSizeLow = static_cast<DWORD>(info->dataPhysicalSize);
  const std::size_t length = std::min<std::size_t>(name->length, std::size(name->unicode));
  std::copy_n(name->unicode, length, find_data->cFileName);
}

}  // namespace orvik
