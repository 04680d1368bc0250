#include "platform/carbon/machine.h"

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <thread>

#include "host/proc.h"
#include "host/replace_file.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/object_support.h"

namespace orvik {

namespace {

std::string ProcFile(pid_t pid, const char* name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

std::optional<ProcessSerialNumber> FindProcess(pid_t pid) {
  const std::optional<std::uint64_t> start = host::StartTicks(pid);
  if (!start) return std::nullopt;
  // Threads have such a folder, too.
  std::string status;
  if (host::ReadWholeFile(ProcFile(pid, "status"), &status) != 0 ||
      host::StatusFieldIn(status, "Tgid") != std::to_string(pid)) {
    return std::nullopt;
  }
  return ProcessSerialNumber{static_cast<UInt32>(*start), static_cast<UInt32>(pid)};
}

bool IsRunning(const ProcessSerialNumber& process) {
  const auto found = FindProcess(static_cast<pid_t>(process.lowLongOfPSN));
  return found && found->highLongOfPSN == process.highLongOfPSN;
}

constexpr UInt64 kTicksPerSecond = 60;
constexpr UInt64 kNanoseconds = 1'000'000'000;

constexpr SInt32 kOfferedSystemVersion = 0x1049;
}  // namespace

OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* process) {
  if (process == nullptr) return paramErr;
  const auto found = FindProcess(pid);
  if (!found) return procNotFound;
  *process = *found;
  return noErr;
}

OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name) {
  if (process == nullptr || name == nullptr) return paramErr;
  const std::string text = host::ProgramNameOf(static_cast<pid_t>(process->lowLongOfPSN));
  // Checked after the name was read, so that the name is not that of a later process.
  if (text.empty() || !IsRunning(*process)) return procNotFound;
  *name = NewStringFromPath(text);
  return noErr;
}

UInt32 TickCount() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<UInt32>(static_cast<UInt64>(now.tv_sec) * kTicksPerSecond +
                             static_cast<UInt64>(now.tv_nsec) * kTicksPerSecond / kNanoseconds);
}

void Delay(UInt32 ticks, UInt32* final_ticks) {
  // Continues to sleep after a signal.
  std::this_thread::sleep_for(std::chrono::nanoseconds(ticks * kNanoseconds / kTicksPerSecond));
  if (final_ticks != nullptr) *final_ticks = TickCount();
}

OSErr Gestalt(OSType selector, SInt32* response) {
  if (response == nullptr) return paramErr;
  if (selector != gestaltSystemVersion) return gestaltUndefSelectorErr;
  *response = kOfferedSystemVersion;
  return 0;
}

}  // namespace orvik
