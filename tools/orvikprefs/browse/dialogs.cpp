#include "tools/orvikprefs/browse/dialogs.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "strings/atl_string.h"
#include "text/shown_text.h"
#include "text/transcoding.h"
#include "tools/orvikprefs/browse/value_text.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

// The characters of a text; empty if it is not UTF-8.
std::u32string Characters(std::string_view utf8) {
  std::u32string characters;
  if (!IsValidUtf8(utf8)) return characters;
  for (std::size_t at = 0; at < utf8.size();) characters += NextCharacter(utf8, at);
  return characters;
}

std::string Utf8(std::u32string_view characters) {
  std::string utf8;
  for (const char32_t character : characters) AppendCharacter(utf8, character);
  return utf8;
}

// The substitute for a character on the screen: a control character must not reach a terminal.
char32_t Symbol(char32_t character) {
  if (character < 0x20) return 0x2400 + character;
  if (!ControlAt(Utf8({&character, 1}), 0)) return character;
  return character == 0x7F ? 0x2421 : kReplacementCharacter;
}

// The key that a terminal sends for Ctrl and the capital letter.
constexpr int Control(char letter) {
  return letter - '@';
}

constexpr int kTick = 250;  // milliseconds until the background is drawn again

// How far a key moves in a list of `last` + 1 rows; no value for other keys.
std::optional<int> StepOf(int key, int page, int last) {
  switch (key) {
    case Terminal::kUp:
    case Terminal::kWheelUp:
      return -1;
    case Terminal::kDown:
    case Terminal::kWheelDown:
      return 1;
    case Terminal::kPageUp:
      return -page;
    case Terminal::kPageDown:
      return page;
    case Terminal::kHome:
      return -last;
    case Terminal::kEnd:
      return last;
    default:
      return std::nullopt;
  }
}

// Whether a key is one of the letters, which are printable ASCII.
bool IsOneOf(int key, const std::string& letters) {
  return key > ' ' && key < 0x7F && letters.find(static_cast<char>(key)) != std::string::npos;
}

constexpr std::pair<const char*, const char*> kKeys[] = {
    {"Arrows h j k l", "move, open, close"},
    {"Home End Page", "far"},
    {"Tab, mouse", "other side, select"},
    {"/  n N", "search, next hit"},
    {"f  Esc", "filter, show all"},
    {"g", "go to a path"},
    {"]  [", "next changed row"},
    {"o  z", "order, sizes"},
    {"s  D", "scope, domain"},
    {"=", "same path elsewhere"},
    {"v", "view whole value"},
    {"p  P", "copy path, value"},
    {"x", "export to a file"},
    {"Enter  e", "edit the value"},
    {"t", "change its type"},
    {"a  A", "add value, key"},
    {"r  m  y", "rename, move, copy"},
    {"d", "delete"},
    {"Space", "pick rows for d"},
    {"u  U", "undo, redo"},
    {"c  C", "changes, conflicts"},
    {"w", "write all or nothing"},
    {"R", "repair damaged file"},
    {"q  Ctrl-C", "quit"},
    {"?  F1", "this help"},
    {"*  +", "changed, added"},
    {"~  !", "by others, conflict"},
    {"#", "picked"},
};

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::string LineOfKey(std::size_t key) {
  return Padded(kKeys[key].first, 15) + kKeys[key].second;
}

}  // namespace

LineInput::LineInput(std::string_view text) {
  Replace(text);
}

std::string LineInput::text() const {
  return Utf8(text_);
}

// Scrolls so that the cursor is visible: as many characters before it as fit, then those after it
// in the remaining columns. A character that needs two columns is never cut.
LineInput::Window LineInput::Shown(int columns) const {
  std::u32string before;
  std::u32string after;
  // The cursor needs a column.
  int room = columns - 1;
  std::size_t first = cursor_;
  while (first > 0 && ColumnsOf(Symbol(text_[first - 1])) <= room) {
    room -= ColumnsOf(Symbol(text_[--first]));
  }
  for (std::size_t at = first; at < cursor_; ++at) before += Symbol(text_[at]);
  ++room;
  for (std::size_t at = cursor_; at < text_.size(); ++at) {
    const char32_t symbol = Symbol(text_[at]);
    room -= ColumnsOf(symbol);
    if (room < 0) break;
    after += symbol;
  }
  return {Utf8(before), Utf8(after)};
}

void LineInput::Insert(std::u32string_view text) {
  text_.insert(cursor_, text);
  cursor_ += text.size();
}

