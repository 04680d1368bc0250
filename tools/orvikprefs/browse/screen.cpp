#include "tools/orvikprefs/browse/screen.h"

#include <algorithm>

#include "tools/orvikprefs/browse/value_text.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kHeadRows = 3;
constexpr int kFootRows = 2;
constexpr int kSizeWidth = 8;  // a blank and a right-aligned size
constexpr const char* kPicked = "#";

std::string RightAligned(const std::string& text) {
  return std::string(kSizeWidth - std::min<std::size_t>(kSizeWidth, text.size()), ' ') + text;
}

struct MarkShape {
  const char* sign;
  Style style;
};

// In the order of Mark.
constexpr MarkShape kShapes[] = {{" ", Style::kPlain},
                                 {"*", Style::kChanged},
                                 {"+", Style::kAdded},
                                 {"~", Style::kByOthers},
                                 {"!", Style::kError}};

// The first row to show so that the selected one is on the page: scrolls as little as possible, and
// leaves no empty lines below the last row.
int Scrolled(int first, int selected, int page, int rows) {
  first = std::clamp(first, selected - page + 1, selected);
  return std::max(0, std::min(first, rows - page));
}

// The state of the file and a remedy; "" for a sound file that can be written.
std::string FileState(const Model& model) {
  switch (model.status().error) {
    case PrefError::kNone:
      return model.is_writable() ? "" : "read-only";
    case PrefError::kNotFound:
      return model.is_writable() ? "no file yet" : "no file, and it may not be made";
    case PrefError::kDamaged:
    case PrefError::kRootNotDictionary:
      return "damaged: R repairs it";
    default:
      return ReasonOf(model.status());
  }
}

}  // namespace

// Two fifths of the line for the keys, within bounds; the values get the rest.
int Screen::KeysWidth() const {
  return std::clamp(terminal_.columns() * 2 / 5, 10, 60);
}

// The number of rows between head and foot; at least one, even on the smallest screens.
int Screen::page() const {
  return std::max(1, terminal_.rows() - kHeadRows - kFootRows);
}

// Draws the whole screen into memory; the terminal sends only cells that differ. Without the foot
// the last lines are left to a dialog.
void Screen::Draw(Model& model, bool with_foot) {
  first_key_ =
      Scrolled(first_key_, model.selected_key(), page(), static_cast<int>(model.keys().size()));
  first_value_ = Scrolled(first_value_, model.selected_value(), page(),
                          static_cast<int>(model.values().size()));
  terminal_.HideCursor();
  terminal_.Clear();
  DrawHead(model);
  DrawKeys(model);
  DrawValues(model);
  if (!with_foot) return;
  const int rows = terminal_.rows();
  const int columns = terminal_.columns();
  // A message that is too long for a line covers the rows above it.
  terminal_.PutWrapped(rows - 2, message, Style::kPlain);
  static const std::vector<std::string> kOnKeys = {"? help",    "q quit",  "w write",  "Tab values",
                                                   "/ search",  "a A add", "d delete", "f filter",
                                                   "c changes", "u undo"};
  static const std::vector<std::string> kOnValues = {"? help",   "q quit",  "w write",  "Tab keys",
                                                     "/ search", "e edit",  "d delete", "v view",
                                                     "a add",    "r rename"};
  terminal_.Put(rows - 1, 0, columns, FitHints(model.on_values() ? kOnValues : kOnKeys, columns),
                Style::kDim);
}

// Three rows: scope, domain and state; the file and its fault; the path of the selected row. Long
// states take at most half of the line, so that the domain stays visible.
void Screen::DrawHead(const Model& model) {
  const int columns = terminal_.columns();
  std::string head =
      std::string(" ") + NameOfScope(model.scope()) + "  " + Escaped(ToUtf8(model.domain()));
  std::string state;
  if (!model.changes().empty()) {
    state += Counted(model.changes().size(), "change  ", "changes  ");
  }
  if (!model.conflicts().empty()) {
    state += Counted(model.conflicts().size(), "conflict  ", "conflicts  ");
  }
  if (!model.picked().empty()) state += std::to_string(model.picked().size()) + " picked  ";
  if (model.order() != Order::kName) {
    state += model.order() == Order::kType ? "by type  " : "by size  ";
  }
  if (!model.filter().empty()) state += "filter " + Quoted(model.filter()) + "  ";
  const std::string holder = model.LockHolder();
  if (!holder.empty()) state += "locked by " + holder + "  ";
  const int width = std::min(ColumnsOfUtf8(state), columns / 2);
  terminal_.Put(0, 0, columns - width, head, Style::kHead);
  terminal_.Put(0, columns - width, width, state, Style::kHead);

  const std::string file_state = FileState(model);
  const int state_width = std::min(ColumnsOfUtf8(file_state), columns * 2 / 3);
  terminal_.Put(1, 0, columns - state_width - 1, " " + Escaped(model.file()), Style::kDim);
  terminal_.Put(1, columns - state_width, state_width, file_state, Style::kError);

  terminal_.Put(2, 0, columns,
                " " + ShownPath(model.SelectedPath()) +
                    (model.is_gone() ? " is gone: another process changed it" : ""),
                model.is_gone() ? Style::kByOthers : Style::kPlain);
}

