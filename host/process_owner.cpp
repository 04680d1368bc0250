#include "host/process_owner.h"

#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>
#include <vector>

namespace orvik::host {

namespace {

std::string NameOfUser(uid_t id) {
  std::vector<char> buffer(1024);
  passwd entry = {};
  passwd* found = nullptr;
  while (getpwuid_r(id, &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  return found != nullptr ? entry.pw_name : std::to_string(id);
}

}  // namespace

std::optional<ProcessOwner> FindProcessOwner(pid_t pid) {
  // The folder of a process is made with it, and belongs to its effective user.
  struct stat folder;
  if (pid <= 0 || stat(("/proc/" + std::to_string(pid)).c_str(), &folder) != 0) {
    return std::nullopt;
  }
  return ProcessOwner{NameOfUser(folder.st_uid), folder.st_mtime};
}

}  // namespace orvik::host
