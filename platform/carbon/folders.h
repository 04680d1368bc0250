// Standard folders, below the system root and the user's home (host/system.h).
//
//   type     kUserDomain                           kSystemDomain, kLocalDomain
//   'asup'   <home>/Library/Application Support    <root>/Library/Application Support
//   'docs'   <home>/Documents                      <root>/Users/Shared/Documents
//   'desk'   <home>/Desktop                        (none)
//   'sdsk'   (none)                                <root>/Users/Shared/Desktop
//   'apps'   <home>/Applications                   <root>/Applications
//   'trsh'   the home trash (host/trash.h)         (none)
//
// A volume (a number from FSGetCatalogInfo; 0 is the volume of the home) has only a trash of its
// own.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr FSVolumeRefNum kSystemDomain = -32766;
inline constexpr FSVolumeRefNum kLocalDomain = -32765;
inline constexpr FSVolumeRefNum kUserDomain = -32763;

inline constexpr OSType kApplicationSupportFolderType = FourCC("asup");
inline constexpr OSType kDocumentsFolderType = FourCC("docs");
inline constexpr OSType kDesktopFolderType = FourCC("desk");
inline constexpr OSType kSystemDesktopFolderType = FourCC("sdsk");
inline constexpr OSType kApplicationsFolderType = FourCC("apps");
inline constexpr OSType kTrashFolderType = FourCC("trsh");

// Stores a reference to the folder of the type `type` in `*folder` and returns 0. With `create`, a
// missing folder is made with all its parents (mode 0777 less the umask). Otherwise returns a
// status of errno_status.h and leaves `*folder` unchanged: fnfErr when the folder is missing or the
// domain has no folder of this type, dirNFErr when the entry is not a folder, nsvErr for the trash
// of an unknown volume, paramErr for null.
OSErr FSFindFolder(FSVolumeRefNum domain, OSType type, Boolean create, FSRef* folder);

}  // namespace orvik
