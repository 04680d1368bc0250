#include "platform/carbon/volumes.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "host/proc.h"
#include "host/replace_file.h"

namespace orvik::carbon {
namespace {

constexpr FSVolumeRefNum kFirstVolume = -100;  // the next ones count downwards
constexpr std::size_t kMaxVolumes = 32000;

std::mutex volumes_mutex;

std::vector<std::uint64_t>& Volumes() {
  static std::vector<std::uint64_t> mount_ids;
  return mount_ids;
}

}  // namespace

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
