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
  std::string stat;
  if (pid <= 0 || ReadWholeFile("/proc/" + std::to_string(pid) + "/stat", &stat) != 0) {
    return std::nullopt;
  }
  return StartTimeIn(stat);
}

std::optional<std::int64_t> StartTime(pid_t pid) {
  const std::optional<std::uint64_t> ticks = StartTicks(pid);
  const long per_second = sysconf(_SC_CLK_TCK);
  if (!ticks || per_second <= 0) return std::nullopt;
  const std::int64_t since_boot = static_cast<std::int64_t>(*ticks) * (1'000'000'000 / per_second);
  return Now(CLOCK_REALTIME) - Now(CLOCK_BOOTTIME) + since_boot;
}

}  // namespace orvik::host