void Screen::DrawKeys(Model& model) {
  const int width = KeysWidth();
  const std::vector<KeyRow>& keys = model.keys();
  // For deep keys the whole list shifts to the left, so that the selected name stays visible.
  const int depth = keys[static_cast<std::size_t>(model.selected_key())].depth;
  const int shift = std::max(0, 2 * depth - width / 2);
  for (int line = 0; line < page(); ++line) {
    const int row = first_key_ + line;
    if (row >= static_cast<int>(keys.size())) break;
    const KeyRow& key = keys[static_cast<std::size_t>(row)];
    const char* fold = " ";
    if (key.has_keys) {
      fold = terminal_.unicode() ? (key.is_open ? "\u25BE" : "\u25B8") : (key.is_open ? "-" : "+");
    }
    const int indent = std::max(0, 2 * key.depth - shift);
    const MarkShape& mark = kShapes[static_cast<int>(key.mark)];
    const bool is_selected = row == model.selected_key() && !model.is_gone();
    const Style style = is_selected && !model.on_values() ? Style::kSelected
                        : mark.style != Style::kPlain     ? mark.style
                                                          : Style::kKey;
    std::string name = key.parent < 0 ? "/" : key.name.empty() ? "\"\"" : Escaped(key.name);
    if (key.node.is_array()) name += " []";
    const int size_width = shows_sizes ? kSizeWidth : 0;
    const char* const sign = key.is_picked ? kPicked : mark.sign;
    terminal_.Put(kHeadRows + line, 0, width - size_width,
                  sign + std::string(static_cast<std::size_t>(indent), ' ') + fold + " " + name +
                      (is_selected && model.on_values() ? " <" : ""),
                  style);
    terminal_.Put(kHeadRows + line, width - size_width, size_width,
                  shows_sizes ? RightAligned(SizeText(model.SizeOf(key.node))) : "", style);
  }
}

void Screen::DrawValues(Model& model) {
  const int left = KeysWidth();
  const int width = terminal_.columns() - left;
  const char* const line_text = terminal_.unicode() ? "\u2502" : "|";
  const int name_width = std::clamp((width - 12) * 2 / 5, 6, 40);
  const std::vector<ValueRow>& values = model.values();
  for (int line = 0; line < page(); ++line) {
    terminal_.Put(kHeadRows + line, left, 1, line_text, Style::kDim);
    const int row = first_value_ + line;
    if (row >= static_cast<int>(values.size())) continue;
    const ValueRow& value = values[static_cast<std::size_t>(row)];
    const MarkShape& mark = kShapes[static_cast<int>(value.mark)];
    const Style style = model.on_values() && row == model.selected_value() && !model.is_gone()
                            ? Style::kSelected
                            : mark.style;
    int column = left + 1;
    const auto put = [&](int room, const std::string& text) {
      terminal_.Put(kHeadRows + line, column, room, text, style);
      column += room;
    };
    const std::string name = Escaped(value.name);
    put(1, value.is_picked ? kPicked : mark.sign);
    put(name_width, name.empty() ? "\"\"" : name);
    put(1, "");
    put(8, TypeName(value.value));
    if (shows_sizes) put(kSizeWidth, RightAligned(SizeText(model.SizeOf(value.value))));
    put(1, "");
    put(std::max(0, terminal_.columns() - column), Escaped(ValueText(value.value)));
  }
  if (values.empty()) {
    terminal_.Put(kHeadRows, left + 2, width - 2, "no values in this key", Style::kDim);
  }
}

Screen::Place Screen::PlaceAtMouse(const Model& model) const {
  Place place;
  const int line = terminal_.mouse_row() - kHeadRows;
  if (line < 0 || line >= page()) return place;
  place.on_values = terminal_.mouse_column() > KeysWidth();
  const int row = line + (place.on_values ? first_value_ : first_key_);
  const std::size_t rows = place.on_values ? model.values().size() : model.keys().size();
  if (row < static_cast<int>(rows)) place.row = row;
  return place;
}

}  // namespace orvik::prefstool::browse
