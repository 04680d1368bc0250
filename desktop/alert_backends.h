// Alerts on a terminal and in windows. For alert.cpp and tests.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "desktop/alert.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Alerts on a terminal. For alert.cpp and tests.

// As ShowAlert. Nothing unless standard input and output are a terminal that this process may read.
std::optional<int> AskOnTerminal(const AlertRequest& request);

// Writes the question and reads lines from a descriptor until one holds the number or the label of
// a button; an empty line chooses the default one. kAlertClosed at the end of the input and when
// the request's time is over, which signals neither end nor extend.
int AskThrough(int in, std::FILE* out, const AlertRequest& request);

// Alerts as windows, through the program zenity. For alert.cpp and tests.

// As ShowAlert. Nothing without a display, without the program, and when it cannot open the window.
std::optional<int> AskInWindow(const AlertRequest& request);

// What the program is started with.
//
//   button                            place
//   cancel (none: the second)         left; Escape and the window's own button close the alert and
//                                     press nothing
//   the first of the others           right
//   the third                         beside them
//   destructive                       its label starts with U+26A0 (warning sign)
//
// Lines wrap at about 60 columns, within long words too. A text of more than kMessageLines lines is
// shown in a window with a scroll bar, whose buttons always stay in sight.
//
// The default button has the focus. The program can give it to the left and the right place only,
// and with a scroll bar to the right place only: any other default button changes places with the
// right one, so that Return never presses a button that is not the default.
struct AlertWindow {
  std::vector<std::string> arguments;
  std::string input;               // the text that scrolls
  std::vector<int> button_places;  // the request's buttons in the right, left and third place
};
inline constexpr int kMessageLines = 16;

AlertWindow WindowFor(const AlertRequest& request);

}  // namespace host
}  // namespace orvik
