#include "tools/orvikprefs/browse/browser.h"

#include <algorithm>

#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

// While the text is typed, hits are only indices, so that a hundred thousand cost little; their
// paths are made when the user has chosen.
std::string Browser::SearchWhileTyping() {
  std::vector<std::size_t> hits;
  // The background may read the file again while rows of the old tree are shown.
  std::size_t version = 0;
  const auto rows = [&](const std::string& text) {
    hits = model_->index().Find(text);
    version = model_->version();
    return Rows{hits.size(), [&](std::size_t row) {
                  if (version != model_->version()) return std::string("(changed; type on)");
                  const Value& value = model_->index().ValueOf(hits[row]);
                  return ShownPath(model_->index().PathOf(hits[row])) +
                         (value.is_dictionary() ? "/" : " = " + Escaped(ValueText(value)));
                }};
  };
  int row = -1;
  const std::optional<std::string> text = dialogs_.Ask({.label = "search", .rows = rows}, &row);
  if (!text || text->empty()) return "";
  if (version != model_->version()) {
    // Search again: some hits may no longer exist.
    hits = model_->index().Find(*text);
    row = std::min(row, static_cast<int>(hits.size()) - 1);
  }
  hits_.clear();
  for (const std::size_t hit : hits) hits_.push_back(model_->index().PathOf(hit));
  hit_ = static_cast<std::size_t>(std::max(0, row));
  if (hits_.empty()) return "not found";
  return NextHit(0);
}

std::string Browser::NextHit(int step) {
  if (hits_.empty()) return "nothing was searched; / searches";
  const std::size_t count = hits_.size();
  hit_ = (hit_ + count + static_cast<std::size_t>(step < 0 ? count - 1 : step)) % count;
  const Path& path = hits_[hit_];
  if (!model_->Reveal(path)) return ShownPath(path) + " no longer exists";
  return "hit " + std::to_string(hit_ + 1) + " of " + std::to_string(count) +
         "; n next, N previous";
}

std::string Browser::GoToPath() {
  const auto check = [&](const std::string& text) {
    return model_->At(TypedPath(text)) ? "" : "not found; Tab completes";
  };
  const auto complete = [&](const std::string& text) {
    return CompletedPath(model_->tree(), text);
  };
  const std::optional<std::string> text = dialogs_.Ask({"go to", "/", check, complete});
  return !text || model_->Reveal(TypedPath(*text)) ? "" : *text + " no longer exists";
}

std::string Browser::FilterWhileTyping() {
  const std::string before = model_->filter();
  // The rows behind the line show the result.
  const auto check = [&](const std::string& text) {
    if (text != model_->filter()) model_->SetFilter(text);
    return "";
  };
  if (!dialogs_.Ask({"filter", before, check})) model_->SetFilter(before);
  return model_->filter().empty()
             ? ""
             : "only entries with \"" + Escaped(model_->filter()) + "\" are shown";
}

std::string Browser::NextChanged(int step) {
  return model_->RevealChanged(step) ? "" : "nothing is changed";
}

}  // namespace orvik::prefstool::browse
