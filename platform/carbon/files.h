// Creating, finding, describing and deleting file-system objects through references.
//
// Functions return a status: 0, or one of host/errno_status.h (fnfErr when nothing stands at the
// place, dupFNErr when something does). Names are UTF-16 here and UTF-8 on disk; bytes on disk that
// are no UTF-8 appear as U+DC80..U+DCFF and turn back into themselves (host/file_names.h). A name
// has at most 255 units here and 255 bytes on disk; a longer one gives bdNamErr, it is never cut.
// No call follows a final symbolic link, and none opens a pipe, a socket or a device.
//
// Where the information lives: permissions, modification and access dates in the inode; type,
// creator, finder flags, a creation or backup date that was set, in one extended attribute
// (catalog.h). A creation date that nobody set is the birth time the file system knows, or the
// modification date when that is earlier. Where the file system has no user attributes, what would
// be in the attribute is not kept and setting it succeeds. The locked flag is the kernel's
// immutable flag where the rights and the file system allow it, else a bit of the same attribute
// which these calls honour.
#pragma once

#include <cstdint>

#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

// A mounted volume: a negative number that stands for the mount while the process runs.
using FSVolumeRefNum = SInt16;
using FSCatalogInfoBitmap = UInt32;
using TextEncodingHint = UInt32;

inline constexpr TextEncodingHint kTextEncodingUnknown = 0xFFFF;

struct HFSUniStr255 {
  UInt16 length = 0;  // units
  UniChar unicode[255] = {};
};

// Seconds since 1904-01-01 00:00 UTC (48 bits) and 65536ths of a second.
struct UTCDateTime {
  UInt16 highSeconds = 0;
  UInt32 lowSeconds = 0;
  UInt16 fraction = 0;
};

struct FSPermissionInfo {
  UInt32 userID = 0;
  UInt32 groupID = 0;
  UInt8 reserved1 = 0;
  UInt8 userAccess = 0;  // not filled
  UInt16 mode = 0;       // POSIX mode with the type bits
  UInt32 reserved2 = 0;
};

struct Point {
  SInt16 v = 0;
  SInt16 h = 0;
};

// Finder information of a file; a folder's is kept in the same 16 bytes.
struct FInfo {
  OSType fdType = 0;
  OSType fdCreator = 0;
  UInt16 fdFlags = 0;
  Point fdLocation;
  SInt16 fdFldr = 0;
};

struct FSCatalogInfo {
  UInt16 nodeFlags = 0;
  FSVolumeRefNum volume = 0;
  UInt32 parentDirID = 0;  // low 32 bits of the parent's inode
  UInt32 nodeID = 0;       // low 32 bits of the inode
  UInt8 sharingFlags = 0;
  UInt8 userPrivileges = 0;
  UTCDateTime createDate;
  UTCDateTime contentModDate;
  UTCDateTime attributeModDate;
  UTCDateTime accessDate;
  UTCDateTime backupDate;
  FSPermissionInfo permissions;
  FInfo finderInfo;
  UInt8 extFinderInfo[16] = {};
  UInt64 dataLogicalSize = 0;   // bytes
  UInt64 dataPhysicalSize = 0;  // bytes allocated
  UInt64 rsrcLogicalSize = 0;
  UInt64 rsrcPhysicalSize = 0;
  UInt32 valence = 0;  // entries of a folder
  TextEncodingHint textEncodingHint = 0;
};

