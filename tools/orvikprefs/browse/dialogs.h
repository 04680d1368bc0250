// Questions and lists over the browser's screen, and the line that is typed in them.
//
// A dialog returns when the user answers. Until then it draws the screen behind it anew before each
// key, so that what other processes change is seen. Escape and Ctrl-C cancel every dialog; so does
// a signal that asks the process to end (Terminal::ended_by).
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

// One line that is typed and edited, with no terminal in it. It holds characters, not columns: any
// Unicode text, also one with line breaks and control characters, which pasted text may have.
class LineInput {
 public:
  // The cursor stands behind the text, which is UTF-8; other bytes give an empty line.
  explicit LineInput(std::string_view text = {});
  explicit LineInput(std::u32string text) : text_(std::move(text)), cursor_(text_.size()) {}

  std::string text() const;  // in UTF-8

  // The part of the line that fits into `columns` around the cursor, which stands after `before`
  // and has a column of its own. Control characters are shown as symbols ("\u240A" for a line
  // feed), those that reorder text as U+FFFD. In time proportional to the columns, however long the
  // line is.
  struct Window {
    std::string before;
    std::string after;
  };
  Window Shown(int columns) const;

  // Takes a key of Terminal::ReadKey: characters, Backspace, Delete, Left, Right, Home, End,
  // Ctrl-A, Ctrl-E, Ctrl-U (removes what is before the cursor), Ctrl-K (what is behind it), Ctrl-W
  // (a word). False for any other key.
  bool HandleKey(int key);

  void Insert(std::u32string_view text);  // at the cursor, whatever its characters are
  void Replace(std::string_view text);    // the cursor at its end

 private:
  void MoveLeft();

  std::u32string text_;
  std::size_t cursor_ = 0;
};

// Rows of a list, from 0; only those on the screen are asked for, so a list may have any number.
// The texts must be harmless.
struct Rows {
  std::size_t count = 0;
  std::function<std::string(std::size_t)> text;

  // Rows with these texts.
  static Rows Of(std::vector<std::string> texts);
};

class Dialogs {
 public:
  // `background` looks at the file again and draws the screen without its foot; it is called before
  // each key, at least four times a second. `help` answers F1 in every dialog but its own. The
  // terminal must outlive the dialogs.
  Dialogs(Terminal& terminal, std::function<void()> background, std::function<void()> help)
      : terminal_(terminal), background_(std::move(background)), help_(std::move(help)) {}

  struct Question {
    std::string label;
    std::string text = {};  // to begin with
    // The mistake in the text, "" for none. It is shown while typing, and such a text is not taken.
    std::function<std::string(const std::string&)> check = {};
    // Completes the text at Tab; may be empty.
    std::function<std::string(const std::string&)> complete = {};
    // Rows to be shown above the line for the text, and a place among them that the arrows and the
    // page keys move.
    std::function<Rows(const std::string&)> rows = {};
  };
  // Asks for a line. Returns the line that was typed, which has no mistake, or nothing when the
  // user gave up. `row` receives the chosen one of `rows`, -1 when there is none; it may be null.
  std::optional<std::string> Ask(const Question& question, int* row = nullptr);

  struct List {
    std::string title;
    Rows rows;
    std::string help = "Enter choose  Esc back";
    std::string keys = {};  // letters that end the list too
    // Whether the rows still hold; the list ends with kStale when they do not.
    std::function<bool()> is_current = {};
  };
  static constexpr int kStale = -2;
  // Lets the user choose a row, beginning with `selected`. Returns the row that was chosen with
  // Enter or one of the letters, and in `key`, unless null, which one it was; nothing for Escape
  // and q, and for a list without rows. With kStale the row is the one that was selected.
  std::optional<int> Choose(const List& list, int selected = 0, int* key = nullptr);

  // Asks until one of the letters is pressed and returns it, or 0 for Escape. `answers` says what
  // they mean; it stays visible however long the question is.
  int AskLetter(const std::string& question, const std::string& answers,
                const std::string& letters);

  // Shows the text over the foot of the screen and waits a quarter of a second, without drawing
  // what is behind it. False when the user gives up what is waited for; other keys are lost.
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

// The list of the browser's keys (Browser::kBindings), in two columns where they fit: all of it on
// a screen of 80 by 24. No line is wider than `columns`, from 40 on.
std::vector<std::string> HelpLines(int columns);

}  // namespace orvik::prefstool::browse
