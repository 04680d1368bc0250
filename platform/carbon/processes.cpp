#include "platform/carbon/processes.h"

#include <limits.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/proc.h"
#include "host/replace_file.h"
#include "platform/carbon/errno_status.h"
#include "platform/foundation/path_on_disk.h"

namespace orvik {

namespace {

// The kernel cuts the names that it reports to this length.
constexpr std::size_t kKernelNameLength = 15;

std::string ProcFile(pid_t pid, const char* name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

std::optional<ProcessSerialNumber> FindProcess(pid_t pid) {
  const std::optional<std::uint64_t> start = host::StartTicks(pid);
  if (!start) return std::nullopt;
  // A thread has such a folder too.
  std::string status;
  if (pid != getpid() && (host::ReadWholeFile(ProcFile(pid, "status"), &status) != 0 ||
                          host::StatusFieldIn(status, "Tgid") != std::to_string(pid))) {
    return std::nullopt;
  }
  return ProcessSerialNumber{static_cast<UInt32>(*start), static_cast<UInt32>(pid)};
}

bool IsRunning(const ProcessSerialNumber& process) {
  const auto found = FindProcess(static_cast<pid_t>(process.lowLongOfPSN));
  return found && found->highLongOfPSN == process.highLongOfPSN;
}

std::string BaseName(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string NameOf(pid_t pid) {
  std::string program;
  if (host::ReadLink(AT_FDCWD, ProcFile(pid, "exe").c_str(), &program) == 0) {
    std::string_view path = program;
    constexpr std::string_view kReplaced = " (deleted)";
    if (path.ends_with(kReplaced)) path.remove_suffix(kReplaced.size());
    return BaseName(path);
  }
  std::string name, arguments;
  if (host::ReadWholeFile(ProcFile(pid, "comm"), &name) != 0) return {};
  if (name.ends_with('\n')) name.pop_back();
  if (name.size() == kKernelNameLength &&
      host::ReadWholeFile(ProcFile(pid, "cmdline"), &arguments) == 0) {
    std::string called = BaseName(arguments.c_str());
    if (called.starts_with(name)) return called;
  }
  return name;
}

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
  const std::string text = NameOf(static_cast<pid_t>(process->lowLongOfPSN));
  // Asked afterwards, so that the name is not that of a later process.
  if (text.empty() || !IsRunning(*process)) return procNotFound;
  *name = NewStringFromPath(text);
  return noErr;
}

OSErr GetCurrentProcess(ProcessSerialNumber* process) {
  return static_cast<OSErr>(GetProcessForPID(getpid(), process));
}

OSStatus GetProcessPID(const ProcessSerialNumber* process, pid_t* pid) {
  if (process == nullptr || pid == nullptr) return paramErr;
  if (!IsRunning(*process)) return procNotFound;
  *pid = static_cast<pid_t>(process->lowLongOfPSN);
  return noErr;
}

}  // namespace orvik
