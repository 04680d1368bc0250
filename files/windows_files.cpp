#include "files/windows_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "files/windows_file_attributes.h"
#include "files/windows_file_refs.h"
#include "host/at_path.h"
#include "host/tree_removal.h"
#include "platform/carbon/errno_status.h"
#include "platform/carbon/launch_services.h"

namespace orvik {
namespace {

// What is at the path; a link is not followed.
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
  // Other failures than EEXIST may hide that something is there.
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
  return Inspect(bytes) ? Done(host::RemoveTree(*bytes, host::Obstacles::kTakeAway)) : FALSE;
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
      host::StatusFromErrno(host::EmptyFolder(*path, host::Obstacles::kTakeAway)));
}

}  // namespace orvik
