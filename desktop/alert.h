// Alerts appear in the first possible place: in a window of the desktop, which needs a display
// (DISPLAY or WAYLAND_DISPLAY) and the program zenity; otherwise on the terminal, if standard input
// and standard output are one; otherwise nowhere.
//
// All texts are plain UTF-8. Markup, control sequences and controls that override the direction of
// text have no effect.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace desktop {

enum class AlertLevel { kStop, kNote, kCaution, kPlain };

struct AlertRequest {
  AlertLevel level = AlertLevel::kPlain;
  std::string header;
  std::string message;
  std::vector<std::string> buttons;  // one to three labels
  // Indices into `buttons`; -1 for none.
  int default_button = 0;
  int cancel_button = -1;       // the button that changes nothing
  int destructive_button = -1;  // its action cannot be undone: never pressed by accident
  double timeout = 0;           // seconds; 0 waits for ever
};

inline constexpr int kAlertClosed = -1;

// Shows the alert and waits for the answer. Returns the index of the pressed button, or
// kAlertClosed if the alert was dismissed or timed out. Nothing when the alert cannot be shown.
std::optional<int> ShowAlert(const AlertRequest& request);

using AlertAnswer = std::function<std::optional<int>(const AlertRequest&)>;

// Answers every alert of the process in place of the user as long as the object lives. Objects may
// be nested.
class ScopedAlertAnswer {
 public:
  explicit ScopedAlertAnswer(AlertAnswer answer);
  ~ScopedAlertAnswer();
  ScopedAlertAnswer(const ScopedAlertAnswer&) = delete;
  ScopedAlertAnswer& operator=(const ScopedAlertAnswer&) = delete;

 private:
  AlertAnswer previous_;
};

}  // namespace desktop
}  // namespace orvik
