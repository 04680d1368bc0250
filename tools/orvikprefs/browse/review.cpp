#include "tools/orvikprefs/browse/review.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

// One line of what `diff` shows.
std::string ShownDifference(const Difference& difference) {
  const auto side = [](CFPropertyListRef value) {
    return std::string(TypeName(value)) + " " + Escaped(ValueText(value));
  };
  const char* sign = difference.kind == Difference::Kind::kAdded     ? "+ "
                     : difference.kind == Difference::Kind::kRemoved ? "- "
                                                                     : "~ ";
  std::string line = sign + Escaped(JoinedPath(difference.path)) + " = ";
  if (difference.kind == Difference::Kind::kChanged) line += side(difference.before) + " -> ";
  return line + side(difference.after != nullptr ? difference.after : difference.before);
}

}  // namespace

std::string Review::Apply() {
  if (!model_.conflicts().empty()) return "settle the conflicts first: C shows them";
  if (model_.changes().empty()) return "no changes";
  const std::size_t count = model_.changes().size();
  const PrefStatus status = model_.Apply();
  if (status.ok()) {
    return std::to_string(count) + (count == 1 ? " change" : " changes") + " written";
  }
  if (!model_.conflicts().empty()) {
    return "nothing is written: another process changed what you changed; C shows the conflicts";
  }
  return "nothing is written: " + Describe(status);
}

std::string Review::ShowChanges() {
  int selected = 0;
  for (;;) {
    std::vector<std::string> rows;
    std::vector<std::size_t> change_of_row;
    for (std::size_t change = 0; change < model_.changes().size(); ++change) {
      for (const Difference& line : LinesOf(model_.changes()[change])) {
        rows.push_back(ShownDifference(line));
        change_of_row.push_back(change);
      }
    }
    if (rows.empty()) return "no changes";
    int key = 0;
    const std::optional<int> row =
        dialogs_.Choose({"Changes that w writes", rows,
                         "u undo this one  w write all  Enter go there  Esc back", "uw"},
                        std::min(selected, static_cast<int>(rows.size()) - 1), &key);
    if (!row) return "";
    selected = *row;
    const std::size_t change = change_of_row[static_cast<std::size_t>(*row)];
    // What is behind the list may have changed while it waited.
    if (change >= model_.changes().size()) continue;
    if (key == 'w') return Apply();
    if (key == 'u') {
      model_.Revert(change);
    } else {
      Path path = model_.changes()[change].path;
      while (!path.empty() && !model_.Reveal(path)) path.pop_back();
      return "";
    }
  }
}

std::string Review::ShowConflicts() {
  for (;;) {
    if (model_.conflicts().empty()) return "no conflicts";
    std::vector<std::string> rows;
    for (const Conflict& conflict : model_.conflicts()) {
      const auto text = [](const Value& value) {
        return value ? std::string(TypeName(value)) + " " + Escaped(ValueText(value))
                     : std::string("nothing");
      };
      rows.push_back(ShownPath(conflict.path) + ": there " + text(conflict.there) + ", yours " +
                     text(conflict.wanted) + ", before " + text(conflict.before));
    }
    int key = 0;
    const std::optional<int> row =
        dialogs_.Choose({"Another process changed what you changed", rows,
                         "m take mine  t take theirs  Esc later", "mt"},
                        0, &key);
    if (!row) return "";
    if (key == 'm' || key == 't') model_.Settle(static_cast<std::size_t>(*row), key == 'm');
  }
}

}  // namespace orvik::prefstool::browse
