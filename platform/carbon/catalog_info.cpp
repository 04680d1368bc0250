#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/carbon/catalog.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/carbon/volumes.h"
#include "host/at_path.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"

namespace orvik {
namespace carbon {
namespace {

constexpr mode_t kModeBits = 07777;
constexpr char kResourceForkAttribute[] = "user.RESOURCE_FORK";
constexpr FSCatalogInfoBitmap kRecordFields = kFSCatInfoNodeFlags | kFSCatInfoCreateDate |
                                              kFSCatInfoBackupDate | kFSCatInfoFinderInfo |
                                              kFSCatInfoFinderXInfo;

bool MayHaveRecord(const struct statx& info) {
  return S_ISREG(info.stx_mode) || S_ISDIR(info.stx_mode);
}

UTCDateTime DateOf(const struct statx_timestamp& time) {
  return DateFromTimestamp(time.tv_sec, time.tv_nsec);
}

bool SameDate(const UTCDateTime& a, const UTCDateTime& b) {
  return a.highSeconds == b.highSeconds && a.lowSeconds == b.lowSeconds && a.fraction == b.fraction;
}

UInt32 CountEntries(const std::string& path) {
  const host::AtPath at{path};
  if (at.error() != 0) return 0;
  const int descriptor =
      openat(at.folder(), at.name(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  DIR* const stream = descriptor < 0 ? nullptr : fdopendir(descriptor);
  if (stream == nullptr) {
    if (descriptor >= 0) close(descriptor);
    return 0;
  }
  UInt32 count = 0;
  while (const dirent* const entry = readdir(stream)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) ++count;
  }
  closedir(stream);
  return count;
}

UInt64 AttributeSize(const CatalogPlace& place, const char* attribute) {
  ssize_t size;
  if (place.descriptor >= 0) {
    size = fgetxattr(place.descriptor, attribute, nullptr, 0);
  } else {
    const host::AtPath at{*place.path};
    if (at.error() != 0) return 0;
    size = lgetxattr(at.ShortPath().c_str(), attribute, nullptr, 0);
  }
  return size < 0 ? 0 : static_cast<UInt64>(size);
}

int SetMode(const CatalogPlace& place, mode_t mode) {
  if (place.descriptor >= 0) return fchmod(place.descriptor, mode) == 0 ? 0 : errno;
  const host::AtPath at{*place.path};
  if (at.error() != 0) return at.error();
  return fchmodat(at.folder(), at.name(), mode, 0) == 0 ? 0 : errno;
}

int SetTimes(const CatalogPlace& place, const timespec times[2]) {
  if (place.descriptor >= 0) return futimens(place.descriptor, times) == 0 ? 0 : errno;
  const host::AtPath at{*place.path};
  if (at.error() != 0) return at.error();
  return utimensat(at.folder(), at.name(), times, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

void TakeRecordFields(FSCatalogInfoBitmap which_info, const FSCatalogInfo& info,
                      const struct statx& on_disk, CatalogRecord* record) {
  if (which_info & kFSCatInfoFinderInfo) record->finder_info = info.finderInfo;
  if (which_info & kFSCatInfoFinderXInfo) {
    std::memcpy(record->ext_finder_info, info.extFinderInfo, sizeof info.extFinderInfo);
  }
  if (which_info & kFSCatInfoCreateDate) {
    const bool natural = (which_info & kFSCatInfoContentMod) == 0 &&
                         SameDate(info.createDate, DateOf(NaturalCreation(on_disk)));
    record->has_create_date = !natural;
    record->create_date = record->has_create_date ? info.createDate : UTCDateTime{};
  }
  if (which_info & kFSCatInfoBackupDate) {
    record->has_backup_date = !SameDate(info.backupDate, UTCDateTime{});
    record->backup_date = info.backupDate;
  }
}

}  // namespace

int ReadCatalogInfo(const CatalogPlace& place, const struct statx& on_disk,
                    FSCatalogInfoBitmap which_info, FSCatalogInfo* info) {
  CatalogRecord record;
  if ((which_info & kRecordFields) != 0 && MayHaveRecord(on_disk)) {
    if (const int error = ReadCatalogRecord(place, &record)) return error;
  }
  const bool folder = S_ISDIR(on_disk.stx_mode);
  if (which_info & kFSCatInfoTextEncoding) info->textEncodingHint = kTextEncodingUnknown;
  if (which_info & kFSCatInfoNodeFlags) {
    const bool hard_link = !folder && on_disk.stx_nlink > 1;
    info->nodeFlags = static_cast<UInt16>(
        (IsImmutable(on_disk) || record.locked ? kFSNodeLockedMask : 0) |
        (folder ? kFSNodeIsDirectoryMask : 0) | (hard_link ? kFSNodeHardLinkMask : 0));
  }
  if (which_info & kFSCatInfoVolume) info->volume = VolumeOf(on_disk);
  if ((which_info & kFSCatInfoParentDirID) && place.path != nullptr) {
    struct statx parent {};
    const std::string path{ParentPath(*place.path)};
    if (const int error = StatPath(path, Leaf::kFollow, &parent)) return error;
    info->parentDirID = static_cast<UInt32>(parent.stx_ino);
  }
  if (which_info & kFSCatInfoNodeID) info->nodeID = static_cast<UInt32>(on_disk.stx_ino);
  if (which_info & kFSCatInfoCreateDate) {
    info->createDate =
        record.has_create_date ? record.create_date : DateOf(NaturalCreation(on_disk));
  }
  if (which_info & kFSCatInfoContentMod) info->contentModDate = DateOf(on_disk.stx_mtime);
  if (which_info & kFSCatInfoAttrMod) info->attributeModDate = DateOf(on_disk.stx_ctime);
  if (which_info & kFSCatInfoAccessDate) info->accessDate = DateOf(on_disk.stx_atime);
  if (which_info & kFSCatInfoBackupDate) info->backupDate = record.backup_date;
  if (which_info & kFSCatInfoPermissions) {
    info->permissions = {};
    info->permissions.userID = on_disk.stx_uid;
    info->permissions.groupID = on_disk.stx_gid;
    info->permissions.mode = on_disk.stx_mode;
  }
  if (which_info & kFSCatInfoFinderInfo) {
    info->finderInfo = record.finder_info;
    if (S_ISLNK(on_disk.stx_mode)) {
      info->finderInfo.fdType = kSymLinkFileType;
      info->finderInfo.fdCreator = kSymLinkCreator;
    }
  }
  if (which_info & kFSCatInfoFinderXInfo) {
    std::memcpy(info->extFinderInfo, record.ext_finder_info, sizeof info->extFinderInfo);
  }
  if (which_info & kFSCatInfoValence) {
    info->valence = folder && place.path != nullptr ? CountEntries(*place.path) : 0;
  }
  if (which_info & kFSCatInfoDataSizes) {
    info->dataLogicalSize = folder ? 0 : on_disk.stx_size;
    info->dataPhysicalSize = folder ? 0 : on_disk.stx_blocks * 512;
  }
  if (which_info & kFSCatInfoRsrcSizes) {
    info->rsrcLogicalSize =
        S_ISREG(on_disk.stx_mode) ? AttributeSize(place, kResourceForkAttribute) : 0;
    info->rsrcPhysicalSize = info->rsrcLogicalSize;
  }
  if (which_info & kFSCatInfoSharingFlags) info->sharingFlags = 0;
  if (which_info & kFSCatInfoUserPrivs) info->userPrivileges = 0;
  return 0;
}

OSErr ApplyCatalogInfo(const CatalogPlace& place, const struct statx& on_disk,
                       FSCatalogInfoBitmap which_info, const FSCatalogInfo& info) {
  const bool can_hold_record = MayHaveRecord(on_disk);
  CatalogRecord record;
  if (can_hold_record) {
    if (const int error = ReadCatalogRecord(place, &record)) {
      return static_cast<OSErr>(host::StatusFromErrno(error));
    }
  }
  const bool was_locked = IsImmutable(on_disk) || record.locked;
  const bool sets_lock = (which_info & kFSCatInfoNodeFlags) != 0;
  const bool wants_lock = sets_lock && (info.nodeFlags & kFSNodeLockedMask) != 0;
  if (was_locked && !sets_lock) return fLckdErr;
  int error = was_locked ? SetLocked(place, false, &record) : 0;

  const bool sets_mode = (which_info & kFSCatInfoPermissions) != 0 && !S_ISLNK(on_disk.stx_mode) &&
                         (info.permissions.mode & kModeBits) != (on_disk.stx_mode & kModeBits);
  const mode_t mode = info.permissions.mode & kModeBits;
  // Attributes can be written only while the owner may write.
  const bool mode_first = (mode & S_IWUSR) != 0;
  if (error == 0 && sets_mode && mode_first) error = SetMode(place, mode);
  if (error == 0 && can_hold_record && (which_info & kRecordFields & ~kFSCatInfoNodeFlags) != 0) {
    TakeRecordFields(which_info, info, on_disk, &record);
    error = WriteCatalogRecord(place, record);
    if (error == ENOTSUP) error = 0;
  }
  if (error == 0 && (which_info & (kFSCatInfoContentMod | kFSCatInfoAccessDate)) != 0) {
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    if (which_info & kFSCatInfoAccessDate) times[0] = TimestampFromDate(info.accessDate);
    if (which_info & kFSCatInfoContentMod) times[1] = TimestampFromDate(info.contentModDate);
    error = SetTimes(place, times);
  }
  if (error == 0 && wants_lock) {
    error = can_hold_record ? SetLocked(place, true, &record) : ENOTSUP;
  }
  if (error == 0 && sets_mode && !mode_first) error = SetMode(place, mode);
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

}  // namespace carbon

OSErr FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which_info, FSCatalogInfo* info,
                       HFSUniStr255* name, FSSpec* spec, FSRef* parent) {
  if (ref == nullptr) return paramErr;
  std::string path;
  struct statx on_disk {};
  int error = carbon::LocateReference(*ref, &path, &on_disk);
  if (error == 0 && info != nullptr && which_info != kFSCatInfoNone) {
    error = carbon::ReadCatalogInfo({-1, &path}, on_disk, which_info, info);
  }
  HFSUniStr255 own_name;
  carbon::SetUniStr(carbon::LeafName(path), &own_name);
  if (error == 0 && (parent != nullptr || spec != nullptr)) {
    FSRef folder;
    error = carbon::MakeReference(carbon::ParentPath(path), carbon::Leaf::kFollow,
                                  carbon::Hold::kAnchored, &folder, nullptr);
    if (error == 0 && spec != nullptr) *spec = {folder, own_name};
    if (error == 0 && parent != nullptr) *parent = folder;
  }
  if (error == 0 && name != nullptr) *name = own_name;
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

OSErr FSSetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which_info,
                       const FSCatalogInfo* info) {
  if (ref == nullptr || info == nullptr || (which_info & ~kFSCatInfoSettableInfo) != 0) {
    return paramErr;
  }
  std::string path;
  struct statx on_disk {};
  if (const int error = carbon::LocateReference(*ref, &path, &on_disk)) {
    return static_cast<OSErr>(host::StatusFromErrno(error));
  }
  return carbon::ApplyCatalogInfo({-1, &path}, on_disk, which_info, *info);
}

}  // namespace orvik
