#include "files/windows_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "host/paths.h"
#include "host/tree_removal.h"
#include "platform/carbon/launch_services.h"
#include "platform/carbon/machine.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/object.h"
#include "platform/foundation/application.h"

namespace orvik {
namespace {

// The attributes of the entry at the path; a link is not followed.
std::optional<struct stat> Inspect(const std::optional<std::string>& path) {
  struct stat info;
  if (!path || host::StatPath(*path, AT_SYMLINK_NOFOLLOW, &info) != 0) return std::nullopt;
  return info;
}

BOOL Done(int error) {
  return error == 0 ? TRUE : FALSE;
}

}  // namespace

BOOL PathFileExists(const char16_t* path) {
  return Inspect(PathForLibc(path)) ? TRUE : FALSE;
}

BOOL PathIsDirectory(const char16_t* path) {
  const std::optional<struct stat> info = Inspect(PathForLibc(path));
  return info && (info->st_mode & kModeDirectoryBit) != 0 ? TRUE : FALSE;
}

BOOL PathIsExe(const char16_t* path) {
  constexpr std::size_t kPathBuffer = 1024;
  constexpr BOOL kUnknown = -1;
  const std::optional<std::string> bytes = PathForLibc(path);
  if (!bytes || bytes->size() >= kPathBuffer) return kUnknown;
  FSRef ref;
  LSItemInfoRecord info;
  if (FSPathMakeRef(reinterpret_cast<const UInt8*>(bytes->c_str()), &ref, nullptr) != noErr ||
      LSCopyItemInfoForRef(&ref, kLSRequestAllFlags, &info) != noErr) {
    return kUnknown;
  }
  return (info.flags & (kLSItemInfoIsApplication | kLSItemInfoIsNativeApp)) != 0 ? TRUE : FALSE;
}

DWORD GetFileAttributes(const char16_t* path) {
  const std::optional<struct stat> info = Inspect(PathForLibc(path));
  return info ? AttributesFromMode(info->st_mode) : INVALID_FILE_ATTRIBUTES;
}

BOOL SetFileAttributes(const char16_t* path, DWORD attributes) {
  constexpr mode_t kOwnerAndGroupWrite = 0220;
  const std::optional<std::string> bytes = PathForLibc(path);
  const std::optional<struct stat> info = Inspect(bytes);
  if (!info) return FALSE;
  mode_t mode = info->st_mode & 07777;
  const bool writable = (mode & kModeWriteBits) != 0;
  if (attributes == FILE_ATTRIBUTE_NORMAL && !writable) {
    mode |= kOwnerAndGroupWrite;
  } else if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && writable) {
    mode &= ~mode_t{kModeWriteBits};
  } else {
    return TRUE;
  }
  return Done(host::ChangeModeOf(*bytes, mode));
}

BOOL CreateDirectory(const char16_t* path, void*) {
  const std::optional<std::string> bytes = PathForLibc(path);
  if (!bytes) return FALSE;
  const int error = host::MakeFolderAt(*bytes, 0777);
  // An entry may exist also when the error is not EEXIST.
  return error == 0 || error == EEXIST || Inspect(bytes) ? TRUE : FALSE;
}

BOOL RemoveDirectory(const char16_t* path) {
  const std::optional<std::string> bytes = PathForLibc(path);
  return bytes ? Done(host::UnlinkPath(*bytes, AT_REMOVEDIR)) : FALSE;
}

BOOL CopyFile(const char16_t* source, const char16_t* target, BOOL fail_if_exists) {
  return Done(CopyItem(source, target, fail_if_exists, nullptr, nullptr));
}

BOOL MoveFile(const char16_t* source, const char16_t* target) {
  return Done(MoveItem(source, target, {}));
}

BOOL DeleteFile(const char16_t* path) {
  const std::optional<std::string> bytes = PathForLibc(path);
  return Inspect(bytes) ? Done(host::RemoveTree(*bytes, host::Obstacles::kOverride)) : FALSE;
}

