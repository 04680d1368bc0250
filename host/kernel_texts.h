// The texts below /proc in which the kernel describes mounts and processes (proc(5)).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

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
