#include "platform/carbon/volumes.h"

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>
#include <vector>

namespace orvik::carbon {
namespace {

constexpr FSVolumeRefNum kFirstVolume = -100;  // the next ones count downwards
constexpr std::size_t kMaxVolumes = 32000;

std::mutex volumes_mutex;

std::vector<std::uint64_t>& Volumes() {
  static std::vector<std::uint64_t> mount_ids;
  return mount_ids;
}

// The mount table writes blanks and backslashes as three octal digits.
std::string Unescape(const std::string& text) {
  const auto digit = [&](std::size_t i) { return text[i] >= '0' && text[i] <= '7'; };
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && digit(i + 1) && digit(i + 2) && digit(i + 3)) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                 (text[i + 3] - '0'));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
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
  std::ifstream table{"/proc/self/mountinfo"};
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields{line};
    std::uint64_t id = 0;
    std::string parent, device, root, mount_point;
    if (fields >> id >> parent >> device >> root >> mount_point && id == mount_id) {
      return Unescape(mount_point);
    }
  }
  return {};
}

}  // namespace orvik::carbon
