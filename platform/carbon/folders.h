// Standard folders, below the system root and the user's home (host/system.h).
//
//   type     kUserDomain                           other domains
//   'sdat'   (none)                                <root>/Users/Shared
//   'pref'   <home>/Library/Preferences            <root>/Library/Preferences
//   'dtop'   <home>                                <root>
//   'asup'   <home>/Library/Application Support    <root>/Library/Application Support
//   'docs'   <home>/Documents                      <root>/Users/Shared/Documents
//   'desk'   <home>/Desktop                        (none)
//   'sdsk'   (none)                                <root>/Users/Shared/Desktop
//   'apps'   <home>/Applications                   <root>/Applications
//   'temp'   TMPDIR, else /tmp                     TMPDIR, else /tmp
//   'trsh'   the home trash (host/trash.h)             (none)
//
// kOnAppropriateDisk takes the user's column, or the other one for a type without an entry there.
// A volume (a number that FSGetCatalogInfo gave) gives its own trash; other types are those of
// kOnAppropriateDisk.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr FSVolumeRefNum kOnSystemDisk = -32768;
inline constexpr FSVolumeRefNum kOnAppropriateDisk = -32767;
inline constexpr FSVolumeRefNum kSystemDomain = -32766;
inline constexpr FSVolumeRefNum kLocalDomain = -32765;
inline constexpr FSVolumeRefNum kNetworkDomain = -32764;
inline constexpr FSVolumeRefNum kUserDomain = -32763;

inline constexpr OSType kSharedUserDataFolderType = FourCC("sdat");
inline constexpr OSType kPreferencesFolderType = FourCC("pref");
inline constexpr OSType kDomainTopLevelFolderType = FourCC("dtop");
inline constexpr OSType kApplicationSupportFolderType = FourCC("asup");
inline constexpr OSType kDocumentsFolderType = FourCC("docs");
inline constexpr OSType kDesktopFolderType = FourCC("desk");
inline constexpr OSType kSystemDesktopFolderType = FourCC("sdsk");
inline constexpr OSType kApplicationsFolderType = FourCC("apps");
inline constexpr OSType kTemporaryFolderType = FourCC("temp");
inline constexpr OSType kTrashFolderType = FourCC("trsh");

// The folder of a type: 0, or a status. With `create` it is made with all missing parents (mode
// 0777 less the umask); without, fnfErr when it is missing. fnfErr also for a type that the domain
// does not have, and dirNFErr when something other than a folder has the name.
OSErr FSFindFolder(FSVolumeRefNum domain, OSType type, Boolean create, FSRef* folder);

}  // namespace orvik
