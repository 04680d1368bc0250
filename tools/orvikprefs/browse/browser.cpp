#include "tools/orvikprefs/browse/browser.h"

#include <algorithm>

#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/domains.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kTick = 250;  // milliseconds until the file is looked at again

}  // namespace

Browser::Browser(Terminal& terminal, int scope, CAtlString domain)
    : terminal_(terminal),
      model_(std::make_unique<Model>(scope, std::move(domain))),
      screen_(terminal),
      dialogs_(terminal, [this] { Background(); }) {
  if (!model_->conflicts().empty()) Report("conflicts: C shows them");
}

void Browser::Background() {
  if (model_->Refresh() && !model_->conflicts().empty()) {
    Report("another process changed what you changed: C shows the conflicts");
  }
  screen_.Draw(*model_, false);
}

void Browser::Run() {
  while (!leaves_) {
    if (model_->Refresh()) {
      Report(model_->conflicts().empty()
                 ? "changed by another process"
                 : "another process changed what you changed: C shows the conflicts");
    }
    screen_.Draw(*model_);
    terminal_.Show();
    const int key = terminal_.ReadKey(kTick);
    if (key == Terminal::kNothing || key == Terminal::kResized) continue;
    screen_.message.clear();
    Act(key);
  }
}

void Browser::Act(int key) {
  switch (key) {
    case Terminal::kUp:
    case 'k':
      return model_->MoveBy(-1);
    case Terminal::kDown:
    case 'j':
      return model_->MoveBy(1);
    case Terminal::kWheelUp:
      return model_->MoveBy(-3);
    case Terminal::kWheelDown:
      return model_->MoveBy(3);
    case Terminal::kPageUp:
      return model_->MoveBy(-screen_.page());
    case Terminal::kPageDown:
      return model_->MoveBy(screen_.page());
    case Terminal::kHome:
      return model_->MoveBy(-static_cast<int>(model_->keys().size() + model_->values().size()));
    case Terminal::kEnd:
      return model_->MoveBy(static_cast<int>(model_->keys().size() + model_->values().size()));
    case '\n':
    case Terminal::kRight:
    case 'l':
      if (key == '\n' && model_->on_values()) return Report(editing().Edit(SelectedPath()));
      return Enter();
    case Terminal::kLeft:
    case 'h':
      return Leave();
    case '\t':
    case Terminal::kBackTab:
      model_->FocusValues(!model_->on_values());
      return;
    case Terminal::kClick:
      return Click(false);
    case Terminal::kDoubleClick:
      return Click(true);
    case '/':
      return SearchWhileTyping();
    case 'n':
      return NextHit(1);
    case 'N':
      return NextHit(-1);
    case 'g':
      return GoToPath();
    case 's':
      return ChooseScope();
    case 'D':
      return ChooseDomain();
    case 'e':
      return Report(editing().Edit(SelectedPath()));
    case 'a':
      return Report(editing().AddValue());
    case 'A':
      return Report(editing().AddKey());
    case 'r':
      return Report(editing().Rename(SelectedPath()));
    case 'm':
      return Report(editing().MoveOrCopy(SelectedPath(), false));
    case 'y':
      return Report(editing().MoveOrCopy(SelectedPath(), true));
    case 'd':
    case Terminal::kDelete:
      return Report(editing().Delete(SelectedPath()));
    case 'u':
      return Report(model_->Undo());
    case 'U':
      return Report(model_->Redo());
    case 'c':
      return Report(review().ShowChanges());
    case 'C':
      return Report(review().ShowConflicts());
    case 'w':
      return Report(review().Apply());
    case '?':
    case Terminal::kHelp:
      return ShowHelp();
    case Terminal::kPaste:
      return Report("pasted text is not taken as keys");
    case 'q':
    case kInterrupt:
      leaves_ = MayLeave();
      return;
    default:
      return;
  }
}

void Browser::Enter() {
  if (model_->on_values()) return;
  const KeyRow& key = model_->keys()[static_cast<std::size_t>(model_->selected_key())];
  if (key.is_open || !key.has_keys) {
    model_->FocusValues(true);
  } else {
    model_->Open(model_->selected_key(), true);
  }
}

void Browser::Leave() {
  if (model_->on_values()) {
    model_->FocusValues(false);
    return;
  }
  const int row = model_->selected_key();
  const KeyRow& key = model_->keys()[static_cast<std::size_t>(row)];
  if (key.is_open && key.has_keys) {
    model_->Open(row, false);
  } else if (key.parent >= 0) {
    model_->SelectKey(key.parent);
  }
}

void Browser::Click(bool twice) {
  const auto [on_values, row] = screen_.PlaceAtMouse(*model_);
  if (row < 0) return;
  model_->FocusValues(on_values);
  if (on_values) {
    model_->SelectValue(row);
    if (twice) Report(editing().Edit(SelectedPath()));
    return;
  }
  model_->SelectKey(row);
  if (twice) model_->Open(row, !model_->keys()[static_cast<std::size_t>(row)].is_open);
}

