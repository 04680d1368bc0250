#include "tools/orvikprefs/browse/actions.h"

#include <algorithm>
#include <optional>

#include "prefs/reporting.h"
#include "prefs/scope.h"
#include "tools/orvikprefs/browse/tree.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

std::string Finding::SearchWhileTyping(Model& model) {
  std::vector<std::size_t> hits;
  // The background may read the file again while rows of the old tree are shown.
  std::size_t version = 0;
  Dialogs::Question question;
  question.label = "search";
  question.rows = [&](const std::string& text) {
    hits = model.index().Find(text);
    version = model.version();
    return Rows{hits.size(), [&](std::size_t row) {
                  if (version != model.version()) return std::string("(changed; type on)");
                  const Value& value = model.index().ValueOf(hits[row]);
                  return ShownPath(model.index().PathOf(hits[row])) +
                         (value.is_dictionary() ? "/" : " = " + Escaped(ValueText(value)));
                }};
  };
  int row = -1;
  const std::optional<std::string> text = dialogs_.Ask(question, &row);
  if (!text || text->empty()) return "";
  if (version != model.version()) {
    // The same hits by name, as far as they are still there.
    hits = model.index().Find(*text);
    row = std::min(row, static_cast<int>(hits.size()) - 1);
  }
  hits_.clear();
  for (const std::size_t hit : hits) hits_.push_back(model.index().PathOf(hit));
  hit_ = static_cast<std::size_t>(std::max(0, row));
  if (hits_.empty()) return "not found";
  return NextHit(model, 0);
}

std::string Finding::NextHit(Model& model, int step) {
  if (hits_.empty()) return "nothing was searched; / searches";
  const std::size_t count = hits_.size();
  hit_ = (hit_ + count + static_cast<std::size_t>(step < 0 ? count - 1 : step)) % count;
  const Path& path = hits_[hit_];
  if (!model.Reveal(path)) return ShownPath(path) + " no longer exists";
  return "hit " + std::to_string(hit_ + 1) + " of " + std::to_string(count) +
         "; n next, N previous";
}

std::string Finding::GoToPath(Model& model) {
  Dialogs::Question question;
  question.label = "go to";
  question.text = "/";
  question.check = [&](const std::string& text) {
    return model.At(TypedPath(text)) ? "" : "not found; Tab completes";
  };
  question.complete = [&](const std::string& text) { return CompletedPath(model.tree(), text); };
  if (const std::optional<std::string> text = dialogs_.Ask(question)) {
    if (!model.Reveal(TypedPath(*text))) return *text + " no longer exists";
  }
  return "";
}

std::string Finding::FilterWhileTyping(Model& model) {
  const std::string before = model.filter();
  Dialogs::Question question;
  question.label = "filter";
  question.text = before;
  // The rows behind the line are the answer.
  question.check = [&](const std::string& text) {
    if (text != model.filter()) model.SetFilter(text);
    return "";
  };
  if (!dialogs_.Ask(question)) model.SetFilter(before);
  return model.filter().empty() ? "" : "only what has \"" + Escaped(model.filter()) + "\" is shown";
}

std::string Finding::NextChanged(Model& model, int step) {
  return model.RevealChanged(step) ? "" : "nothing is changed";
}

const char* ScopeName(int scope) {
  switch (EffectiveDomain(scope, u"").scope) {
    case 1:
      return "user";
    case 4:
      return "machine";
    default:
      return "shared";
  }
}

std::vector<Place> PlacesWith(const Path& path) {
  std::vector<Place> places;
  for (const int scope : kScopes) {
    for (const DomainFile& file : DomainsOf(scope)) {
      const std::optional<CAtlString> domain = FromUtf8(file.name);
      if (!domain) continue;
      Value value = FindIn(ReadDomain(scope, *domain).value, path);
      if (value) places.push_back({scope, *domain, std::move(value)});
    }
  }
  return places;
}

std::string LockHolderText(int scope, const CAtlString& domain) {
  Context context;
  context.scope = scope;
  context.domain = domain;
  const LockHolder holder = FindHolder(context);
  if (!holder.is_held) return {};
  std::string text = holder.process.empty() ? "another process" : Quoted(holder.process);
  std::string details;
  if (holder.pid > 0) details += "process " + std::to_string(holder.pid);
  if (!holder.user.empty()) details += " of " + Escaped(holder.user);
  if (!holder.host.empty()) details += " on " + Escaped(holder.host);
  if (!details.empty()) text += " (" + details + ")";
  return text;
}

}  // namespace orvik::prefstool::browse