// Bits that choose fields of FSCatalogInfo.
inline constexpr FSCatalogInfoBitmap kFSCatInfoNone = 0;
inline constexpr FSCatalogInfoBitmap kFSCatInfoTextEncoding = 0x00000001;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNodeFlags = 0x00000002;
inline constexpr FSCatalogInfoBitmap kFSCatInfoVolume = 0x00000004;
inline constexpr FSCatalogInfoBitmap kFSCatInfoParentDirID = 0x00000008;
inline constexpr FSCatalogInfoBitmap kFSCatInfoNodeID = 0x00000010;
inline constexpr FSCatalogInfoBitmap kFSCatInfoCreateDate = 0x00000020;
inline constexpr FSCatalogInfoBitmap kFSCatInfoContentMod = 0x00000040;
inline constexpr FSCatalogInfoBitmap kFSCatInfoAttrMod = 0x00000080;
inline constexpr FSCatalogInfoBitmap kFSCatInfoAccessDate = 0x00000100;
inline constexpr FSCatalogInfoBitmap kFSCatInfoBackupDate = 0x00000200;
inline constexpr FSCatalogInfoBitmap kFSCatInfoAllDates = 0x000003E0;
inline constexpr FSCatalogInfoBitmap kFSCatInfoPermissions = 0x00000400;
inline constexpr FSCatalogInfoBitmap kFSCatInfoFinderInfo = 0x00000800;
inline constexpr FSCatalogInfoBitmap kFSCatInfoFinderXInfo = 0x00001000;
inline constexpr FSCatalogInfoBitmap kFSCatInfoValence = 0x00002000;
inline constexpr FSCatalogInfoBitmap kFSCatInfoDataSizes = 0x00004000;
inline constexpr FSCatalogInfoBitmap kFSCatInfoRsrcSizes = 0x00008000;
inline constexpr FSCatalogInfoBitmap kFSCatInfoSharingFlags = 0x00010000;
inline constexpr FSCatalogInfoBitmap kFSCatInfoUserPrivs = 0x00020000;
inline constexpr FSCatalogInfoBitmap kFSCatInfoSettableInfo = 0x00001FE3;
inline constexpr FSCatalogInfoBitmap kFSCatInfoGettableInfo = 0x0003FFFF;

// Bits of nodeFlags.
inline constexpr UInt16 kFSNodeLockedMask = 0x0001;
inline constexpr UInt16 kFSNodeIsDirectoryMask = 0x0010;
inline constexpr UInt16 kFSNodeHardLinkMask = 0x0100;  // a file with more than one name

// What a symbolic link reports as its finder information.
inline constexpr OSType kSymLinkFileType = 0x736C6E6B;  // 'slnk'
inline constexpr OSType kSymLinkCreator = 0x72686170;   // 'rhap'

// The older way to name a file: its folder and its name. The file need not exist.
struct FSSpec {
  FSRef parent;
  HFSUniStr255 name;
};

// The existing child `name` (units) of a folder. The hint is not used. The spelling must be that on
// disk: composed and decomposed letters are different names.
OSErr FSMakeFSRefUnicode(const FSRef* parent, unsigned long name_length, const UniChar* name,
                         TextEncodingHint hint, FSRef* new_ref);

// Makes an empty file in a folder; dupFNErr when the name is taken (also by a dangling link).
// `which_info` (within the settable mask) chooses what is taken from `info` (may be null when the
// mask is 0; the mode is then 0666 less the umask). `new_ref` and `new_spec` may be null. When the
// information cannot be set, the file is removed again.
OSErr FSCreateFileUnicode(const FSRef* parent, unsigned long name_length, const UniChar* name,
                          FSCatalogInfoBitmap which_info, const FSCatalogInfo* info, FSRef* new_ref,
                          FSSpec* new_spec);

// Makes an empty folder, as above (mode 0777 less the umask). `new_dir_id` may be null.
OSErr FSCreateDirectoryUnicode(const FSRef* parent, unsigned long name_length, const UniChar* name,
                               FSCatalogInfoBitmap which_info, const FSCatalogInfo* info,
                               FSRef* new_ref, FSSpec* new_spec, UInt32* new_dir_id);

// Removes a file, a link (never what it points to), a special file or an empty folder. A locked
// object gives fLckdErr, a folder that is not empty or a mount point fBsyErr.
OSErr FSDeleteObject(const FSRef* ref);

// Reads the chosen fields; the others keep their values. Every out argument may be null.
OSErr FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which_info, FSCatalogInfo* info,
                       HFSUniStr255* name, FSSpec* spec, FSRef* parent);

// Sets the chosen fields (settable mask 0x1FE3; other bits give paramErr). Of the permissions only
// the mode bits 07777 are set; of the node flags only the locked bit. A lock is taken away before
// the rest is set and put on after it.
OSErr FSSetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which_info, const FSCatalogInfo* info);

}  // namespace orvik
