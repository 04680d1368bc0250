// Programs that run for one thread of this process and end with it.
//
// The exit status comes back through a pipe and not from waitpid(2), so the outcome is the same in
// a process that ignores SIGCHLD or waits for every child in another thread.
#pragma once

#include <string>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

struct CompanionOutcome {
  int status = -1;     // exit status; -1 when the program did not start or did not exit by itself
  std::string output;  // the first bytes of standard output, at most 4,096
};

// Looks `arguments[0]` up in PATH, runs it with the given environment ("NAME=value") and input, its
// standard error discarded, and waits for its end. The program is killed when the calling thread or
// this process ends, however that happens. Signals that are handled meanwhile do not end the wait.
CompanionOutcome RunCompanion(std::vector<std::string> arguments,
                              std::vector<std::string> environment, const std::string& input);

}  // namespace host
}  // namespace orvik
