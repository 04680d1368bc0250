// Running another program as the peer of a benchmark.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace orvik::bench {

// Runs a program found through PATH with its output thrown away and waits for it: its exit status,
// or -1.
inline int RunPeer(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  int status = -1;
  if (posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) == 0) {
    waitpid(child, &status, 0);
  }
  posix_spawn_file_actions_destroy(&actions);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace orvik::bench
