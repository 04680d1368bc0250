// The file manager's record of a file or folder.
#pragma once

#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

// The number of a mounted volume: negative, and of the same mount as long as the process runs.
using FSVolumeRefNum = SInt16;
using FSCatalogInfoBitmap = UInt32;

struct FSSpec;

// A name as a counted array of units.
struct HFSUniStr255 {
  UInt16 length = 0;  // units
  UniChar unicode[255] = {};
};

// Seconds (48 bits) and 65536ths of a second since 1904-01-01 00:00 UTC.
struct UTCDateTime {
  UInt16 highSeconds = 0;
  UInt32 lowSeconds = 0;
  UInt16 fraction = 0;
};

struct FSPermissionInfo {
  UInt32 userID = 0;
  UInt32 groupID = 0;
  UInt16 mode = 0;  // POSIX mode with the type bits
};

struct FSCatalogInfo {
  FSVolumeRefNum volume = 0;
  UTCDateTime createDate;  // the birth time, or the date that a copy has kept
  UTCDateTime contentModDate;
  UTCDateTime accessDate;
  FSPermissionInfo permissions;
  UInt64 dataLogicalSize = 0;   // bytes; 0 for a folder
  UInt64 dataPhysicalSize = 0;  // bytes allocated
};

// Bits that select fields of FSCatalogInfo.
inline constexpr FSCatalogInfoBitmap kFSCatInfoVolume = 0x00000004;
inline constexpr FSCatalogInfoBitmap kFSCatInfoCreateDate = 0x00000020;
inline constexpr FSCatalogInfoBitmap kFSCatInfoContentMod = 0x00000040;
inline constexpr FSCatalogInfoBitmap kFSCatInfoAccessDate = 0x00000100;
inline constexpr FSCatalogInfoBitmap kFSCatInfoPermissions = 0x00000400;
inline constexpr FSCatalogInfoBitmap kFSCatInfoDataSizes = 0x00004000;

// Reads the selected fields of the object that `ref` names into `*info`; those of a link itself.
// Other fields keep their values. Returns 0; paramErr for null, for other bits, and if `name`,
// `spec` or `parent`, which are not supported, are not null; fnfErr when the object is gone.
//
// Dates before 1904 become 1904. A copy that has kept the creation date of its source has that date
// in an extended attribute, which is used here. A volume keeps its number until the process ends;
// volumes beyond the first 32,000 have the number 0.
OSErr FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which_info, FSCatalogInfo* info,
                       HFSUniStr255* name, FSSpec* spec, FSRef* parent);

}  // namespace orvik
