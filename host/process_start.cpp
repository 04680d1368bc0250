#include "host/process_start.h"

#include <time.h>
#include <unistd.h>

#include <string>

#include "host/kernel_texts.h"
#include "host/replace_file.h"

namespace orvik::host {

namespace {

std::int64_t Now(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

std::optional<std::uint64_t> StartTicks(pid_t pid) {
  if (pid <= 0) return std::nullopt;
  // A process asks about itself again and again.
  thread_local pid_t own = 0;
  thread_local std::uint64_t own_start = 0;
  if (pid == own && pid == getpid()) return own_start;
  std::string stat;
  if (ReadWholeFile("/proc/" + std::to_string(pid) + "/stat", &stat) != 0) return std::nullopt;
  const std::optional<std::uint64_t> start = StartTimeIn(stat);
  if (start && pid == getpid()) {
    own = pid;
    own_start = *start;
  }
  return start;
}

std::optional<std::int64_t> StartTime(pid_t pid) {
  const std::optional<std::uint64_t> ticks = StartTicks(pid);
  const long per_second = sysconf(_SC_CLK_TCK);
  if (!ticks || per_second <= 0) return std::nullopt;
  const std::int64_t since_boot = static_cast<std::int64_t>(*ticks) * (1'000'000'000 / per_second);
  return Now(CLOCK_REALTIME) - Now(CLOCK_BOOTTIME) + since_boot;
}

}  // namespace orvik::host
