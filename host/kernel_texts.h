// The texts below /proc in which the kernel describes mounts and processes (proc(5)).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// A line of /proc/<pid>/mountinfo.
struct Mount {
  std::uint64_t id = 0;
  std::string device;  // of the file system, "8:1"
  std::string root;    // the path of the mounted folder in its file system
  std::string point;   // where it is mounted
};

// All mounts of the table; a line that is malformed is left out.
std::vector<Mount> MountsIn(std::string_view table);

// The folder in which a mount of /proc/<pid>/mountinfo lies; "" when the table does not hold it.
std::string MountPointIn(std::string_view table, std::uint64_t mount_id);

// When the process of a /proc/<pid>/stat began, in clock ticks since the machine did; nothing when
// it has ended (and nobody has waited for it yet) or the text is none. The name in it may hold
// anything.
std::optional<std::uint64_t> StartTimeIn(std::string_view stat);

// What the line "key:<tab>value" of a /proc/<pid>/status says; "" when there is none.
std::string_view StatusFieldIn(std::string_view status, std::string_view key);

}  // namespace host
}  // namespace orvik
