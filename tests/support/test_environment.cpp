#include "tests/support/test_environment.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace orvik::test {
namespace fs = std::filesystem;

namespace {

fs::path FreshFolder() {
  std::string pattern = (fs::temp_directory_path() / "orvik-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) abort();
  for (const char* name : {"root", "home", "tmp"}) fs::create_directory(fs::path(pattern) / name);
  return pattern;
}

void MakeWritable(const fs::path& folder) {
  std::error_code error;
  fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, error);
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (entry.is_directory(error) && !entry.is_symlink(error)) MakeWritable(entry.path());
  }
}

}  // namespace

ScopedVariable::ScopedVariable(const char* name, const char* value) : name_(name) {
  if (const char* old = getenv(name)) old_ = old;
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

ScopedVariable::~ScopedVariable() {
  if (old_) {
    setenv(name_, old_->c_str(), 1);
  } else {
    unsetenv(name_);
  }
}

ScopedEnvironment::ScopedEnvironment()
    : folder_(FreshFolder()),
      root_variable_("ORVIK_SYSTEM_ROOT", system_root().string()),
      home_variable_("HOME", home().string()),
      temp_variable_("TMPDIR", temp().string()) {}

ScopedEnvironment::~ScopedEnvironment() {
  MakeWritable(folder_);
  std::error_code error;
  fs::remove_all(folder_, error);
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.flush();
  EXPECT_TRUE(file.good()) << path;
}

CommandResult RunCommand(const std::vector<std::string>& argv, const std::string& input) {
  CommandResult result;
  int in[2], out[2], err[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
    abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    std::vector<char*> arguments;
    for (const std::string& argument : argv)
      arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  size_t written = 0;
  bool in_open = true, out_open = true, err_open = true;
  // A child that stops reading early closes its end: that is its right, not a failure here.
  struct sigaction ignore = {}, old = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &old);
  while (in_open || out_open || err_open) {
    if (in_open && written == input.size()) {
      close(in[1]);
      in_open = false;
      continue;
    }
    pollfd polled[3] = {{in_open ? in[1] : -1, POLLOUT, 0},
                        {out_open ? out[0] : -1, POLLIN, 0},
                        {err_open ? err[0] : -1, POLLIN, 0}};
    if (poll(polled, 3, -1) < 0) continue;
    char buffer[65536];
    if (polled[0].revents != 0) {
      const ssize_t n =
          write(in[1], input.data() + written, std::min<size_t>(input.size() - written, 4096));
      written = n < 0 ? input.size() : written + static_cast<size_t>(n);
    }
    if (polled[1].revents != 0) {
      const ssize_t n = read(out[0], buffer, sizeof buffer);
      if (n > 0)
        result.out.append(buffer, static_cast<size_t>(n));
      else
        out_open = false;
    }
    if (polled[2].revents != 0) {
      const ssize_t n = read(err[0], buffer, sizeof buffer);
      if (n > 0)
        result.err.append(buffer, static_cast<size_t>(n));
      else
        err_open = false;
    }
  }
  sigaction(SIGPIPE, &old, nullptr);
  close(out[0]);
  close(err[0]);
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

fs::path ProgramFolder() {
  return fs::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace orvik::test
