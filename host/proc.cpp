#include "host/proc.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <charconv>
#include <utility>

#include "host/replace_file.h"
#include "host/system.h"

namespace orvik::host {
namespace {

// Removes the text up to the first `mark`, and the mark, and returns the text.
std::string_view TakePart(std::string_view& text, char mark) {
  const std::size_t end = text.find(mark);
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

std::optional<std::uint64_t> Number(std::string_view digits) {
  std::uint64_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// The mount table writes blanks, line ends and backslashes as three octal digits.
std::string Unescape(std::string_view text) {
  const auto digit = [&](std::size_t i) { return text[i] >= '0' && text[i] <= '7'; };
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && digit(i + 1) && digit(i + 2) && digit(i + 3)) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                 (text[i + 3] - '0'));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

std::int64_t Now(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::optional<std::vector<std::string>>& Given() {
  static auto& given = *new std::optional<std::vector<std::string>>;
  return given;
}

std::vector<std::string> ReadFromProc() {
  std::string line;
  std::vector<std::string> arguments;
  if (ReadWholeFile("/proc/self/cmdline", &line) != 0) return arguments;
  for (std::size_t at = line.find('\0'); at != std::string::npos && at + 1 < line.size();) {
    const std::size_t end = line.find('\0', at + 1);
    arguments.push_back(line.substr(at + 1, end - at - 1));
    at = end;
  }
  return arguments;
}

}  // namespace

std::vector<Mount> MountsIn(std::string_view table) {
  std::vector<Mount> mounts;
  while (!table.empty()) {
    std::string_view line = TakePart(table, '\n');
    const std::optional<std::uint64_t> id = Number(TakePart(line, ' '));
    TakePart(line, ' ');  // the parent
    Mount mount{id.value_or(0), std::string(TakePart(line, ' ')), Unescape(TakePart(line, ' ')),
                Unescape(TakePart(line, ' '))};
    if (id && !mount.point.empty()) mounts.push_back(std::move(mount));
  }
  return mounts;
}

std::string MountPointIn(std::string_view table, std::uint64_t mount_id) {
  for (Mount& mount : MountsIn(table)) {
    if (mount.id == mount_id) return std::move(mount.point);
  }
  return {};
}

std::optional<std::uint64_t> StartTimeIn(std::string_view stat) {
  // The name, the second field, is in parentheses. The state is the third field, the start time the
  // 22nd.
  const std::size_t name_end = stat.rfind(") ");
  if (name_end == std::string_view::npos) return std::nullopt;
  stat.remove_prefix(name_end + 2);
  const std::string_view state = TakePart(stat, ' ');
  if (state == "Z" || state == "X") return std::nullopt;
  for (int field = 4; field < 22; ++field) TakePart(stat, ' ');
  return Number(TakePart(stat, ' '));
}

std::string_view StatusFieldIn(std::string_view status, std::string_view key) {
  while (!status.empty()) {
    std::string_view line = TakePart(status, '\n');
    if (line.starts_with(key) && line.substr(key.size()).starts_with(":\t")) {
      return line.substr(key.size() + 2);
    }
  }
  return {};
}

std::optional<std::uint64_t> StartTicks(pid_t pid) {
  if (pid <= 0) return std::nullopt;
  // A process asks for its own start time often.
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

std::optional<ProcessOwner> FindProcessOwner(pid_t pid) {
  // The kernel makes the folder of a process when the process starts, and gives it to the effective
  // user.
  struct stat folder;
  if (pid <= 0 || stat(("/proc/" + std::to_string(pid)).c_str(), &folder) != 0) {
    return std::nullopt;
  }
  const std::optional<User> user = FindUser(folder.st_uid);
  return ProcessOwner{user ? user->name : std::to_string(folder.st_uid), folder.st_mtime};
}

std::string ProgramNameOf(pid_t pid) {
  // The kernel cuts the names that it reports to this length.
  constexpr std::size_t kKernelNameLength = 15;
  constexpr std::string_view kReplaced = " (deleted)";
  const auto base = [](std::string_view path) {
    return std::string(path.substr(path.rfind('/') + 1));
  };
  const std::string folder = "/proc/" + std::to_string(pid) + "/";
  std::string program, name, arguments;
  if (ReadLink(AT_FDCWD, (folder + "exe").c_str(), &program) == 0) {
    if (program.ends_with(kReplaced)) program.resize(program.size() - kReplaced.size());
    return base(program);
  }
  if (ReadWholeFile(folder + "comm", &name) != 0) return {};
  if (name.ends_with('\n')) name.pop_back();
  if (name.size() == kKernelNameLength && ReadWholeFile(folder + "cmdline", &arguments) == 0) {
    std::string called = base(arguments.c_str());
    if (called.starts_with(name)) return called;
  }
  return name;
}

void SetProgramArguments(int argc, const char* const* argv) {
  std::vector<std::string>& arguments = Given().emplace();
  for (int i = 1; i < argc; ++i) arguments.emplace_back(argv[i]);
}

std::vector<std::string> ProgramArguments() {
  return Given() ? *Given() : ReadFromProc();
}

}  // namespace orvik::host
