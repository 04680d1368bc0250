#include "host/system_root.h"

#include <fcntl.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

#include "host/at_path.h"

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

}  // namespace orvik::host
