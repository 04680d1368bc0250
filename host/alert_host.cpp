#include "host/alert_host.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/alert_terminal.h"
#include "host/alert_window.h"

namespace orvik::host {
namespace {

AlertAnswer& InjectedAnswer() {
  static AlertAnswer answer;
  return answer;
}

// Control characters (C0 but for the line feed, DEL, and C1) become "?": neither a terminal nor
// markup is to see them.
std::string Plain(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
    if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      plain += '?';
      ++at;
    } else if (byte == '\t' || (byte == '\r' && next == '\n')) {
      plain += byte == '\t' ? " " : "";
    } else {
      plain += (byte < 0x20 && byte != '\n') || byte == 0x7F ? '?' : text[at];
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
  plain.default_button =
      std::clamp(request.default_button, 0, static_cast<int>(plain.buttons.size()) - 1);
  return plain;
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

}  // namespace orvik::host
