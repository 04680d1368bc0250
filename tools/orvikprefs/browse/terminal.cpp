#include "tools/orvikprefs/browse/terminal.h"

// The library's macros have names such as "timeout" and "erase".
#define NCURSES_NOMACROS
#include <curses.h>
#include <langinfo.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "host/descriptor.h"
#include "text/characters.h"
#include "tools/orvikprefs/browse/value_text.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

// Data of the signal handler that restores the terminal. A handler may only make system calls, so
// the control sequences are prepared.
struct Rescue {
  termios modes = {};
  std::array<char, 256> sequence = {};
  volatile std::sig_atomic_t active = 0;
};
Rescue rescue;

// Bracketed paste: in this mode the terminal puts these sequences around pasted text.
constexpr char kPasteStart[] = "\x1b[200~";
constexpr char kPasteEnd[] = "\x1b[201~";
constexpr char kPasteOn[] = "\x1b[?2004h";
constexpr char kPasteOff[] = "\x1b[?2004l";
// Greater than every key code of the library.
constexpr int kPasteStartCode = 0x4000;
constexpr int kPasteEndCode = 0x4001;

constexpr int kSuspend = 26;  // Ctrl-Z
constexpr int kEscapeCharacter = 27;

void Send(std::string_view sequence) {
  host::WriteAll(STDOUT_FILENO, sequence);
}

// Makes Ctrl-C and Ctrl-Z keys, so that they do not end or stop the browser directly.
void KeepControlKeys() {
  termios modes = {};
  if (tcgetattr(STDIN_FILENO, &modes) != 0) return;
  modes.c_cc[VINTR] = _POSIX_VDISABLE;
  modes.c_cc[VSUSP] = _POSIX_VDISABLE;
  tcsetattr(STDIN_FILENO, TCSANOW, &modes);
  def_prog_mode();
}

// Stops this process, unless it has no shell that could continue it.
void Stop() {
  struct sigaction old = {};
  struct sigaction plain = {};
  plain.sa_handler = SIG_DFL;
  sigaction(SIGTSTP, &plain, &old);
  raise(SIGTSTP);
  sigaction(SIGTSTP, &old, nullptr);
}

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::array kFatalSignals = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGPIPE};

volatile std::sig_atomic_t ending_signal = 0;

void NoteEnd(int number) {
  ending_signal = number;
}

void GiveBackAndDie(int number) {
  if (rescue.active != 0) {
    host::WriteAll(STDOUT_FILENO, rescue.sequence.data());
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &rescue.modes);
  }
  signal(number, SIG_DFL);
  raise(number);
}

bool HasCapability(const char* name) {
  const char* const text = tigetstr(const_cast<char*>(name));
  return text != nullptr && text != reinterpret_cast<const char*>(-1);
}

void PrepareRescue() {
  // Leaves the alternate screen, turns off attributes, keypad and mouse, and shows the cursor.
  std::string sequence;
  for (const char* name : {"sgr0", "rmkx", "cnorm", "rmcup"}) {
    if (HasCapability(name)) sequence += tigetstr(const_cast<char*>(name));
  }
  (sequence += "\x1b[?1000l\x1b[?1006l") += kPasteOff;
  if (sequence.size() < rescue.sequence.size()) {
    std::memcpy(rescue.sequence.data(), sequence.c_str(), sequence.size() + 1);
  }
  rescue.active = 1;
  struct sigaction action = {};
  action.sa_handler = GiveBackAndDie;
  for (const int number : kFatalSignals) sigaction(number, &action, nullptr);
  // These interrupt a wait for a key.
  action.sa_handler = NoteEnd;
  for (const int number : kEndingSignals) sigaction(number, &action, nullptr);
}

// The name of the terminal in a message.
std::string TerminalName() {
  const char* const name = std::getenv("TERM");
  return name == nullptr || *name == '\0' ? "the terminal (TERM is not set)"
                                          : "TERM=" + Quoted(std::string_view(name));
}

// In the order of Style.
struct Look {
  attr_t attributes;
  short colour;  // -1: the terminal's own
};
constexpr Look kLooks[] = {
    {A_NORMAL, -1},         {A_REVERSE, COLOR_BLUE}, {A_BOLD, COLOR_CYAN},    {A_DIM, -1},
    {A_BOLD, COLOR_YELLOW}, {A_BOLD, COLOR_GREEN},   {A_BOLD, COLOR_MAGENTA}, {A_BOLD, COLOR_RED},
    {A_REVERSE, -1},
};

