#include "platform/carbon/processes.h"

#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/file_path.h"
#include "platform/host/errno_status.h"
#include "platform/host/replace_file.h"

namespace orvik {

namespace {

// The kernel cuts the names it tells to this length.
constexpr std::size_t kKernelNameLength = 15;

std::string ProcFile(pid_t pid, const char* name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

// What a "key:<tab>value" line of /proc/<pid>/status says.
std::string_view StatusField(std::string_view status, std::string_view key) {
  std::size_t at = status.find(key);
  if (at == std::string_view::npos) return {};
  at += key.size();
  return status.substr(at, status.find('\n', at) - at);
}

std::optional<ProcessSerialNumber> FindProcess(pid_t pid) {
  std::string stat, status;
  if (pid <= 0 || host::ReadWholeFile(ProcFile(pid, "stat"), &stat) != 0 ||
      host::ReadWholeFile(ProcFile(pid, "status"), &status) != 0) {
    return std::nullopt;
  }
  // A thread has such a folder too.
  if (StatusField(status, "\nTgid:\t") != std::to_string(pid)) return std::nullopt;
  // The name, the second field, is in parentheses and may hold anything; the state is the third
  // field and the start time the 22nd.
  constexpr int kFieldsToStartTime = 20;
  std::size_t at = stat.rfind(')');
  if (at == std::string::npos || at + 2 >= stat.size()) return std::nullopt;
  const char state = stat[at + 2];
  if (state == 'Z' || state == 'X') return std::nullopt;
  for (int field = 0; field < kFieldsToStartTime && at != std::string::npos; ++field) {
    at = stat.find(' ', at + 1);
  }
  if (at == std::string::npos) return std::nullopt;
  const unsigned long long start = std::strtoull(stat.c_str() + at + 1, nullptr, 10);
  return ProcessSerialNumber{static_cast<UInt32>(start), static_cast<UInt32>(pid)};
}

bool IsRunning(const ProcessSerialNumber& process) {
  const auto found = FindProcess(static_cast<pid_t>(process.lowLongOfPSN));
  return found && found->highLongOfPSN == process.highLongOfPSN;
}

std::string BaseName(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string NameOf(pid_t pid) {
  char program[PATH_MAX];
  const ssize_t length = readlink(ProcFile(pid, "exe").c_str(), program, sizeof program);
  if (length > 0) {
    std::string_view path(program, static_cast<std::size_t>(length));
    constexpr std::string_view kReplaced = " (deleted)";
    if (path.ends_with(kReplaced)) path.remove_suffix(kReplaced.size());
    return BaseName(path);
  }
  std::string name, arguments;
  if (host::ReadWholeFile(ProcFile(pid, "comm"), &name) != 0) return {};
  if (name.ends_with('\n')) name.pop_back();
  if (name.size() == kKernelNameLength &&
      host::ReadWholeFile(ProcFile(pid, "cmdline"), &arguments) == 0) {
    const std::string called = BaseName(arguments.c_str());
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
