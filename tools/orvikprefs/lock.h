// Who holds the lock of the store that a command works with.
#pragma once

#include <string>

#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

struct LockHolder {
  bool is_held = false;   // by a process that runs
  bool is_stale = false;  // the record names one that does not
  std::string process;
  int pid = -1;
  std::string user;         // "" when it is not known
  std::string host;         // of another machine
  std::string since;        // ISO 8601 in local time: of the record, else of the process; or ""
  std::string file;         // where the lock is kept
  bool is_unknown = false;  // no record is held, and the file may not be read
  bool is_refused = false;  // the file is not a regular lock file of a trusted user
};

// Of the shared scope, with its record; of the other scopes, whose folder has the kernel's lock
// alone.
LockHolder FindHolder(const Context& context);

// A process that holds the lock, and where, in harmless characters: "name", process 12 of root, ...
std::string Describe(const LockHolder& holder);

}  // namespace orvik::prefstool
