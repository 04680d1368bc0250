#include "host/system_log.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace orvik::host {

void SystemLog(int priority, std::string_view line) {
  const std::string text(line.substr(0, line.find('\0')));
  syslog(priority, "%s", text.c_str());
  const char* copy = std::getenv("ORVIK_LOG_STDERR");
  if (copy != nullptr && std::strcmp(copy, "1") == 0) {
    const std::string with_end = text + '\n';
    // One write, so that lines of several processes do not mix.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, with_end.data(), with_end.size());
  }
}

}  // namespace orvik::host
