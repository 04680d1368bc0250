// Where alerts are shown, in this order: in a window of the desktop when there is a display
// (DISPLAY or WAYLAND_DISPLAY) and the program zenity; on the terminal when standard input and
// output are one; nowhere otherwise.
//
// All texts are UTF-8 and plain: markup, control sequences and controls that override the direction
// of text have no effect.
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
  // Indices into `buttons`; -1 when there is no such button.
  int default_button = 0;
  int cancel_button = -1;       // the one that changes nothing
  int destructive_button = -1;  // one whose action cannot be undone: never the answer by accident
  double timeout = 0;           // seconds; 0 waits for ever
};

inline constexpr int kAlertClosed = -1;

// Shows the alert and blocks until it is answered: the index of the button that was pressed, or
// kAlertClosed when it was dismissed or timed out. Nothing when it cannot be shown.
std::optional<int> ShowAlert(const AlertRequest& request);

using AlertAnswer = std::function<std::optional<int>(const AlertRequest&)>;

// Answers every alert of the process instead of a user while the object lives. Objects nest.
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