void LineInput::Replace(std::string_view text) {
  text_ = Characters(text);
  cursor_ = text_.size();
}

// Skips a character with its combining marks, which have no column of their own.
void LineInput::MoveLeft() {
  while (cursor_ > 0 && ColumnsOf(text_[--cursor_]) == 0) {
  }
}

// The keys of shells work, too: Ctrl-A and Ctrl-E go to the ends, Ctrl-U and Ctrl-K erase up to
// them, Ctrl-W erases a word. Other characters are inserted at the cursor. False for unknown keys.
bool LineInput::HandleKey(int key) {
  const std::size_t old_cursor = cursor_;
  switch (key) {
    case Terminal::kLeft:
      MoveLeft();
      return true;
    case Terminal::kRight:
      if (cursor_ < text_.size()) ++cursor_;
      while (cursor_ < text_.size() && ColumnsOf(text_[cursor_]) == 0) ++cursor_;
      return true;
    case Terminal::kHome:
    case Control('A'):
      cursor_ = 0;
      return true;
    case Terminal::kEnd:
    case Control('E'):
      cursor_ = text_.size();
      return true;
    case '\b':
      if (cursor_ > 0) text_.erase(--cursor_, 1);
      return true;
    case Terminal::kDelete:
    case Control('D'):
      if (cursor_ < text_.size()) text_.erase(cursor_, 1);
      return true;
    case Control('U'):
      text_.erase(0, cursor_);
      cursor_ = 0;
      return true;
    case Control('K'):
      text_.erase(cursor_);
      return true;
    case Control('W'):
      while (cursor_ > 0 && text_[cursor_ - 1] == U' ') --cursor_;
      while (cursor_ > 0 && text_[cursor_ - 1] != U' ') --cursor_;
      text_.erase(cursor_, old_cursor - cursor_);
      return true;
    default:
      break;
  }
  if (key < ' ' || !IsCharacter(static_cast<char32_t>(key))) return false;
  text_.insert(cursor_++, 1, static_cast<char32_t>(key));
  return true;
}

// The rows share the texts, because the function object that returns them is copied.
Rows Rows::Of(std::vector<std::string> texts) {
  const auto kept = std::make_shared<const std::vector<std::string>>(std::move(texts));
  return {kept->size(), [kept](std::size_t row) { return (*kept)[row]; }};
}

// Waits for at most one tick, so that the caller draws the background again. Help opens over the
// dialog, but not over itself. Ctrl-C and the end of the input cancel, like Escape.
int Dialogs::WaitForKey() {
  terminal_.Show();
  const int key = terminal_.ReadKey(kTick);
  if (key == Terminal::kHelp && help_ && !is_helping_) {
    is_helping_ = true;
    help_();
    is_helping_ = false;
    return Terminal::kNothing;
  }
  return key == kInterrupt || key == Terminal::kEnded ? kEscape : key;
}

// Keeps the selected row in the middle of the page, except near both ends of the list. Asks only
// for the texts of visible rows: a search may have a hundred thousand hits.
void Dialogs::DrawRows(const std::string& title, const Rows& rows, int selected) {
  const int columns = terminal_.columns();
  const int page = std::max(1, terminal_.rows() - 6);
  const int count = static_cast<int>(rows.count);
  const int first = std::max(0, std::min(selected - page / 2, count - page));
  terminal_.Put(3, 0, columns, " " + title, Style::kHead);
  for (int line = 0; line < page; ++line) {
    const int row = first + line;
    terminal_.Put(4 + line, 0, columns,
                  row < count ? " " + rows.text(static_cast<std::size_t>(row)) : "",
                  row == selected ? Style::kSelected : Style::kPlain);
  }
}

// The possible answers stay visible, however long the text is.
void Dialogs::DrawFoot(const std::string& text, const std::string& answers, Style style) {
  const int last = terminal_.rows() - 1;
  terminal_.PutWrapped(last - terminal_.PutWrapped(last, answers, Style::kKey), text, style);
}