void Browser::SearchWhileTyping() {
  if (!index_ || index_version_ != model_->version()) {
    index_ = std::make_unique<SearchIndex>(model_->tree());
    index_version_ = model_->version();
  }
  std::vector<std::size_t> hits;
  Dialogs::Question question;
  question.label = "search";
  question.rows = [&](const std::string& text) {
    hits = index_->Find(text);
    return Rows{hits.size(), [&](std::size_t row) {
                  const CFPropertyListRef value = index_->ValueOf(hits[row]);
                  return ShownPath(index_->PathOf(hits[row])) +
                         (IsDictionary(value) ? "/" : " = " + Escaped(ValueText(value)));
                }};
  };
  int row = -1;
  const std::optional<std::string> text = dialogs_.Ask(question, &row);
  if (!text || text->empty()) return;
  hits_ = std::move(hits);
  hit_ = static_cast<std::size_t>(std::max(0, row));
  if (hits_.empty()) return Report("not found");
  NextHit(0);
}

void Browser::NextHit(int step) {
  if (hits_.empty()) return Report("nothing was searched; / searches");
  const auto count = static_cast<int>(hits_.size());
  hit_ = static_cast<std::size_t>((static_cast<int>(hit_) + step + count) % count);
  const Path path = index_->PathOf(hits_[hit_]);
  if (!Reveal(path)) return Report(ShownPath(path) + " is no longer there");
  Report("hit " + std::to_string(hit_ + 1) + " of " + std::to_string(count) +
         "; n next, N previous");
}

void Browser::GoToPath() {
  Dialogs::Question question;
  question.label = "go to";
  question.text = "/";
  question.check = [this](const std::string& text) {
    return FindIn(model_->tree(), TypedPath(text)) != nullptr ? "" : "not found; Tab completes";
  };
  question.complete = [this](const std::string& text) {
    return CompletedPath(model_->tree(), text);
  };
  if (const std::optional<std::string> text = dialogs_.Ask(question)) {
    Reveal(TypedPath(*text));
  }
}

bool Browser::MayLeave() {
  // A conflict holds what the user wanted: it is a change that waits, too.
  const auto waiting = [this] { return model_->changes().size() + model_->conflicts().size(); };
  const std::size_t count = waiting();
  if (count == 0) return true;
  const int key = dialogs_.AskLetter(
      std::to_string(count) + (count == 1 ? " change is" : " changes are") + " not written",
      "w write  d discard", "wd");
  if (key == 'w') Report(review().Apply());
  if (key == 'd') model_->RevertAll();
  return key != 0 && waiting() == 0;
}

void Browser::Look(int scope, const CAtlString& domain) {
  if (!MayLeave()) return;
  model_ = std::make_unique<Model>(scope, domain);
  hits_.clear();
  index_.reset();
}

void Browser::ChooseScope() {
  static constexpr int kScopes[] = {0, 1, 4};
  const std::optional<int> row =
      dialogs_.Choose({"Scope", Rows::Of({"shared", "user", "machine"}), "", "", {}});
  if (row) Look(kScopes[*row], model_->domain());
}

void Browser::ChooseDomain() {
  const std::vector<DomainFile> domains = DomainsOf(model_->scope());
  std::vector<std::string> rows;
  rows.reserve(domains.size());
  for (const DomainFile& domain : domains) {
    rows.push_back(Escaped(domain.name) + "  " + std::to_string(domain.size) + " bytes");
  }
  const std::optional<int> row =
      dialogs_.Choose({"Domains of this scope", Rows::Of(rows), "", "", {}});
  if (!row) return;
  if (const auto domain = FromUtf8(domains[static_cast<std::size_t>(*row)].name)) {
    Look(model_->scope(), *domain);
  }
}

void Browser::ShowHelp() {
  dialogs_.Choose(
      {"Help",
       Rows::Of({"Up Down j k          move                 Tab        keys, values",
                 "Right l Enter        open a key           Left h     close, go up",
                 "Home End Page        far                  Mouse      select, open, edit",
                 "/                    search               n N        next, previous hit",
                 "g                    go to a path         s D        scope, domain", "",
                 "e Enter              edit a value         a A        add a value, a key",
                 "r m y                rename, move, copy   d          delete",
                 "u U                  undo, redo           c          list, undo one",
                 "w                    write the changes    C          conflicts", "",
                 "Marks: * changed  + added  ~ changed by another process  ! conflict",
                 "Nothing is written before w; then all of it or nothing."}),
       "Esc back",
       "",
       {}});
}

}  // namespace orvik::prefstool::browse
