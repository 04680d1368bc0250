#include "host/system.h"

#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "host/paths.h"
#include "text/shown_text.h"

namespace orvik::host {
namespace {

// The variable's absolute path, or "".
std::string FolderFromEnvironment(const char* variable) {
  const char* value = secure_getenv(variable);
  if (value == nullptr || *value != '/') return {};
  return std::string(WithoutTrailingSlashes(value));
}

// The home in the password database, or "/".
std::string RegisteredHome() {
  const std::optional<User> user = FindUser(getuid());
  return user && user->home.starts_with('/') ? std::string(WithoutTrailingSlashes(user->home))
                                             : "/";
}

// 0 when the path leads to a folder, otherwise an errno.
int FolderError(const std::string& path) {
  struct stat attributes;
  if (const int error = StatPath(path, 0, &attributes)) return error;
  return S_ISDIR(attributes.st_mode) ? 0 : ENOTDIR;
}

// Writes with one call, so that lines of several processes do not mix. When the reader has gone
// away, the kernel sends SIGPIPE, which is taken here before it can end the process.
void WriteToStandardError(std::string_view text) {
  sigset_t pipe, blocked, pending;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &blocked);
  sigpending(&pending);
  const bool was_pending = sigismember(&pending, SIGPIPE) == 1;
  const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
  if (written < 0 && errno == EPIPE && !was_pending) {
    constexpr timespec kAtOnce = {0, 0};
    sigtimedwait(&pipe, nullptr, &kAtOnce);
  }
  pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
}

}  // namespace

std::string SystemRoot() {
  const char* value = secure_getenv("ORVIK_SYSTEM_ROOT");
  if (value == nullptr || *value == '\0') return {};
  // A relative path starts at the current folder. Using the machine's own root instead would change
  // the wrong system.
  std::string root = value;
  std::error_code error;
  if (*value != '/') root = std::filesystem::absolute(value, error).string();
  if (error) root = value;  // without a current folder, no path below it can be opened
  root.resize(WithoutTrailingSlashes(root).size());
  return root == "/" ? std::string() : root;
}

std::string SystemPath(std::string_view path) {
  return SystemRoot() += path;
}

std::string ResolvePath(std::string_view path) {
  const std::string root = SystemRoot();
  if (!root.empty() && !LiesBelow(path, root)) {
    for (const char* folder : {"/Library", "/Users/Shared"}) {
      if (LiesBelow(path, folder)) return root + std::string(path);
    }
  }
  return std::string(path);
}

std::string HomeFolder() {
  std::string home = FolderFromEnvironment("HOME");
  return home.empty() ? RegisteredHome() : home;
}

bool BelongsToAnotherUser(const std::string& folder) {
  if (geteuid() != 0) return false;
  struct stat info;
  std::string_view nearest = folder;
  while (StatPath(std::string(nearest), 0, &info) == ENOENT && nearest != "/") {
    nearest = ParentPath(nearest);
  }
  return StatPath(std::string(nearest), 0, &info) == 0 && info.st_uid != 0;
}

std::string OwnHomeFolder() {
  std::string home = HomeFolder();
  return BelongsToAnotherUser(home) ? RegisteredHome() : home;
}

std::optional<User> FindUser(uid_t number) {
  std::vector<char> buffer(16384);
  passwd entry = {};
  passwd* found = nullptr;
  while (getpwuid_r(number, &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) return std::nullopt;
  const auto text = [](const char* field) { return std::string(field != nullptr ? field : ""); };
  return User{text(entry.pw_name), text(entry.pw_dir)};
}

std::string TemporaryFolder() {
  std::string folder = FolderFromEnvironment("TMPDIR");
  return folder.empty() ? "/tmp" : folder;
}

int MakeFolders(const std::string& path) {
  if (FolderError(path) == 0) return 0;
  // Makes each missing parent, from the top.
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string folder = path.substr(0, end);
    const AtPath at(folder);
    if (at.error() != 0) return at.error();
    if (mkdirat(at.folder(), at.name(), 0777) != 0 && errno != EEXIST) {
      const int error = errno;
      // An existing parent may lie on a volume or in a folder that accepts no new entries.
      const int status = FolderError(folder);
      if (end == std::string::npos || (status != 0 && status != ENOTDIR)) return error;
    }
    if (end == std::string::npos) return FolderError(path);
  }
}

void SystemLog(int priority, std::string_view line) {
  const std::string text(line.substr(0, line.find('\0')));
  syslog(priority, "%s", text.c_str());
  const char* copy = secure_getenv("ORVIK_LOG_STDERR");
  if (copy != nullptr && std::strcmp(copy, "1") == 0) {
    WriteToStandardError(Escaped(text) + '\n');
  }
}

}  // namespace orvik::host
