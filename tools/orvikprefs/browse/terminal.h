// The terminal while the browser uses it (ncurses, wide characters).
#pragma once

#include <string>
#include <string_view>

namespace orvik::prefstool::browse {

enum class Style { kPlain, kHead, kKey, kDim, kChanged, kAdded, kByOthers, kError, kSelected };

// Takes over the terminal and restores it: at the end of the scope, while it is suspended (Ctrl-Z,
// an editor), and when a fault ends the process. Only one object may exist at a time.
//
//   Ctrl-C, Ctrl-Z                      keys; Ctrl-Z stops the process and comes back as kResized
//   SIGINT, SIGTERM, SIGHUP, SIGQUIT    ReadKey returns kEnded; the caller saves and leaves
//   a fault, SIGPIPE                    the terminal is restored, then the signal ends the process
//
// The environment's locale sets the character encoding; without a locale it is UTF-8.
class Terminal {
 public:
  // `colour` requests colours; a terminal without colours ignores it.
  explicit Terminal(bool colour);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool ok() const { return ok_; }
  // The reason if not ok(); a clause such as "terminal \"dumb\" cannot move the cursor".
  const std::string& problem() const { return problem_; }

  // The size of the screen as of the last key (kResized).
  int rows() const;
  int columns() const;

  // Drawing changes a picture in memory; Show sends it to the screen.
  void Clear();
  // Writes into `width` columns from this cell, cut with an ellipsis or padded with blanks. The
  // text is UTF-8 without control characters; a terminal without UTF-8 shows "?" for each character
  // beyond ASCII. A row or column outside the screen is ignored.
  void Put(int row, int column, int width, std::string_view text, Style style);
  // Writes the text in whole lines, wrapped between words; the last line is in `last_row`. Uses at
  // most the lines above it. Returns their number.
  int PutWrapped(int last_row, std::string_view text, Style style);
  // The position of the cursor after Show. HideCursor makes it invisible.
  void PlaceCursor(int row, int column);
  void HideCursor() { shows_cursor_ = false; }
  void Show();

  // Waits for a key: a character (Unicode; Enter is U+000A, Backspace U+0008, other control
  // characters are themselves), one of Special, or kNothing after `milliseconds` without one.
  enum Special : int {
    kNothing = -1,
    kUp = 0x200000,
    kDown,
    kLeft,
    kRight,
    kHome,
    kEnd,
    kPageUp,
    kPageDown,
    kDelete,
    kBackTab,
    kResized,
    kClick,  // the mouse, at mouse_row() and mouse_column()
    kDoubleClick,
    kWheelUp,
    kWheelDown,
    kHelp,   // F1
    kOther,  // a key without a name in this list
    kEnded,  // a signal asks the program to end, or the terminal is lost: ended_by()
    kPaste,  // pasted() has the text, which may contain any characters
  };
  int ReadKey(int milliseconds);
  // The signal (SIGHUP for a lost terminal), or 0. After it every call of ReadKey gives kEnded.
  int ended_by() const;
  // The text that the terminal marked as pasted; a line break is U+000A.
  const std::u32string& pasted() const { return pasted_; }
  int mouse_row() const { return mouse_row_; }
  int mouse_column() const { return mouse_column_; }

  // Whether characters beyond ASCII can be shown.
  bool unicode() const { return unicode_; }

  // Puts a text, given in Base64, into the clipboard of the user's terminal (OSC 52). Many
  // terminals refuse that without a message, and most accept at most 74,994 bytes.
  void CopyToClipboard(std::string_view base64);

  // Restores the terminal for another program until Resume, which draws the whole picture again.
  void Suspend();
  void Resume();

 private:
  bool FollowsPasteStart();
  int ReadPasted();

  std::u32string pasted_;
  std::string problem_;
  bool ok_ = false;
  bool unicode_ = false;
  bool colour_ = false;
  bool shows_cursor_ = false;
  int mouse_row_ = 0;
  int mouse_column_ = 0;
};

}  // namespace orvik::prefstool::browse
