// When processes were started.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// In clock ticks since the machine was; nothing when no such process runs, when it has ended and
// waits for its parent, or without /proc.
std::optional<std::uint64_t> StartTicks(pid_t pid);

// In nanoseconds since 1970, at most a clock tick before the true time.
std::optional<std::int64_t> StartTime(pid_t pid);

}  // namespace host
}  // namespace orvik