int SpecialOf(int key) {
  static constexpr std::pair<int, int> kKeys[] = {
      {KEY_UP, Terminal::kUp},        {KEY_DOWN, Terminal::kDown},
      {KEY_LEFT, Terminal::kLeft},    {KEY_RIGHT, Terminal::kRight},
      {KEY_HOME, Terminal::kHome},    {KEY_END, Terminal::kEnd},
      {KEY_PPAGE, Terminal::kPageUp}, {KEY_NPAGE, Terminal::kPageDown},
      {KEY_DC, Terminal::kDelete},    {KEY_BTAB, Terminal::kBackTab},
      {KEY_BACKSPACE, '\b'},          {KEY_ENTER, '\n'},
      {KEY_F(1), Terminal::kHelp},    {KEY_RESIZE, Terminal::kResized},
  };
  for (const auto& [code, special] : kKeys) {
    if (code == key) return special;
  }
  return Terminal::kOther;
}

}  // namespace

Terminal::Terminal(bool colour) {
  std::setlocale(LC_ALL, "");
  // Without a locale, assume UTF-8: most terminals show it.
  if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) std::setlocale(LC_CTYPE, "C.UTF-8");
  unicode_ = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  if (tcgetattr(STDIN_FILENO, &rescue.modes) != 0) {
    problem_ = "standard input is no longer a terminal";
    return;
  }
  if (newterm(nullptr, stdout, stdin) == nullptr) {
    problem_ = TerminalName() + " is not in this machine's terminal database";
    return;
  }
  if (!HasCapability("cup") || !HasCapability("clear")) {
    endwin();
    problem_ = TerminalName() + " cannot move the cursor";
    return;
  }
  ok_ = true;
  PrepareRescue();
  cbreak();
  noecho();
  nonl();
  KeepControlKeys();
  keypad(stdscr, TRUE);
  define_key(kPasteStart, kPasteStartCode);
  define_key(kPasteEnd, kPasteEndCode);
  // Arrow keys may also arrive in the other form, before the keypad is on again.
  static constexpr std::pair<char, int> kArrows[] = {
      {'A', KEY_UP}, {'B', KEY_DOWN}, {'C', KEY_RIGHT}, {'D', KEY_LEFT}};
  for (const auto& [letter, code] : kArrows) {
    for (const char* start : {"\x1b[", "\x1bO"}) {
      define_key((start + std::string(1, letter)).c_str(), code);
    }
  }
  Send(kPasteOn);
  set_escdelay(50);
  mousemask(BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON4_PRESSED |
                BUTTON5_PRESSED,
            nullptr);
  mouseinterval(200);
  curs_set(0);
  colour_ = colour && has_colors();
  if (colour_) {
    start_color();
    use_default_colors();
    for (short style = 1; style < static_cast<short>(std::size(kLooks)); ++style) {
      init_pair(style, kLooks[style].colour, -1);
    }
  }
}

Terminal::~Terminal() {
  if (!ok_) return;
  Suspend();
  rescue.active = 0;
  for (const int number : kFatalSignals) signal(number, SIG_DFL);
  for (const int number : kEndingSignals) signal(number, SIG_DFL);
}

int Terminal::ended_by() const {
  return ending_signal;
}

void Terminal::CopyToClipboard(std::string_view base64) {
  Send("\x1b]52;c;" + std::string(base64) + "\a");
}

int Terminal::rows() const {
  return LINES;
}

int Terminal::columns() const {
  return COLS;
}

void Terminal::Clear() {
  werase(stdscr);
}

void Terminal::Put(int row, int column, int width, std::string_view text, Style style) {
  if (row < 0 || row >= LINES || column >= COLS) return;
  width = std::min(width, COLS - column);
  std::string shown = FitColumns(text, width);
  if (!unicode_) {
    std::string ascii;
    for (const char c : shown) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte < 0x80) {
        ascii += c;
      } else if (!IsContinuation(c)) {
        ascii += '?';
      }
    }
    shown = ascii;
  }
  const int used = unicode_ ? ColumnsOfUtf8(shown) : static_cast<int>(shown.size());
  shown.append(static_cast<std::size_t>(std::max(0, width - used)), ' ');
  const Look& look = kLooks[static_cast<int>(style)];
  const int pair = colour_ && look.colour != -1 ? static_cast<int>(style) : 0;
  wattr_set(stdscr, look.attributes, static_cast<short>(pair), nullptr);
  // ncurses reports an error for the last cell of the screen, because it cannot advance. Ignored.
  mvwaddstr(stdscr, row, column, shown.c_str());
  wattr_set(stdscr, A_NORMAL, 0, nullptr);
}

