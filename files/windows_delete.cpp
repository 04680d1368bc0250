#include <unistd.h>

#include "files/windows_file_paths.h"
#include "files/windows_files.h"
#include "platform/carbon/folder_removal.h"
#include "platform/carbon/errno_status.h"

namespace orvik {
namespace {

constexpr UInt32 kPathBuffer = 1024;  // bytes

bool UnlinkBusyFile(const FSRef& ref) {
  UInt8 path[kPathBuffer];
  return FSRefMakePath(&ref, path, sizeof path) == noErr &&
         unlink(reinterpret_cast<const char*>(path)) == 0;
}

}  // namespace

void FSDeleteFolderLevel(const FSRef* folder, FSDeleteFolderState* state) {
  state->result = FSDeleteFolderContents(folder);
  if (state->result == errFSNoMoreItems) state->result = noErr;
}

BOOL DeleteFile(const char16_t* path) {
  FSRef ref;
  FSCatalogInfo info;
  if (FindFileBriefly(path, &ref) != noErr ||
      FSGetCatalogInfo(&ref, kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr) != noErr) {
    return FALSE;
  }
  if ((info.nodeFlags & kFSNodeIsDirectoryMask) != 0) {
    FSDeleteFolderState state;
    FSDeleteFolderLevel(&ref, &state);
    if (state.result != noErr) return FALSE;
  }
  if ((info.nodeFlags & kFSNodeLockedMask) != 0) {
    info.nodeFlags &= static_cast<UInt16>(~kFSNodeLockedMask);
    FSSetCatalogInfo(&ref, kFSCatInfoNodeFlags, &info);
  }
  const OSErr status = FSDeleteObject(&ref);
  if (status == fBsyErr) return UnlinkBusyFile(ref) ? TRUE : FALSE;
  return status == noErr ? TRUE : FALSE;
}

}  // namespace orvik
