#include <string_view>

#include "files/windows_file_paths.h"
#include "files/windows_files.h"
#include "platform/carbon/file_copy.h"
#include "platform/host/errno_status.h"

namespace orvik {
namespace {

constexpr OSType kBusyFileType = FourCC("bzy ");

// Only files and links are copied; asked before a target is deleted in favour of the copy.
bool MayBeCopied(const FSRef& source) {
  FSCatalogInfo info;
  if (FSGetCatalogInfo(&source, kFSCatInfoPermissions, &info, nullptr, nullptr, nullptr) != noErr) {
    return false;
  }
  constexpr UInt16 kTypeBits = 0xF000;
  constexpr UInt16 kRegularFile = 0x8000;
  constexpr UInt16 kSymbolicLink = 0xA000;
  const UInt16 type = info.permissions.mode & kTypeBits;
  return type == kRegularFile || type == kSymbolicLink;
}

}  // namespace

BOOL CopyFile(const char16_t* source, const char16_t* target, BOOL fail_if_exists) {
  if (source == nullptr || target == nullptr || source == target ||
      std::u16string_view(source) == std::u16string_view(target)) {
    return FALSE;
  }
  FSRef source_ref;
  if (FindFileBriefly(source, &source_ref) != noErr) return FALSE;
  FSRef target_ref;
  const bool exists = FindFileBriefly(target, &target_ref) == noErr;
  if (exists && fail_if_exists != FALSE) return FALSE;
  FSRef parent;
  HFSUniStr255 name;
  if (FindParentBriefly(target, &parent, &name) != noErr) return FALSE;
  if (exists && (FSCompareFSRefs(&source_ref, &target_ref) == noErr || !MayBeCopied(source_ref) ||
                 FSDeleteObject(&target_ref) != noErr)) {
    return FALSE;
  }
  return FSCopyFileAs(&source_ref, &parent, name.length, name.unicode, kBusyFileType) == noErr
             ? TRUE
             : FALSE;
}

}  // namespace orvik
