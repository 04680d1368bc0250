#include "host/alert_terminal.h"

#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace orvik::host {
namespace {

bool MayAsk() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 &&
         tcgetpgrp(STDIN_FILENO) == getpgrp();
}

// Whether something can be read before the time is up.
bool WaitForInput(std::FILE* in, double timeout) {
  if (timeout <= 0) return true;
  pollfd input{fileno(in), POLLIN, 0};
  return poll(&input, 1, static_cast<int>(std::fmin(timeout * 1000, 2e9))) != 0;
}

bool ReadLine(std::FILE* in, std::string& line) {
  char* text = nullptr;
  std::size_t capacity = 0;
  const ssize_t length = getline(&text, &capacity, in);
  const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
  if (length < 0) return false;
  line.assign(text, static_cast<std::size_t>(length));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
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

int AskThrough(std::FILE* in, std::FILE* out, const AlertRequest& request) {
  if (!request.header.empty()) std::fprintf(out, "%s\n", request.header.c_str());
  std::fprintf(out, "%s\n", request.message.c_str());
  for (std::size_t button = 0; button < request.buttons.size(); ++button) {
    std::fprintf(out, "  %zu) %s\n", button + 1, request.buttons[button].c_str());
  }
  for (;;) {
    std::fprintf(out, "Answer [%d]: ", request.default_button + 1);
    std::fflush(out);
    std::string line;
    if (!WaitForInput(in, request.timeout) || !ReadLine(in, line)) return kAlertClosed;
    if (const std::optional<int> button = ButtonOf(line, request)) return *button;
  }
}

std::optional<int> AskOnTerminal(const AlertRequest& request) {
  if (!MayAsk()) return std::nullopt;
  return AskThrough(stdin, stdout, request);
}

}  // namespace orvik::host
