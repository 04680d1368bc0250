#include "files/windows_files.h"

#include <optional>
#include <string>

#include "files/windows_file_attributes.h"
#include "files/windows_file_paths.h"
#include "platform/carbon/launch_services.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"

namespace orvik {
namespace {

// The mode of what stands at the path.
bool ModeOf(const char16_t* path, FSRef* ref, FSCatalogInfo* info) {
  return FindFileBriefly(path, ref) == noErr &&
         FSGetCatalogInfo(ref, kFSCatInfoPermissions, info, nullptr, nullptr, nullptr) == noErr;
}

}  // namespace

BOOL PathFileExists(const char16_t* path) {
  FSRef ref;
  return FindFileBriefly(path, &ref) == noErr ? TRUE : FALSE;
}

BOOL PathIsDirectory(const char16_t* path) {
  FSRef ref;
  FSCatalogInfo info;
  return ModeOf(path, &ref, &info) && (info.permissions.mode & kModeDirectoryBit) != 0 ? TRUE
                                                                                       : FALSE;
}

BOOL PathIsExe(const char16_t* path) {
  constexpr std::size_t kPathBuffer = 1024;
  constexpr BOOL kUnknown = -1;
  if (path == nullptr) return kUnknown;
  const std::optional<std::string> bytes = host::FileNameToBytes(path);
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
  FSRef ref;
  FSCatalogInfo info;
  return ModeOf(path, &ref, &info) ? AttributesFromMode(info.permissions.mode)
                                   : INVALID_FILE_ATTRIBUTES;
}

BOOL SetFileAttributes(const char16_t* path, DWORD attributes) {
  constexpr UInt16 kOwnerAndGroupWrite = 0x90;
  FSRef ref;
  FSCatalogInfo info;
  if (!ModeOf(path, &ref, &info)) return FALSE;
  UInt16& mode = info.permissions.mode;
  const bool writable = (mode & kModeWriteBits) != 0;
  if (attributes == FILE_ATTRIBUTE_NORMAL && !writable) {
    mode |= kOwnerAndGroupWrite;
  } else if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && writable) {
    mode &= static_cast<UInt16>(~kModeWriteBits);
  } else {
    return TRUE;
  }
  return FSSetCatalogInfo(&ref, kFSCatInfoPermissions, &info) == noErr ? TRUE : FALSE;
}

BOOL CreateDirectory(const char16_t* path, void*) {
  const OSErr status = CreateBriefly(path, true);
  return status == noErr || status == dupFNErr ? TRUE : FALSE;
}

BOOL RemoveDirectory(const char16_t* path) {
  FSRef ref;
  FSCatalogInfo info;
  if (FindFileBriefly(path, &ref) != noErr ||
      FSGetCatalogInfo(&ref, kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr) != noErr ||
      (info.nodeFlags & kFSNodeIsDirectoryMask) == 0) {
    return FALSE;
  }
  return FSDeleteObject(&ref) == noErr ? TRUE : FALSE;
}

}  // namespace orvik
