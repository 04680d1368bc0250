// The files below /proc in which the kernel describes mounts and processes (proc(5)).
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The texts below /proc in which the kernel describes mounts and processes (proc(5)).

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

// When the process of a /proc/<pid>/stat began, in clock ticks since boot; nothing when it has
// ended (and is not waited for yet) or the text is not of that form. The name in it may hold
// anything.
std::optional<std::uint64_t> StartTimeIn(std::string_view stat);

// The value of the line "key:<tab>value" of a /proc/<pid>/status; "" when the line is missing.
std::string_view StatusFieldIn(std::string_view status, std::string_view key);

// When processes were started.

// In clock ticks since the machine was; nothing when no such process runs, when it has ended and
// waits for its parent, or without /proc.
std::optional<std::uint64_t> StartTicks(pid_t pid);

// In nanoseconds since 1970, at most a clock tick before the true time.
std::optional<std::int64_t> StartTime(pid_t pid);

// Whose a running process is, and since when it runs.

struct ProcessOwner {
  std::string user;  // the name, or the number where the user has none
  std::time_t since = 0;
};

// Of any user's process; nothing when it does not run, or without /proc.
std::optional<ProcessOwner> FindProcessOwner(pid_t pid);

// The name of the program's file that a process runs, without folder, the same for every caller.
// If the caller may not examine the process (another user's), this is the kernel's name for it; the
// kernel cuts that at 15 bytes, and the command line gives the rest. "" if the process does not
// exist, and without /proc.
std::string ProgramNameOf(pid_t pid);

// The arguments with which the program was started.

// Takes over what main was given, so that nothing need be read from /proc. To be called before
// ProgramArguments, at the start of main.
void SetProgramArguments(int argc, const char* const* argv);

// Without the program's name. Where main handed nothing over they are read from /proc.
std::vector<std::string> ProgramArguments();

}  // namespace host
}  // namespace orvik
