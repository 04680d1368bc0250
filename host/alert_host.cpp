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

// Control characters (C0 but for the line feed, DEL, and C1) and the direction's overrides (U+202A
// to U+202E) become "?": neither a terminal nor a reader is to be misled.
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