// The text is checked, and its rows are searched, after each change, not at each tick. Enter is
// refused while there is a mistake. Home and End move in the line; other keys of lists select a
// row.
std::optional<std::string> Dialogs::Ask(const Question& question, int* row) {
  LineInput input(question.text);
  int selected = 0;
  Rows rows;
  std::string text;
  std::string mistake;
  bool has_changed = true;
  for (;;) {
    if (has_changed) {
      text = input.text();
      mistake = question.check ? question.check(text) : std::string();
      if (question.rows) rows = question.rows(text);
      selected = 0;
      has_changed = false;
    }
    background_();
    if (question.rows && !text.empty()) {
      DrawRows(rows.count == 0 ? "nothing found" : std::to_string(rows.count) + " found", rows,
               selected);
    }
    const int columns = terminal_.columns();
    const int line = terminal_.rows() - 1;
    const std::string label = FitColumns(question.label, columns / 2) + ": ";
    const int label_columns = ColumnsOfUtf8(label);
    const LineInput::Window shown = input.Shown(std::max(4, columns - label_columns));
    terminal_.Put(line - 1, 0, columns, mistake, Style::kError);
    terminal_.Put(line, 0, label_columns, label, Style::kKey);
    terminal_.Put(line, label_columns, columns - label_columns, shown.before + shown.after,
                  Style::kPlain);
    terminal_.PlaceCursor(line, label_columns + ColumnsOfUtf8(shown.before));
    const int key = WaitForKey();
    const int last = std::max(0, static_cast<int>(rows.count) - 1);
    if (key == kEscape) return std::nullopt;
    if (key == '\n') {
      if (!mistake.empty()) continue;
      if (row != nullptr) *row = rows.count == 0 ? -1 : selected;
      return text;
    }
    const bool is_of_line = key == Terminal::kHome || key == Terminal::kEnd;
    const std::optional<int> step = StepOf(key, std::max(1, terminal_.rows() - 7), last);
    if (key == '\t' && question.complete) {
      input.Replace(question.complete(text));
      has_changed = true;
    } else if (question.rows && step && !is_of_line) {
      selected = std::clamp(selected + *step, 0, last);
    } else if (key == Terminal::kPaste) {
      input.Insert(terminal_.pasted());
      has_changed = true;
    } else {
      has_changed = input.HandleKey(key);
    }
  }
}

// A list that is out of date ends with kStale, so that the caller makes a new one.
std::optional<int> Dialogs::Choose(const List& list, int selected, int* key) {
  const int last = std::max(0, static_cast<int>(list.rows.count) - 1);
  for (;;) {
    selected = std::clamp(selected, 0, last);
    background_();
    if (list.is_current && !list.is_current()) {
      if (key != nullptr) *key = kStale;
      return selected;
    }
    DrawRows(list.title, list.rows, selected);
    const int line = terminal_.rows() - 1;
    terminal_.Put(line - 1, 0, terminal_.columns(), "", Style::kPlain);
    terminal_.Put(line, 0, terminal_.columns(), list.help, Style::kDim);
    int pressed = WaitForKey();
    if (pressed == kEscape || pressed == 'q') return std::nullopt;
    if (pressed == '\n' || IsOneOf(pressed, list.keys)) {
      if (key != nullptr) *key = pressed;
      if (list.rows.count == 0) return std::nullopt;
      return selected;
    }
    if (pressed == 'k') pressed = Terminal::kUp;
    if (pressed == 'j') pressed = Terminal::kDown;
    selected += StepOf(pressed, std::max(1, terminal_.rows() - 7), last).value_or(0);
  }
}

// Called between attempts: waits for one tick. Escape cancels.
bool Dialogs::KeepWaiting(const std::string& text) {
  DrawFoot(text, "Esc cancel", Style::kByOthers);
  return WaitForKey() != kEscape;
}

// Ignores all keys but Escape and the letters: a key pressed too early must not answer.
int Dialogs::AskLetter(const std::string& question, const std::string& answers,
                       const std::string& letters) {
  for (;;) {
    background_();
    DrawFoot(question, answers + "  Esc back", Style::kError);
    const int key = WaitForKey();
    if (key == kEscape) return 0;
    if (IsOneOf(key, letters)) return key;
  }
}

// In two columns if both fit, to be read down the first and then down the second.
std::vector<std::string> HelpLines(int columns) {
  constexpr std::size_t kWidth = 38;
  const std::size_t count = std::size(kKeys);
  const bool in_two = columns >= static_cast<int>(2 * kWidth);
  const std::size_t rows = in_two ? (count + 1) / 2 : count;
  std::vector<std::string> lines;
  for (std::size_t row = 0; row < rows; ++row) {
    std::string line = LineOfKey(row);
    if (in_two && row + rows < count) line = Padded(line, kWidth) + LineOfKey(row + rows);
    lines.push_back(std::move(line));
  }
  lines.emplace_back("Nothing is written before w.");
  return lines;
}

}  // namespace orvik::prefstool::browse