int Terminal::PutWrapped(int last_row, std::string_view text, Style style) {
  const std::vector<std::string> lines = WrapColumns(text, COLS);
  const int count = std::min(static_cast<int>(lines.size()), std::max(1, last_row));
  for (int i = 0; i < count; ++i) {
    Put(last_row - count + 1 + i, 0, COLS, lines[static_cast<std::size_t>(i)], style);
  }
  return count;
}

void Terminal::PlaceCursor(int row, int column) {
  shows_cursor_ = true;
  wmove(stdscr, row, column);
}

void Terminal::Show() {
  // Once for each picture: hiding and showing the cursor would make it flicker.
  curs_set(shows_cursor_ ? 1 : 0);
  wrefresh(stdscr);
}

// A signal that asks the process to end interrupts the wait. A lost terminal does, too: then both
// the reading and tcgetattr fail.
int Terminal::ReadKey(int milliseconds) {
  if (ending_signal != 0) return kEnded;
  wtimeout(stdscr, milliseconds);
  wint_t key = 0;
  const int kind = wget_wch(stdscr, &key);
  if (kind == ERR) {
    termios modes = {};
    if (ending_signal == 0 && tcgetattr(STDIN_FILENO, &modes) != 0) ending_signal = SIGHUP;
    return ending_signal != 0 ? kEnded : kNothing;
  }
  if (kind != KEY_CODE_YES) {
    if (key == kSuspend) {
      Suspend();
      Stop();
      Resume();
      return kResized;
    }
    if (key == kEscapeCharacter && FollowsPasteStart()) return ReadPasted();
    return key == '\r' ? '\n' : key == 127 ? '\b' : static_cast<int>(key);
  }
  if (key == kPasteStartCode) return ReadPasted();
  if (key != KEY_MOUSE) return SpecialOf(static_cast<int>(key));
  MEVENT event;
  if (getmouse(&event) != OK) return kNothing;
  mouse_row_ = event.y;
  mouse_column_ = event.x;
  if ((event.bstate & BUTTON4_PRESSED) != 0) return kWheelUp;
  if ((event.bstate & BUTTON5_PRESSED) != 0) return kWheelDown;
  return (event.bstate & BUTTON1_DOUBLE_CLICKED) != 0 ? kDoubleClick : kClick;
}

// Whether the escape character begins a paste sequence that arrived in pieces. Otherwise the
// characters read are put back.
bool Terminal::FollowsPasteStart() {
  constexpr int kPause = 100;
  constexpr std::string_view kRest = std::string_view(kPasteStart).substr(1);
  wtimeout(stdscr, kPause);
  for (std::size_t count = 0; count < kRest.size(); ++count) {
    wint_t key = 0;
    const int kind = wget_wch(stdscr, &key);
    if (kind == OK && key == static_cast<wint_t>(kRest[count])) continue;
    if (kind == KEY_CODE_YES) ungetch(static_cast<int>(key));
    if (kind == OK) unget_wch(static_cast<wchar_t>(key));
    while (count > 0) unget_wch(static_cast<wchar_t>(kRest[--count]));
    return false;
  }
  return true;
}

int Terminal::ReadPasted() {
  // Over a slow line the end may arrive late, but do not wait for ever.
  constexpr int kLongestPause = 5000;
  wtimeout(stdscr, kLongestPause);
  pasted_.clear();
  wint_t key = 0;
  bool after_return = false;
  for (int kind = 0; (kind = wget_wch(stdscr, &key)) != ERR;) {
    if (kind == KEY_CODE_YES && key == kPasteEndCode) break;
    if (kind == KEY_CODE_YES) continue;
    const bool is_second = after_return && key == '\n';
    after_return = key == '\r';
    if (!is_second) pasted_ += after_return ? U'\n' : static_cast<char32_t>(key);
    // Over a slow line the end may arrive in pieces, which the library does not recognise as a key.
    if (pasted_.ends_with(U"\x1b[201~")) {
      pasted_.resize(pasted_.size() - std::strlen(kPasteEnd));
      break;
    }
  }
  return kPaste;
}

void Terminal::Suspend() {
  Send(kPasteOff);
  endwin();
}

void Terminal::Resume() {
  wrefresh(stdscr);
  keypad(stdscr, TRUE);  // endwin turned it off
  Send(kPasteOn);
  clearok(curscr, TRUE);
}

}  // namespace orvik::prefstool::browse
