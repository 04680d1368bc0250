#include "host/system_log.h"

#include <signal.h>
#include <stdlib.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "text/shown_text.h"

namespace orvik::host {

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
