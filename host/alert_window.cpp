#include "host/alert_window.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string_view>

extern char** environ;

namespace orvik::host {
namespace {

// Exit statuses that we choose, so that an answer cannot be taken for a failure of the program.
constexpr int kOkStatus = 120;
constexpr int kCancelStatus = 121;
constexpr int kDismissedStatus = 122;
constexpr int kExtraStatus = 123;
constexpr int kTimeoutStatus = 5;  // not ours to choose

// Empty when the variable is not set.
std::string_view Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The labels in the order of the program's OK, cancel and extra button.
std::vector<int> ButtonOrder(const AlertRequest& request) {
  std::vector<int> order{request.default_button};
  for (int button = 0; button < static_cast<int>(request.buttons.size()); ++button) {
    if (button != request.default_button) order.push_back(button);
  }
  return order;
}

// The program reads markup in its text, and backslash escapes before that.
std::string EscapeText(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '\\':
        escaped += "\\\\";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// An underscore in a label would mark the key that presses the button.
std::string EscapeLabel(std::string_view label) {
  std::string escaped;
  for (const char c : label) escaped.append(c == '_' ? 2 : 1, c);
  return escaped;
}

const char* IconName(AlertLevel level) {
  switch (level) {
    case AlertLevel::kStop:
      return "dialog-error";
    case AlertLevel::kNote:
      return "dialog-information";
    case AlertLevel::kCaution:
      return "dialog-warning";
    case AlertLevel::kPlain:
      break;
  }
  return nullptr;
}

// Labels are UTF-8, which the program only takes in a UTF-8 locale.
bool LocaleIsUtf8() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string_view value = Variable(variable);
    if (value.empty()) continue;
    return value.find("UTF-8") != value.npos || value.find("utf8") != value.npos;
  }
  return false;
}

std::vector<std::string> WindowEnvironment() {
  std::vector<std::string> variables{"ZENITY_OK=" + std::to_string(kOkStatus),
                                     "ZENITY_CANCEL=" + std::to_string(kCancelStatus),
                                     "ZENITY_ESC=" + std::to_string(kDismissedStatus),
                                     "ZENITY_EXTRA=" + std::to_string(kExtraStatus)};
  const bool set_locale = !LocaleIsUtf8();
  if (set_locale) variables.emplace_back("LC_ALL=C.UTF-8");
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (text.starts_with("ZENITY_") || (set_locale && text.starts_with("LC_ALL="))) continue;
    variables.emplace_back(text);
  }
  return variables;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

struct Outcome {
  int status = -1;  // exit status; -1 when it did not run to its end
  bool printed = false;
};

Outcome Run(std::vector<std::string> arguments) {
  Outcome outcome;
  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0) return outcome;
  std::vector<std::string> variables = WindowEnvironment();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const bool started = posix_spawnp(&child, arguments[0].c_str(), &actions, nullptr,
                                    Pointers(arguments).data(), Pointers(variables).data()) == 0;
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  std::array<char, 256> bytes;
  ssize_t got = started ? 1 : 0;
  while (got > 0 || (got < 0 && errno == EINTR)) {
    got = read(output[0], bytes.data(), bytes.size());
    if (got > 0) outcome.printed = true;
  }
  close(output[0]);
  int status = 0;
  pid_t ended = -1;
  do {
    if (started) ended = waitpid(child, &status, 0);
  } while (started && ended < 0 && errno == EINTR);
  if (ended == child && WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
  return outcome;
}

}  // namespace

std::vector<std::string> AlertWindowArguments(const AlertRequest& request) {
  const std::vector<int> order = ButtonOrder(request);
  const auto label = [&](int place) {
    return EscapeLabel(request.buttons[static_cast<std::size_t>(order[place])]);
  };
  std::string text = EscapeText(request.message);
  if (!request.header.empty()) text = "<b>" + EscapeText(request.header) + "</b>\n\n" + text;
  std::vector<std::string> arguments{"zenity",
                                     order.size() == 1 ? "--info" : "--question",
                                     "--title=" + request.header,
                                     "--text=" + text,
                                     "--width=360",
                                     "--ok-label=" + label(0)};
  if (order.size() > 1) arguments.push_back("--cancel-label=" + label(1));
  if (order.size() > 2) arguments.push_back("--extra-button=" + label(2));
  if (const char* icon = IconName(request.level)) {
    arguments.push_back(std::string("--icon-name=") + icon);
  }
  if (request.timeout > 0) {
    const long seconds = std::lround(std::ceil(std::fmin(request.timeout, 1e9)));
    arguments.push_back("--timeout=" + std::to_string(seconds));
  }
  return arguments;
}

std::optional<int> AskInWindow(const AlertRequest& request) {
  if (Variable("DISPLAY").empty() && Variable("WAYLAND_DISPLAY").empty()) return std::nullopt;
  const std::vector<int> order = ButtonOrder(request);
  const Outcome outcome = Run(AlertWindowArguments(request));
  switch (outcome.status) {
    case kOkStatus:
      return order[0];
    case kCancelStatus:
      return order.size() > 1 ? order[1] : kAlertClosed;
    case kExtraStatus:
    case kDismissedStatus:
      // The extra button prints its label and is otherwise told like a dismissal.
      return outcome.printed && order.size() > 2 ? order[2] : kAlertClosed;
    case kTimeoutStatus:
      return request.timeout > 0 ? std::optional<int>(kAlertClosed) : std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace orvik::host
