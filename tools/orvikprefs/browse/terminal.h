// The terminal while the browser uses it (ncurses, wide characters).
#pragma once

#include <string>
#include <string_view>

namespace orvik::prefstool::browse {

enum class Style { kPlain, kHead, kKey, kDim, kChanged, kAdded, kByOthers, kError, kSelected };

// Takes the terminal over and gives it back as it was: at the end of the scope, while it is
// suspended (Ctrl-Z, an editor), and when a fault ends the process. Only one object may exist at a
// time.
//
//   Ctrl-C, Ctrl-Z                      keys; Ctrl-Z stops the process and comes back as kResized
//   SIGINT, SIGTERM, SIGHUP, SIGQUIT    ReadKey returns kEnded; the caller saves and leaves
//   a fault, SIGPIPE                    the terminal is restored, then the signal ends the process
//
// The locale of the environment decides the characters; without one UTF-8 is assumed.
class Terminal {
 public:
  // `colour` asks for colours, which only a terminal that has them shows.
  explicit Terminal(bool colour);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool ok() const { return ok_; }
  // Why it is not; a clause such as "terminal \"dumb\" cannot move the cursor".
  const std::string& problem() const { return problem_; }

  // The size of the screen as of the last key (kResized).
  int rows() const;
  int columns() const;

  // Drawing changes a picture in memory, which Show brings to the screen.
  void Clear();
  // Writes into `width` columns from this cell on, cut with an ellipsis or filled with blanks. The
  // text is UTF-8 without control characters; a terminal without UTF-8 shows "?" for each character
  // beyond ASCII. A row or column outside the screen is ignored.
  void Put(int row, int column, int width, std::string_view text, Style style);
  // Writes the text into whole lines, the last one in this row, wrapped between words. At most as
  // many lines as are above the row. Returns their number.
  int PutWrapped(int last_row, std::string_view text, Style style);
  // Where Show leaves the cursor, and whether it is seen.
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
    kOther,  // a key without a name here
    kEnded,  // a signal asks the program to end, or the terminal is gone: ended_by()
    kPaste,  // the text of pasted(), whatever its characters are
  };
  int ReadKey(int milliseconds);
  // The signal (SIGHUP for a terminal that is gone), or 0. Every call of ReadKey then gives kEnded.
  int ended_by() const;
  // The text that the terminal marked as pasted; a line break is U+000A.
  const std::u32string& pasted() const { return pasted_; }
  int mouse_row() const { return mouse_row_; }
  int mouse_column() const { return mouse_column_; }

  // Whether characters beyond ASCII can be shown.
  bool unicode() const { return unicode_; }

  // Puts a text, given in Base64, into the clipboard of the user's terminal (OSC 52). Many
  // terminals refuse that without a word, and most take at most 74,994 bytes.
  void CopyToClipboard(std::string_view base64);

  // Gives the terminal back until Resume, for another program. Resume draws the whole picture
  // again.
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
