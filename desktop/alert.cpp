#include "desktop/alert.h"

#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <string_view>
#include <utility>

#include "desktop/alert_backends.h"
#include "host/descriptor.h"

namespace orvik::desktop {
namespace {

AlertAnswer& InjectedAnswer() {
  static auto* const answer = new AlertAnswer;
  return *answer;
}

// Replaces control characters (C0 except the line feed, DEL, and C1) and the direction overrides
// (U+202A to U+202E) by "?", because they could mislead the terminal or the reader.
std::string Plain(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = [&](std::size_t ahead) {
      return static_cast<unsigned char>(at + ahead < text.size() ? text[at + ahead] : 0);
    };
    if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) < 0xA0) {
      plain += '?';
      at += 1;
    } else if (byte(0) == 0xE2 && byte(1) == 0x80 && byte(2) >= 0xAA && byte(2) <= 0xAE) {
      plain += '?';
      at += 2;
    } else if (byte(0) == '\t' || (byte(0) == '\r' && byte(1) == '\n')) {
      plain += byte(0) == '\t' ? " " : "";
    } else {
      plain += (byte(0) < 0x20 && byte(0) != '\n') || byte(0) == 0x7F ? '?' : text[at];
    }
  }
  return plain;
}

AlertRequest PlainRequest(const AlertRequest& request) {
  AlertRequest plain = request;
  plain.header = Plain(request.header);
  plain.message = Plain(request.message);
  for (std::string& button : plain.buttons) button = Plain(button);
  if (plain.buttons.empty()) plain.buttons.emplace_back("OK");
  if (plain.buttons.size() > 3) plain.buttons.resize(3);
  const int last = static_cast<int>(plain.buttons.size()) - 1;
  plain.default_button = std::clamp(request.default_button, 0, last);
  if (plain.cancel_button > last) plain.cancel_button = -1;
  if (plain.destructive_button > last) plain.destructive_button = -1;
  return plain;
}

bool MayAsk() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 &&
         tcgetpgrp(STDIN_FILENO) == getpgrp();
}

using Clock = std::chrono::steady_clock;

// Waits for input until the deadline, or without a deadline for ever.
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

// Reads one line without its end, byte by byte, because the text after it belongs to the next
// reader. False at the end of the input and at the deadline.
bool ReadLine(int in, std::optional<Clock::time_point> deadline, std::string& line) {
  line.clear();
  for (;;) {
    if (!WaitForInput(in, deadline)) return false;
    char byte = 0;
    std::size_t count = 0;
    const int error = host::ReadSome(in, &byte, 1, &count);
    if (error == EAGAIN) continue;
    if (error != 0 || (count == 0 && line.empty())) return false;
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

std::optional<int> ShowAlert(const AlertRequest& request) {
  const AlertRequest plain = PlainRequest(request);
  if (InjectedAnswer()) return InjectedAnswer()(plain);
  if (const std::optional<int> answer = AskInWindow(plain)) return answer;
  return AskOnTerminal(plain);
}

ScopedAlertAnswer::ScopedAlertAnswer(AlertAnswer answer)
    : previous_(std::exchange(InjectedAnswer(), std::move(answer))) {}

ScopedAlertAnswer::~ScopedAlertAnswer() {
  InjectedAnswer() = std::move(previous_);
}

int AskThrough(int in, std::FILE* out, const AlertRequest& request) {
  std::optional<Clock::time_point> deadline;
  if (request.timeout > 0) {
    // A longer time does not fit into a number of nanoseconds.
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

}  // namespace orvik::desktop
