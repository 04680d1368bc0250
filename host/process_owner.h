// Whose a running process is, and since when it runs.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

struct ProcessOwner {
  std::string user;  // the name, or the number where the user has none
  std::time_t since = 0;
};

// Of any user's process; nothing when it does not run, or without /proc.
std::optional<ProcessOwner> FindProcessOwner(pid_t pid);

}  // namespace host
}  // namespace orvik
