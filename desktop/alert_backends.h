// The two ways to show an alert, on a terminal and in a window of the program zenity, and how that
// program is run. For the sources of this folder and their tests.
//
// The program runs for one thread of this process and ends with it. Its exit status comes back
// through a pipe and not from waitpid(2), so that the outcome is the same in a process that ignores
// SIGCHLD or waits for every child in another thread.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "desktop/alert.h"

namespace [[gnu::visibility("default")]] orvik {
namespace desktop {

// As ShowAlert. Nothing unless standard input and output are a terminal that this process may read.
std::optional<int> AskOnTerminal(const AlertRequest& request);

// Writes the question and reads lines from a descriptor until one holds the number or the label of
// a button; an empty line chooses the default one. kAlertClosed at the end of the input and when
// the request's time is over, which signals neither end nor extend.
int AskThrough(int in, std::FILE* out, const AlertRequest& request);

// As ShowAlert. Nothing without a display, without the program, and when it cannot open the window.
std::optional<int> AskInWindow(const AlertRequest& request);

// The arguments with which the program starts.
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

struct CompanionOutcome {
  int status = -1;     // exit status; -1 when the program did not start or did not exit by itself
  std::string output;  // the first bytes of standard output, at most 4,096
};

// Looks `arguments[0]` up in PATH, runs it with the given environment ("NAME=value") and input, its
// standard error discarded, and waits for its end. The program is killed when the calling thread or
// this process ends, however that happens. Signals that are handled meanwhile do not end the wait.
CompanionOutcome RunCompanion(std::vector<std::string> arguments,
                              std::vector<std::string> environment, const std::string& input);

}  // namespace desktop
}  // namespace orvik
