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

// Parsers of texts in these files.

// One line of /proc/<pid>/mountinfo.
struct Mount {
  std::uint64_t id = 0;
  std::string device;  // of the file system, "8:1"
  std::string root;    // the path of the mounted folder in its file system
  std::string point;   // the path where it is mounted
};

// All mounts of the table. Malformed lines are left out.
std::vector<Mount> MountsIn(std::string_view table);

// The mount point of a mount in /proc/<pid>/mountinfo; "" when the table does not contain the
// mount.
std::string MountPointIn(std::string_view table, std::uint64_t mount_id);

// The start time of a process in clock ticks since boot, from its /proc/<pid>/stat. Nothing when
// the process has ended (a zombie) or the text is malformed. The process name in the text may
// contain any characters.
std::optional<std::uint64_t> StartTimeIn(std::string_view stat);

// The value of the line "key:<tab>value" of a /proc/<pid>/status; "" when the line is missing.
std::string_view StatusFieldIn(std::string_view status, std::string_view key);

// The start times of processes.

// In clock ticks since boot. Nothing when the process does not exist, is a zombie, or without
// /proc.
std::optional<std::uint64_t> StartTicks(pid_t pid);

// In nanoseconds since 1970, at most a clock tick before the true time.
std::optional<std::int64_t> StartTime(pid_t pid);

// The owner of a running process, and its start time.

struct ProcessOwner {
  std::string user;  // the name, or the number where the user has none
  std::time_t since = 0;
};

// Of a process of any user; nothing when it does not run, or without /proc.
std::optional<ProcessOwner> FindProcessOwner(pid_t pid);

// The file name of the program that a process runs, without folder, the same for every caller. If
// the caller may not examine the process (it belongs to another user), this is the kernel's name
// for it, which the kernel cuts at 15 bytes; the rest comes from the command line. "" if the
// process does not exist, and without /proc.
std::string ProgramNameOf(pid_t pid);

// The arguments of this program.

// Stores the arguments of main, so that /proc need not be read. Call this at the start of main,
// before ProgramArguments.
void SetProgramArguments(int argc, const char* const* argv);

// The arguments without the program's name. Read from /proc unless SetProgramArguments was called.
std::vector<std::string> ProgramArguments();

}  // namespace host
}  // namespace orvik
