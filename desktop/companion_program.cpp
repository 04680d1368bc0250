#include "desktop/alert_backends.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include "host/descriptor.h"
#include "host/paths.h"

namespace orvik::desktop {
namespace {

constexpr std::size_t kOutputLimit = 4096;

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

bool MakePipe(host::Descriptor* end, host::Descriptor* start) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  *end = host::Descriptor(ends[0]);
  *start = host::Descriptor(ends[1]);
  return true;
}

// An unnamed file with the text, positioned at its start.
int FileWith(const std::string& text) {
  const int file = memfd_create("input", MFD_CLOEXEC);
  if (file >= 0) host::WriteAllAt(file, text, 0);
  return file;
}

// Everything that the child needs. It is made before the fork, because after it the child may only
// make system calls.
struct Plan {
  char* const* arguments;
  char* const* environment;
  int input;
  int output;   // receives the program's standard output
  int nowhere;  // receives its standard error
  int report;   // receives its exit status
  pid_t parent;
};

[[noreturn]] void RunProgram(const Plan& plan, pid_t supervisor) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != supervisor) _exit(127);
  // This process may lack descriptors 0 to 2; then those of the plan may have these numbers.
  constexpr int kFree = STDERR_FILENO + 1;
  const int input = fcntl(plan.input, F_DUPFD, kFree);
  const int output = fcntl(plan.output, F_DUPFD, kFree);
  const int nowhere = fcntl(plan.nowhere, F_DUPFD, kFree);
  if (input < 0 || output < 0 || nowhere < 0) _exit(127);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  close_range(kFree, ~0U, 0);
  execvpe(plan.arguments[0], plan.arguments, plan.environment);
  _exit(127);
}

// Runs in a process between this one and the program. Only it waits for the program, so no other
// part of this process can take the exit status.
[[noreturn]] void Supervise(const Plan& plan) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != plan.parent) _exit(0);
  // Signal handlers of this process must not run in the copy.
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const pid_t self = getpid();
  const pid_t program = fork();
  if (program == 0) RunProgram(plan, self);
  // Keeps no other file of this process open: its locks would otherwise outlive it.
  dup2(plan.report, 0);
  close_range(1, ~0U, 0);
  int status = 0;
  while (program > 0 && waitpid(program, &status, 0) < 0 && errno == EINTR) {
  }
  if (program > 0 && WIFEXITED(status)) {
    const char byte = static_cast<char>(WEXITSTATUS(status));
    host::WriteAll(0, {&byte, 1});
  }
  _exit(0);
}

std::string ReadAll(int pipe) {
  std::string text;
  char bytes[512];
  std::size_t count = 0;
  while (host::ReadSome(pipe, bytes, sizeof bytes, &count) == 0 && count != 0) {
    text.append(bytes, std::min(count, kOutputLimit - text.size()));
  }
  return text;
}

}  // namespace

CompanionOutcome RunCompanion(std::vector<std::string> arguments,
                              std::vector<std::string> environment, const std::string& input) {
  CompanionOutcome outcome;
  host::Descriptor output_end, output_start, report_end, report_start;
  if (!MakePipe(&output_end, &output_start) || !MakePipe(&report_end, &report_start)) {
    return outcome;
  }
  const host::Descriptor input_file(FileWith(input));
  const host::Descriptor nowhere = host::OpenPath("/dev/null", O_WRONLY);
  const std::vector<char*> argument_pointers = Pointers(arguments);
  const std::vector<char*> environment_pointers = Pointers(environment);
  const Plan plan{.arguments = argument_pointers.data(),
                  .environment = environment_pointers.data(),
                  .input = input_file.get(),
                  .output = output_start.get(),
                  .nowhere = nowhere.get(),
                  .report = report_start.get(),
                  .parent = getpid()};

  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t supervisor = fork();
  if (supervisor == 0) Supervise(plan);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (supervisor < 0) return outcome;

  output_start.Close();
  report_start.Close();
  outcome.output = ReadAll(output_end.get());
  const std::string status = ReadAll(report_end.get());
  if (status.size() == 1) outcome.status = static_cast<unsigned char>(status[0]);
  // Another thread may already have waited for the supervisor; the exit status is known by now.
  while (waitpid(supervisor, nullptr, 0) < 0 && errno == EINTR) {
  }
  return outcome;
}

}  // namespace orvik::desktop
