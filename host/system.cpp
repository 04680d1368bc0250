#include "host/system.h"

#include <fcntl.h>
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
#include <string>
#include <system_error>
#include <vector>

#include "host/paths.h"
#include "text/shown_text.h"

namespace orvik::host {
namespace {

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

// The variable's absolute path, or "".
std::string FolderFromEnvironment(const char* variable) {
  const char* value = secure_getenv(variable);
  if (value == nullptr || *value != '/') return {};
  return WithoutTrailingSlashes(value);
}

// Whether the path is the folder or lies in it.
bool LiesIn(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string HomeFromPasswords() {
  std::vector<char> buffer(16384);
  passwd entry;
  passwd* found = nullptr;
  while (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') return "/";
  return WithoutTrailingSlashes(found->pw_dir);
}

// 0 when the path leads to a folder.
int FolderError(const std::string& path) {
  const AtPath at(path);
  if (at.error() != 0) return at.error();
  struct stat attributes;
  if (fstatat(at.folder(), at.name(), &attributes, 0) != 0) return errno;
  return S_ISDIR(attributes.st_mode) ? 0 : ENOTDIR;
}

}  // namespace

std::string SystemRoot() {
  const char* value = secure_getenv("ORVIK_SYSTEM_ROOT");
  if (value == nullptr || *value == '\0') return {};
  // A relative one counts from the current folder: to look into the machine's own root instead
  // would change the wrong system.
  std::string root = value;
  std::error_code error;
  if (*value != '/') root = std::filesystem::absolute(value, error).string();
  if (error) root = value;  // there is no current folder: no path below it can be opened
  root = WithoutTrailingSlashes(root);
  return root == "/" ? std::string() : root;
}

std::string SystemPath(std::string_view path) {
  return SystemRoot() += path;
}

std::string ResolvePath(std::string_view path) {
  const std::string root = SystemRoot();
  if (!root.empty() && !LiesIn(path, root)) {
    for (const char* folder : {"/Library", "/Users/Shared"}) {
      if (LiesIn(path, folder)) return root + std::string(path);
    }
  }
  return std::string(path);
}

std::string HomeFolder() {
  std::string home = FolderFromEnvironment("HOME");
  return home.empty() ? HomeFromPasswords() : home;
}

std::string TemporaryFolder() {
  std::string folder = FolderFromEnvironment("TMPDIR");
  return folder.empty() ? "/tmp" : folder;
}

int MakeFolders(const std::string& path) {
  if (FolderError(path) == 0) return 0;
  // Each parent that is missing, from the top.
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string folder = path.substr(0, end);
    const AtPath at(folder);
    if (at.error() != 0) return at.error();
    if (mkdirat(at.folder(), at.name(), 0777) != 0 && errno != EEXIST) {
      const int error = errno;
      // A parent that exists already may lie on a volume or in a folder that takes nothing new.
      const int status = FolderError(folder);
      if (end == std::string::npos || (status != 0 && status != ENOTDIR)) return error;
    }
    if (end == std::string::npos) return FolderError(path);
  }
}

namespace {

// Writes as one call, so that lines of several processes do not mix. A reader that went away is no
// reason to end: the signal that the kernel sends for it is taken before it can do so.
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

void SystemLog(int priority, std::string_view line) {
  const std::string text(line.substr(0, line.find('\0')));
  syslog(priority, "%s", text.c_str());
  const char* copy = secure_getenv("ORVIK_LOG_STDERR");
  if (copy != nullptr && std::strcmp(copy, "1") == 0) {
    WriteToStandardError(Escaped(text) + '\n');
  }
}

}  // namespace orvik::host
