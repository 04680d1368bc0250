#include "host/alert_terminal.h"

#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>

namespace orvik::host {
namespace {

bool MayAsk() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 &&
         tcgetpgrp(STDIN_FILENO) == getpgrp();
}

using Clock = std::chrono::steady_clock;

// Waits for input until the deadline (none: for ever).
bool WaitForInput(int in, std::optional<Clock::time_point> deadline) {
  for (;;) {
    int milliseconds = -1;
    if (deadline) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
      milliseconds = static_cast<int>(std::clamp<long long>(left.count(), 0, 1'000'000'000));
    }
    pollfd input{in, POLLIN, 0};
    const int ready = poll(&input, 1, milliseconds);
    if (ready > 0) return true;
    if (ready == 0 && deadline && Clock::now() >= *deadline) return false;
    if (ready < 0 && errno != EINTR) return false;
  }
}

// One line without its end, byte by byte: what follows it belongs to the next reader. False at the
// end of the input and of the time.
bool ReadLine(int in, std::optional<Clock::time_point> deadline, std::string& line) {
  line.clear();
  for (;;) {
    if (!WaitForInput(in, deadline)) return false;
    char byte = 0;
    const ssize_t count = read(in, &byte, 1);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count < 0 || (count == 0 && line.empty())) return false;
    if (count == 0 || byte == '\n') break;
    line += byte;
  }
  while (line.ends_with('\r')) line.pop_back();
  return true;
}

std::optional<int> ButtonOf(const std::string& answer, const AlertRequest& request) {
  if (answer.empty()) return request.default_button;
  for (std::size_t button = 0; button < request.buttons.size(); ++button) {
    if (answer == std::to_string(button + 1) ||
        strcasecmp(answer.c_str(), request.buttons[button].c_str()) == 0) {
      return static_cast<int>(button);
    }
  }
  return std::nullopt;
}

}  // namespace

int AskThrough(int in, std::FILE* out, const AlertRequest& request) {
  std::optional<Clock::time_point> deadline;
  if (request.timeout > 0) {
    // A longer one has no number in nanoseconds.
    const std::chrono::duration<double> seconds(std::fmin(request.timeout, 1e9));
    deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(seconds);
  }
  if (!request.header.empty()) std::fprintf(out, "%s\n", request.header.c_str());
  std::fprintf(out, "%s\n", request.message.c_str());
  for (std::size_t button = 0; button < request.buttons.size(); ++button) {
    const bool is_destructive = static_cast<int>(button) == request.destructive_button;
    std::fprintf(out, "  %zu) %s%s\n", button + 1, request.buttons[button].c_str(),
                 is_destructive ? " (!)" : "");
  }
  for (;;) {
    std::fprintf(out, "Answer [%d]: ", request.default_button + 1);
    std::fflush(out);
    std::string line;
    if (!ReadLine(in, deadline, line)) return kAlertClosed;
    if (const std::optional<int> button = ButtonOf(line, request)) return *button;
  }
}

std::optional<int> AskOnTerminal(const AlertRequest& request) {
  if (!MayAsk()) return std::nullopt;
  return AskThrough(STDIN_FILENO, stdout, request);
}

}  // namespace orvik::host
