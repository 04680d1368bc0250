// Questions and lists over the browser's screen, and the line for typing in them.
//
// A dialog returns when the user answers. Until then it draws the screen behind it again before
// each key, so that changes by other processes are seen. Escape and Ctrl-C cancel every dialog; so
// does a signal that asks the process to end (Terminal::ended_by).
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

inline constexpr int kEscape = 27;
inline constexpr int kInterrupt = 3;  // Ctrl-C

// One line that is typed and edited, independent of the terminal. It holds characters, not columns:
// any Unicode text, also with line breaks and control characters, which pasted text may have.
class LineInput {
 public:
  // The cursor is behind the text, which is UTF-8; other bytes give an empty line.
  explicit LineInput(std::string_view text = {});
  explicit LineInput(std::u32string text) : text_(std::move(text)), cursor_(text_.size()) {}

  std::string text() const;  // in UTF-8

  // The part of the line that fits into `columns` around the cursor, which stands after `before`
  // and has a column of its own. Control characters are shown as symbols ("\u240A" for a line
  // feed), those that reorder text as U+FFFD. The time is proportional to the columns, however long
  // the line is.
  struct Window {
    std::string before;
    std::string after;
  };
  Window Shown(int columns) const;

  // Handles a key of Terminal::ReadKey: characters, Backspace, Delete, Left, Right, Home, End,
  // Ctrl-A, Ctrl-E, Ctrl-U (erases the text before the cursor), Ctrl-K (the text behind it), Ctrl-W
  // (a word). False for other keys.
  bool HandleKey(int key);

  void Insert(std::u32string_view text);  // at the cursor; all characters are allowed
  void Replace(std::string_view text);    // puts the cursor at the end

 private:
  void MoveLeft();

  std::u32string text_;
  std::size_t cursor_ = 0;
};

// Rows of a list, from 0. Only the texts of visible rows are requested, so a list may be long. The
// texts must be harmless.
struct Rows {
  std::size_t count = 0;
  std::function<std::string(std::size_t)> text;

  // Rows with these texts.
  static Rows Of(std::vector<std::string> texts);
};

class Dialogs {
 public:
  // `background` checks the file and draws the screen without its foot; it is called before each
  // key, at least four times a second. `help` answers F1 in every dialog but its own. The terminal
  // must outlive the dialogs.
  Dialogs(Terminal& terminal, std::function<void()> background, std::function<void()> help)
      : terminal_(terminal), background_(std::move(background)), help_(std::move(help)) {}

  struct Question {
    std::string label;
    std::string text = {};  // the initial text
    // Returns the mistake in the text, or "". It is shown while typing, and Enter is refused.
    std::function<std::string(const std::string&)> check = {};
    // Completes the text at Tab; may be empty.
    std::function<std::string(const std::string&)> complete = {};
    // The rows to show above the line for the text; the arrow and page keys select one of them.
    std::function<Rows(const std::string&)> rows = {};
  };
  // Asks for a line. Returns the typed line, which has no mistake, or no value when the user
  // cancelled. `row` (may be null) receives the selected one of `rows`, or -1 when there is none.
  std::optional<std::string> Ask(const Question& question, int* row = nullptr);

  struct List {
    std::string title;
    Rows rows;
    std::string help = "Enter choose  Esc back";
    std::string keys = {};  // letters that also end the list
    // Whether the rows are up to date; if not, the list ends with kStale.
    std::function<bool()> is_current = {};
  };
  static constexpr int kStale = -2;
  // Lets the user choose a row; starts at `selected`. Returns the row chosen with Enter or one of
  // the letters, and in `key` (may be null) that key. No value for Escape and q, and for a list
  // without rows. With kStale the row is the selected one.
  std::optional<int> Choose(const List& list, int selected = 0, int* key = nullptr);

  // Asks until one of the letters is pressed and returns it, or 0 for Escape. `answers` explains
  // the letters; it stays visible however long the question is.
  int AskLetter(const std::string& question, const std::string& answers,
                const std::string& letters);

  // Shows the text over the foot of the screen and waits a quarter of a second, without drawing the
  // background. False when the user cancels; other keys are lost.
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

// The list of the browser's keys (Browser::kBindings), in two columns if they fit: on a screen of
// 80 by 24 it is complete. No line is wider than `columns`, if that is at least 40.
std::vector<std::string> HelpLines(int columns);

}  // namespace orvik::prefstool::browse
