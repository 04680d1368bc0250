#include "tools/orvikprefs/browse/dialogs.h"

#include <algorithm>

#include "tools/orvikprefs/browse/line_input.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kTick = 250;  // milliseconds until the background is looked at again

// The end of a text that fits.
std::string LastColumns(std::string text, int width) {
  while (ColumnsOfUtf8(text) > width) {
    std::size_t end = 1;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    text.erase(0, end);
  }
  return text;
}

}  // namespace

int Dialogs::WaitForKey() {
  terminal_.Show();
  return terminal_.ReadKey(kTick);
}

void Dialogs::DrawRows(const std::string& title, const std::vector<std::string>& rows,
                       int selected) {
  const int columns = terminal_.columns();
  const int page = std::max(1, terminal_.rows() - 6);
  const int count = static_cast<int>(rows.size());
  const int first = std::max(0, std::min(selected - page / 2, count - page));
  terminal_.Put(3, 0, columns, " " + title, Style::kHead);
  for (int line = 0; line < page; ++line) {
    const int row = first + line;
    terminal_.Put(4 + line, 0, columns,
                  row < count ? " " + rows[static_cast<std::size_t>(row)] : "",
                  row == selected ? Style::kSelected : Style::kPlain);
  }
}

std::optional<std::string> Dialogs::Ask(const Question& question, int* row) {
  LineInput input(question.text);
  int selected = 0;
  std::string shown_for;
  std::vector<std::string> rows;
  bool is_first = true;
  for (;;) {
    background_();
    const std::string text = input.text();
    const std::string mistake = question.check ? question.check(text) : std::string();
    if (question.rows) {
      if (is_first || text != shown_for) {
        rows = question.rows(text);
        selected = 0;
      }
      shown_for = text;
      if (!text.empty()) {
        const std::string count = rows.empty() ? "nothing found" : std::to_string(rows.size());
        DrawRows(count + (rows.empty() ? "" : " found"), rows, selected);
      }
    }
    is_first = false;
    const int columns = terminal_.columns();
    const int line = terminal_.rows() - 1;
    const std::string label = question.label + ": ";
    const int label_columns = ColumnsOfUtf8(label);
    const int room = std::max(4, columns - label_columns - 1);
    const std::string before = LastColumns(input.before_cursor(), room - 1);
    const std::string after = text.substr(input.before_cursor().size());
    terminal_.Put(line - 1, 0, columns, mistake, Style::kError);
    terminal_.Put(line, 0, label_columns, label, Style::kKey);
    terminal_.Put(line, label_columns, columns - label_columns, before + after, Style::kPlain);
    terminal_.PlaceCursor(line, label_columns + ColumnsOfUtf8(before));
    const int key = WaitForKey();
    const int last = static_cast<int>(rows.size()) - 1;
    if (key == kEscape) return std::nullopt;
    if (key == '\n') {
      if (!mistake.empty()) continue;
      if (row != nullptr) *row = rows.empty() ? -1 : selected;
      return text;
    }
    if (key == '\t' && question.complete) {
      input.Replace(question.complete(text));
    } else if (question.rows && (key == Terminal::kUp || key == Terminal::kDown)) {
      selected = std::clamp(selected + (key == Terminal::kUp ? -1 : 1), 0, std::max(0, last));
    } else {
      input.Take(key);
    }
  }
}

std::optional<int> Dialogs::Choose(const List& list, int selected, int* key) {
  const int last = static_cast<int>(list.rows.size()) - 1;
  for (;;) {
    background_();
    DrawRows(list.title, list.rows, selected);
    const int line = terminal_.rows() - 1;
    terminal_.Put(line - 1, 0, terminal_.columns(), "", Style::kPlain);
    terminal_.Put(line, 0, terminal_.columns(),
                  list.help.empty() ? "Enter choose  Esc back" : list.help, Style::kDim);
    const int pressed = WaitForKey();
    const int page = std::max(1, terminal_.rows() - 7);
    switch (pressed) {
      case kEscape:
      case 'q':
        return std::nullopt;
      case Terminal::kUp:
      case Terminal::kWheelUp:
      case 'k':
        --selected;
        break;
      case Terminal::kDown:
      case Terminal::kWheelDown:
      case 'j':
        ++selected;
        break;
      case Terminal::kPageUp:
        selected -= page;
        break;
      case Terminal::kPageDown:
        selected += page;
        break;
      case Terminal::kHome:
        selected = 0;
        break;
      case Terminal::kEnd:
        selected = last;
        break;
      default:
        if (pressed == '\n' || (pressed > ' ' && pressed < 0x7F &&
                                list.keys.find(static_cast<char>(pressed)) != std::string::npos)) {
          if (key != nullptr) *key = pressed;
          if (last < 0) return std::nullopt;
          return selected;
        }
    }
    selected = std::clamp(selected, 0, std::max(0, last));
  }
}

int Dialogs::AskLetter(const std::string& question, const std::string& letters) {
  for (;;) {
    background_();
    const int line = terminal_.rows() - 1;
    terminal_.Put(line - 1, 0, terminal_.columns(), question, Style::kError);
    terminal_.Put(line, 0, terminal_.columns(), "", Style::kPlain);
    const int key = WaitForKey();
    if (key == kEscape) return 0;
    if (key > ' ' && key < 0x7F && letters.find(static_cast<char>(key)) != std::string::npos) {
      return key;
    }
  }
}

}  // namespace orvik::prefstool::browse