void FSDeleteFolderLevel(const FSRef* folder, FSDeleteFolderState* state) {
  FSRef present;
  const std::optional<std::string> path =
      folder == nullptr ? std::nullopt : PathOfReference(*folder);
  if (!path) {
    state->result = fnfErr;
    return;
  }
  state->result = static_cast<OSErr>(
      FSPathMakeRefWithOptions(reinterpret_cast<const UInt8*>(path->c_str()),
                               kFSPathMakeRefDoNotFollowLeafSymlink, &present, nullptr));
  if (state->result == noErr) state->result = FSCompareFSRefs(folder, &present);
  if (state->result != noErr) return;
  state->result = static_cast<OSErr>(
      host::StatusFromErrno(host::EmptyFolder(*path, host::Obstacles::kOverride)));
}

void InitW32FindDataFromCatalogInfo(const FSCatalogInfo* info, const HFSUniStr255* name,
                                    _WIN32_FIND_DATA* find_data) {
  *find_data = {};
  find_data->dwFileAttributes = AttributesFromMode(info->permissions.mode);
  find_data->ftCreationTime = {info->createDate.lowSeconds, info->createDate.highSeconds};
  find_data->ftLastAccessTime = {info->accessDate.lowSeconds, info->accessDate.highSeconds};
  find_data->ftLastWriteTime = {info->contentModDate.lowSeconds, info->contentModDate.highSeconds};
  find_data->nFileSizeHigh = static_cast<DWORD>(info->dataPhysicalSize >> 32);
  find_data->nFileSizeLow = static_cast<DWORD>(info->dataPhysicalSize);
  const std::size_t length = std::min<std::size_t>(name->length, std::size(name->unicode));
  std::copy_n(name->unicode, length, find_data->cFileName);
}

DWORD GetTempFileName(const char16_t* folder, const char16_t* prefix, DWORD unique,
                      char16_t* buffer) {
  if (folder == nullptr || buffer == nullptr) return 0;
  constexpr std::size_t kPrefixUnits = 3;
  std::u16string start{folder};
  if (!start.ends_with(u'/')) start += u'/';
  if (prefix != nullptr) start += std::u16string_view(prefix).substr(0, kPrefixUnits);
  for (;; ++unique) {
    const std::string digits = std::to_string(unique);
    const std::u16string path = start + std::u16string(digits.begin(), digits.end());
    if (path.size() >= static_cast<std::size_t>(MAX_PATH)) {
      *buffer = u'\0';
      return 0;
    }
    *std::copy(path.begin(), path.end(), buffer) = u'\0';
    if (PathFileExists(buffer) == FALSE) return unique;
  }
}

DWORD GetTempPath(DWORD buffer_length, char16_t* buffer) {
  const CFStringRef folder = CocoaGetTempPathHelper();
  if (folder == nullptr) return 0;
  std::u16string path(static_cast<std::size_t>(CFStringGetLength(folder)), u'\0');
  CFStringGetCharacters(folder, CFRangeMake(0, CFStringGetLength(folder)), path.data());
  CFRelease(folder);
  if (path.empty() || path.back() != u'/') path += u'/';
  if (buffer != nullptr && buffer_length > 0) {
    const std::size_t units = std::min<std::size_t>(path.size(), buffer_length - 1);
    *std::copy_n(path.begin(), units, buffer) = u'\0';
  }
  return static_cast<DWORD>(path.size());
}

CFStringRef CocoaGetTempPathHelper() {
  NSApplicationLoad();
  const NSAutoreleasePool pool;
  const NSString* folder = NSTemporaryDirectory();
  if (folder == nullptr) folder = NSHomeDirectory();
  if (folder == nullptr) folder = CFSTR(u"~/Library/Caches/Temporary Items");
  return CFStringCreateCopy(kCFAllocatorDefault, folder);
}

DWORD GetTickCount() {
  return TickCount() * 1000 / 60;
}

void Sleep(DWORD milliseconds) {
  if (const DWORD seconds = milliseconds / 1000) Delay(seconds * 60, nullptr);
}

int CurrentMachineOSXVersion() {
  SInt32 version = 0;
  if (Gestalt(gestaltSystemVersion, &version) != 0) return -2;
  return ClassifyOSXVersion(static_cast<DWORD>(version));
}

int ClassifyOSXVersion(DWORD version_word) {
  constexpr DWORD kFirst = 0x1020;  // each later release adds 0x10
  if (version_word < kFirst) return -1;
  return static_cast<int>(std::min<DWORD>((version_word - kFirst) / 0x10, 3));
}

DWORD g_dwLastErrCode = 0;

}  // namespace orvik
