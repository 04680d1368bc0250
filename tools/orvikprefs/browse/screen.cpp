#include "tools/orvikprefs/browse/screen.h"

#include <algorithm>

#include "prefs/scope.h"
#include "prefs/shared_lock.h"
#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kHeadRows = 3;
constexpr int kFootRows = 2;

struct MarkShape {
  const char* sign;
  Style style;
};

MarkShape ShapeOf(Mark mark) {
  switch (mark) {
    case Mark::kChanged:
      return {"*", Style::kChanged};
    case Mark::kAdded:
      return {"+", Style::kAdded};
    case Mark::kByOthers:
      return {"~", Style::kByOthers};
    case Mark::kConflict:
      return {"!", Style::kError};
    default:
      return {" ", Style::kPlain};
  }
}

// The first row to show so that the selected one is on the page.
int Scrolled(int first, int selected, int page, int rows) {
  first = std::clamp(first, selected - page + 1, selected);
  return std::max(0, std::min(first, rows - page));
}

// What is wrong with the file, and what would help; "" when nothing is.
std::string FileState(const Model& model) {
  switch (model.status().error) {
    case PrefError::kNone:
      return model.is_writable() ? "" : "read-only";
    case PrefError::kNotFound:
      return model.is_writable() ? "no file yet" : "no file, and it may not be made";
    case PrefError::kDamaged:
    case PrefError::kRootNotDictionary:
      return "damaged: orvikprefs repair keeps a copy and saves what can be read";
    default:
      return Describe(model.status());
  }
}

std::string ScopeText(int scope) {
  switch (EffectiveDomain(scope, u"").scope) {
    case 1:
      return "user";
    case 4:
      return "machine";
    default:
      return "shared";
  }
}

}  // namespace

std::string LockState(const Model& model) {
  if (ScopeText(model.scope()) != "shared") return {};
  const SharedLockRecord record = CopySharedLockRecord(model.domain());
  if (record.state != SharedLockRecord::State::kHeld) return {};
  return "locked by " + Escaped(ToUtf8(record.process)) + " (" + std::to_string(record.pid) + ")";
}

int Screen::KeysWidth() const {
  return std::clamp(terminal_.columns() * 2 / 5, 10, 60);
}

int Screen::page() const {
  return std::max(1, terminal_.rows() - kHeadRows - kFootRows);
}

void Screen::Draw(const Model& model, bool with_foot) {
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
  terminal_.Put(rows - 2, 0, terminal_.columns(), message, Style::kPlain);
  terminal_.Put(
      rows - 1, 0, terminal_.columns(),
      model.on_values()
          ? "Tab keys  / search  e edit  a add  r rename  d delete  w write  ? help  q quit"
          : "Tab values  / search  a A add  d delete  c changes  w write  ? help  q quit",
      Style::kDim);
}

void Screen::DrawHead(const Model& model) {
  const int columns = terminal_.columns();
  std::string head = " " + ScopeText(model.scope()) + "  " + Escaped(ToUtf8(model.domain()));
  std::string state;
  if (!model.changes().empty()) {
    state += std::to_string(model.changes().size()) +
             (model.changes().size() == 1 ? " change  " : " changes  ");
  }
  if (!model.conflicts().empty()) {
    state += std::to_string(model.conflicts().size()) +
             (model.conflicts().size() == 1 ? " conflict  " : " conflicts  ");
  }
  if (const std::string lock = LockState(model); !lock.empty()) state += lock + "  ";
  const int width = std::min(ColumnsOfUtf8(state), columns / 2);
  terminal_.Put(0, 0, columns - width, head, Style::kHead);
  terminal_.Put(0, columns - width, width, state, Style::kHead);

  const std::string file_state = FileState(model);
  const int state_width = std::min(ColumnsOfUtf8(file_state), columns * 2 / 3);
  terminal_.Put(1, 0, columns - state_width - 1, " " + Escaped(model.file()), Style::kDim);
  terminal_.Put(1, columns - state_width, state_width, file_state, Style::kError);

  terminal_.Put(2, 0, columns,
                " " + ShownPath(model.SelectedPath()) +
                    (model.is_gone() ? " is gone: another process removed it" : ""),
                model.is_gone() ? Style::kByOthers : Style::kPlain);
}

void Screen::DrawKeys(const Model& model) {
  const int width = KeysWidth();
  const std::vector<KeyRow>& keys = model.keys();
  // Deep keys move to the left as a whole, so that the selected name stays in sight.
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
    const MarkShape mark = ShapeOf(key.mark);
    const bool is_selected = row == model.selected_key() && !model.is_gone();
    const Style style = is_selected && !model.on_values() ? Style::kSelected
                        : mark.style != Style::kPlain     ? mark.style
                                                          : Style::kKey;
    std::string name = key.parent < 0 ? "/" : key.name.empty() ? "\"\"" : Escaped(key.name);
    if (!IsDictionary(key.node)) name += " []";
    terminal_.Put(kHeadRows + line, 0, width,
                  mark.sign + std::string(static_cast<std::size_t>(indent), ' ') + fold + " " +
                      name + (is_selected && model.on_values() ? " <" : ""),
                  style);
  }
}

void Screen::DrawValues(const Model& model) {
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
    const MarkShape mark = ShapeOf(value.mark);
    const Style style = model.on_values() && row == model.selected_value() && !model.is_gone()
                            ? Style::kSelected
                            : mark.style;
    int column = left + 1;
    const auto put = [&](int room, const std::string& text) {
      terminal_.Put(kHeadRows + line, column, room, text, style);
      column += room;
    };
    const std::string name = Escaped(value.name);
    put(1, mark.sign);
    put(name_width, name.empty() ? "\"\"" : name);
    put(1, "");
    put(8, TypeName(value.value));
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
