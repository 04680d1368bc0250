// The two ways to show an alert, on a terminal and in a window of the program zenity, and the start
// of that program. For the sources of this folder and their tests.
//
// The program runs for one thread of this process and ends with it. Its exit status comes through a
// pipe and not from waitpid(2), so that the result is the same in a process that ignores SIGCHLD or
// waits for every child in another thread.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "desktop/alert.h"

namespace [[gnu::visibility("default")]] orvik {
namespace desktop {

// As ShowAlert. Nothing unless standard input and output are a terminal whose input this process
// may read.
std::optional<int> AskOnTerminal(const AlertRequest& request);

// Writes the question to `out` and reads lines from the descriptor `in` until a line has the number
// or the label of a button; an empty line chooses the default button. kAlertClosed at the end of
// the input and when the request times out. Signals neither end nor extend the wait.
int AskThrough(int in, std::FILE* out, const AlertRequest& request);

// As ShowAlert. Nothing without a display, without the program, or when it cannot open the window.
std::optional<int> AskInWindow(const AlertRequest& request);

// The arguments of the program.
//
//   button                            place
//   cancel, else the second           left; Escape and the window's close button press no button
//   the first of the others           right
//   the third                         beside them
//   destructive                       its label starts with U+26A0 (warning sign)
//
// Lines wrap at about 60 columns, even inside long words. A text of more than kMessageLines lines
// gets a scroll bar; the buttons always stay visible.
//
// The default button has the focus. The program can give the focus only to the left and the right
// place, and with a scroll bar only to the right place. Any other default button changes places
// with the right one, so that Return never presses a button that is not the default.
struct AlertWindow {
  std::vector<std::string> arguments;
  std::string input;               // the scrolling text
  std::vector<int> button_places;  // the indices of the buttons in the right, left and third place
};
inline constexpr int kMessageLines = 16;

AlertWindow WindowFor(const AlertRequest& request);

struct CompanionOutcome {
  int status = -1;     // exit status; -1 when the program did not start or did not exit by itself
  std::string output;  // the first bytes of standard output, at most 4,096
};

// Looks up `arguments[0]` in PATH, runs it with the given environment ("NAME=value") and input,
// discards its standard error, and waits for its end. The program is killed when the calling thread
// or this process ends, however that happens. A handled signal does not end the wait.
CompanionOutcome RunCompanion(std::vector<std::string> arguments,
                              std::vector<std::string> environment, const std::string& input);

}  // namespace desktop
}  // namespace orvik
