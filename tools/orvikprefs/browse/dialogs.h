// Questions and lists over the browser's screen. The screen behind them is kept up to date
// while they wait. Escape and Ctrl-C cancel each of them.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

inline constexpr int kEscape = 27;
inline constexpr int kInterrupt = 3;  // Ctrl-C

// Rows of a list; only those on the screen are asked for.
struct Rows {
  std::size_t count = 0;
  std::function<std::string(std::size_t)> text;

  static Rows Of(std::vector<std::string> texts);
};

class Dialogs {
 public:
  // `background` draws the screen without its foot; it is called before each key. `help` answers
  // F1 in every dialog.
  Dialogs(Terminal& terminal, std::function<void()> background, std::function<void()> help)
      : terminal_(terminal), background_(std::move(background)), help_(std::move(help)) {}

  struct Question {
    std::string label;
    std::string text;  // to begin with
    // The mistake in the text, "" for none. It is shown while typing, and such a text is not taken.
    std::function<std::string(const std::string&)> check;
    // Completes the text at Tab; may be empty.
    std::function<std::string(const std::string&)> complete;
    // Rows to be shown above the line for the text, and a place among them that the arrows and the
    // page keys move.
    std::function<Rows(const std::string&)> rows;
  };
  // The line that was typed; nothing when the user gave up. *row is the chosen one of `rows`.
  std::optional<std::string> Ask(const Question& question, int* row = nullptr);

  struct List {
    std::string title;
    Rows rows;
    std::string help;
    std::string keys;  // letters that end the list too
    // Whether the rows still hold; the list ends with kStale when they do not.
    std::function<bool()> is_current;
  };
  static constexpr int kStale = -2;
  // The row that was chosen with Enter or one of the letters; *key says which. Nothing for Escape,
  // q.
  std::optional<int> Choose(const List& list, int selected = 0, int* key = nullptr);

  // One of the letters; Escape gives 0. `answers` says what they mean.
  int AskLetter(const std::string& question, const std::string& answers,
                const std::string& letters);

  // Shows the text over the foot of the screen and waits a little, without drawing what is behind
  // it. False when the user gives up what is waited for.
  bool KeepWaiting(const std::string& text);

 private:
  int WaitForKey();
  void DrawFoot(const std::string& text, const std::string& answers, Style style);
  void DrawRows(const std::string& title, const Rows& rows, int selected);

  Terminal& terminal_;
  std::function<void()> background_;
  std::function<void()> help_;
  bool is_helping_ = false;
};

// The list of the browser's keys, in two columns where they fit.
std::vector<std::string> HelpLines(int columns);

}  // namespace orvik::prefstool::browse
