#include "platform/carbon/catalog_info.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/paths.h"
#include "host/proc.h"
#include "host/replace_file.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {

namespace {

constexpr FSCatalogInfoBitmap kKnown = kFSCatInfoVolume | kFSCatInfoCreateDate |
                                       kFSCatInfoContentMod | kFSCatInfoAccessDate |
                                       kFSCatInfoPermissions | kFSCatInfoDataSizes;

// Nanoseconds become 65536ths, rounded down.
UTCDateTime DateFrom(std::int64_t seconds, std::int64_t nanoseconds) {
  const std::int64_t since_1904 = std::max<std::int64_t>(seconds + host::kSecondsFrom1904To1970, 0);
  UTCDateTime date;
  date.highSeconds = static_cast<UInt16>(since_1904 >> 32);
  date.lowSeconds = static_cast<UInt32>(since_1904);
  date.fraction =
      static_cast<UInt16>((static_cast<std::uint64_t>(nanoseconds) << 16) / 1'000'000'000);
  return date;
}

timespec CreationDateOf(const std::string& path, const struct statx& on_disk) {
  host::Descriptor file;
  if (S_ISREG(on_disk.stx_mode) || S_ISDIR(on_disk.stx_mode)) {
    file = host::OpenPath(path, host::kOpenEntry);
  }
  return host::CreationDate(file.get(), on_disk);
}

}  // namespace

OSErr FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which_info, FSCatalogInfo* info,
                       HFSUniStr255* name, FSSpec* spec, FSRef* parent) {
  if (ref == nullptr || info == nullptr || (which_info & ~kKnown) != 0 || name != nullptr ||
      spec != nullptr || parent != nullptr) {
    return paramErr;
  }
  std::string path;
  struct statx on_disk {};
  if (const int error = carbon::LocateReference(*ref, &path, &on_disk)) {
    return carbon::Status(error);
  }
  if (which_info & kFSCatInfoVolume) info->volume = carbon::VolumeOf(on_disk);
  if (which_info & kFSCatInfoCreateDate) {
    const timespec created = CreationDateOf(path, on_disk);
    info->createDate = DateFrom(created.tv_sec, created.tv_nsec);
  }
  if (which_info & kFSCatInfoContentMod) {
    info->contentModDate = DateFrom(on_disk.stx_mtime.tv_sec, on_disk.stx_mtime.tv_nsec);
  }
  if (which_info & kFSCatInfoAccessDate) {
    info->accessDate = DateFrom(on_disk.stx_atime.tv_sec, on_disk.stx_atime.tv_nsec);
  }
  if (which_info & kFSCatInfoPermissions) {
    info->permissions = {on_disk.stx_uid, on_disk.stx_gid, on_disk.stx_mode};
  }
  if (which_info & kFSCatInfoDataSizes) {
    const bool is_folder = S_ISDIR(on_disk.stx_mode);
    info->dataLogicalSize = is_folder ? 0 : on_disk.stx_size;
    info->dataPhysicalSize = is_folder ? 0 : on_disk.stx_blocks * 512;
  }
  return noErr;
}

}  // namespace orvik

namespace orvik::carbon {

namespace {

constexpr FSVolumeRefNum kFirstVolume = -100;  // further volumes count downwards
constexpr std::size_t kMaxVolumes = 32000;

std::mutex volumes_mutex;

std::vector<std::uint64_t>& Volumes() {
  static auto* const mount_ids = new std::vector<std::uint64_t>;
  return *mount_ids;
}

}  // namespace

// The number is the index of the mount's id in a list that only grows, so it always means the same
// mount.
FSVolumeRefNum VolumeOf(const struct statx& info) {
  const std::lock_guard lock{volumes_mutex};
  std::vector<std::uint64_t>& volumes = Volumes();
  const auto found = std::find(volumes.begin(), volumes.end(), info.stx_mnt_id);
  const auto index = static_cast<std::size_t>(found - volumes.begin());
  if (found == volumes.end()) {
    if (volumes.size() == kMaxVolumes) return 0;
    volumes.push_back(info.stx_mnt_id);
  }
  return static_cast<FSVolumeRefNum>(kFirstVolume - static_cast<int>(index));
}

std::string MountPointOf(FSVolumeRefNum volume) {
  std::uint64_t mount_id;
  {
    const std::lock_guard lock{volumes_mutex};
    const int index = kFirstVolume - volume;
    if (index < 0 || index >= static_cast<int>(Volumes().size())) return {};
    mount_id = Volumes()[static_cast<std::size_t>(index)];
  }
  std::string table;
  host::ReadWholeFile("/proc/self/mountinfo", &table);
  return host::MountPointIn(table, mount_id);
}

}  // namespace orvik::carbon
