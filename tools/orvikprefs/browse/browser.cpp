#include "tools/orvikprefs/browse/browser.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "tools/orvikprefs/browse/actions.h"
#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/draft.h"
#include "tools/orvikprefs/browse/tree.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kTick = 250;  // milliseconds until the file is looked at again

// A key as a message names it.
std::string KeyText(int key) {
  if (key >= Terminal::kUp) return "this key";
  if (key < ' ') return std::string("Ctrl-") + static_cast<char>(key + '@');
  const LineInput typed(std::u32string(1, static_cast<char32_t>(key)));
  return Quoted(typed.text());
}

std::string Counted(std::size_t count, const char* one, const char* several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

}  // namespace

Browser::Browser(Terminal& terminal, int scope, CAtlString domain,
                 std::optional<std::chrono::milliseconds> lock_wait)
    : terminal_(terminal),
      lock_wait_(lock_wait),
      model_(std::make_unique<Model>(scope, std::move(domain))),
      screen_(terminal),
      dialogs_(
          terminal, [this] { Background(); }, [this] { ShowHelp(); }),
      finding_(dialogs_) {}

void Browser::Background() {
  if (model_->Refresh() && !model_->conflicts().empty()) {
    Report("another process changed what you changed: C shows the conflicts");
  }
  screen_.Draw(*model_, false);
}

void Browser::Run() {
  OfferKeptChanges();
  while (!leaves_) {
    if (model_->Refresh()) {
      Report(model_->conflicts().empty()
                 ? "changed by another process"
                 : "another process changed what you changed: C shows the conflicts");
    }
    screen_.Draw(*model_);
    terminal_.Show();
    const int key = terminal_.ReadKey(kTick);
    if (key == Terminal::kEnded) return;
    if (key == Terminal::kNothing || key == Terminal::kResized) continue;
    screen_.message.clear();
    Act(key);
    ForgetRestored();
  }
}

void Browser::Act(int key) {
  if (ActOnRows(key) || ActOnPlaces(key)) return;
  const Path path = model_->SelectedPath();
  if (model_->is_gone() && key < 0x7F && std::strchr("etaArmydvxP", key) != nullptr) {
    return Report(ShownPath(path) + " is gone; select it again, or another row");
  }
  switch (key) {
    case 'e':
      return Report(editing().Edit(path));
    case 't':
      return Report(editing().ChangeType(path));
    case 'a':
      return Report(editing().AddValue());
    case 'A':
      return Report(editing().AddKey());
    case 'r':
      return Report(editing().Rename(path));
    case 'm':
      return Report(editing().MoveOrCopy(path, false));
    case 'y':
      return Report(editing().MoveOrCopy(path, true));
    case 'd':
    case Terminal::kDelete:
      return Report(editing().Delete(path));
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
    case 'R':
      return Report(review().Repair());
    case 'v':
      return Report(reading().View(path));
    case 'x':
      return Report(reading().Export(path));
    case 'p':
      return Report(reading().CopyPath(path));
    case 'P':
      return Report(reading().CopyValue(path));
    case '?':
    case Terminal::kHelp:
      return ShowHelp();
    case Terminal::kPaste:
      return Report("pasted text is not taken as keys");
    case 'q':
    case kInterrupt:
      leaves_ = MayLeave();
      return;
    case kEscape:
      if (!model_->filter().empty()) model_->SetFilter("");
      return;
    default:
      return Report(KeyText(key) + " does nothing here; ? lists the keys");
  }
}

// Keys that select and show.
bool Browser::ActOnRows(int key) {
  const int all = static_cast<int>(model_->keys().size() + model_->values().size());
  switch (key) {
    case Terminal::kUp:
    case 'k':
      model_->MoveBy(-1);
      return true;
    case Terminal::kDown:
    case 'j':
      model_->MoveBy(1);
      return true;
    case Terminal::kWheelUp:
      model_->MoveBy(-3);
      return true;
    case Terminal::kWheelDown:
      model_->MoveBy(3);
      return true;
    case Terminal::kPageUp:
      model_->MoveBy(-screen_.page());
      return true;
    case Terminal::kPageDown:
      model_->MoveBy(screen_.page());
      return true;
    case Terminal::kHome:
      model_->MoveBy(-all);
      return true;
    case Terminal::kEnd:
      model_->MoveBy(all);
      return true;
    case '\n':
    case Terminal::kRight:
    case 'l':
      if (key == '\n' && model_->on_values()) {
        Report(editing().Edit(model_->SelectedPath()));
      } else {
        Enter();
      }
      return true;
    case Terminal::kLeft:
    case 'h':
      Leave();
      return true;
    case '\t':
    case Terminal::kBackTab:
      model_->FocusValues(!model_->on_values());
      return true;
    case Terminal::kClick:
    case Terminal::kDoubleClick:
      Click(key == Terminal::kDoubleClick);
      return true;
    case ' ':
      model_->TogglePick();
      model_->MoveBy(1);
      return true;
    default:
      return false;
  }
}

// Keys that lead elsewhere.
bool Browser::ActOnPlaces(int key) {
  switch (key) {
    case '/':
      Report(finding_.SearchWhileTyping(*model_));
      return true;
    case 'n':
    case 'N':
      Report(finding_.NextHit(*model_, key == 'n' ? 1 : -1));
      return true;
    case 'g':
      Report(finding_.GoToPath(*model_));
      return true;
    case 'f':
      Report(finding_.FilterWhileTyping(*model_));
      return true;
    case ']':
    case '[':
      Report(finding_.NextChanged(*model_, key == ']' ? 1 : -1));
      return true;
    case 'o':
      ChooseOrder();
      return true;
    case 'z':
      screen_.shows_sizes = !screen_.shows_sizes;
      return true;
    case 's':
      ChooseScope();
      return true;
    case 'D':
      ChooseDomain();
      return true;
    case '=':
      ChooseElsewhere();
      return true;
    default:
      return false;
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
    if (twice) Report(editing().Edit(model_->SelectedPath()));
    return;
  }
  model_->SelectKey(row);
  if (twice) model_->Open(row, !model_->keys()[static_cast<std::size_t>(row)].is_open);
}

bool Browser::MayLeave() {
  // A conflict holds what the user wanted: it is a change that waits, too.
  const std::size_t count = model_->waiting();
  if (count == 0) return true;
  const int key = dialogs_.AskLetter(Counted(count, "change is", "changes are") + " not written",
                                     "w write  d discard", "wd");
  if (key == 'w') Report(review().Apply());
  if (key == 'd') model_->RevertAll();
  return key != 0 && model_->waiting() == 0;
}

void Browser::SwitchTo(int scope, const CAtlString& domain) {
  if (!MayLeave()) return;
  ForgetRestored();
  model_ = std::make_unique<Model>(scope, domain);
  finding_.Forget();
  OfferKeptChanges();
}

void Browser::ChooseOrder() {
  const std::optional<int> row = dialogs_.Choose(
      {"Order", Rows::Of({"by name", "by type", "by size, the largest first"}), "", "", {}},
      static_cast<int>(model_->order()));
  if (!row) return;
  model_->SetOrder(static_cast<Order>(*row));
  screen_.shows_sizes = model_->order() == Order::kSize;
}

void Browser::ChooseScope() {
  std::vector<std::string> rows;
  for (const int scope : kScopes) rows.emplace_back(ScopeName(scope));
  const std::optional<int> row = dialogs_.Choose({"Scope", Rows::Of(std::move(rows)), "", "", {}});
  if (row) SwitchTo(kScopes[*row], model_->domain());
}

void Browser::ChooseDomain() {
  const std::vector<DomainFile> domains = DomainsOf(model_->scope());
  std::vector<std::string> rows;
  rows.reserve(domains.size());
  for (const DomainFile& domain : domains) {
    rows.push_back(Escaped(domain.name) + "  " + std::to_string(domain.size) + " bytes");
  }
  const std::optional<int> row =
      dialogs_.Choose({"Domains of this scope", Rows::Of(std::move(rows)), "", "", {}});
  if (!row) return;
  if (const auto domain = FromUtf8(domains[static_cast<std::size_t>(*row)].name)) {
    SwitchTo(model_->scope(), *domain);
  }
}

void Browser::ChooseElsewhere() {
  const Path path = model_->SelectedPath();
  const std::vector<Place> places = PlacesWith(path);
  std::vector<std::string> rows;
  rows.reserve(places.size());
  for (const Place& place : places) {
    rows.push_back(std::string(ScopeName(place.scope)) + "  " + Escaped(ToUtf8(place.domain)) +
                   (place.value.is_dictionary() ? "" : "  " + Escaped(ValueText(place.value))));
  }
  if (rows.empty()) return Report("no file of any scope has " + ShownPath(path));
  const std::optional<int> row = dialogs_.Choose({"Files with " + ShownPath(path),
                                                  Rows::Of(std::move(rows)),
                                                  "Enter go there  Esc back",
                                                  "",
                                                  {}});
  if (!row) return;
  const Place& place = places[static_cast<std::size_t>(*row)];
  SwitchTo(place.scope, place.domain);
  if (model_->scope() == place.scope && model_->domain() == place.domain) {
    model_->RevealNearest(path);
  }
}

void Browser::ShowHelp() {
  dialogs_.Choose({"Help", Rows::Of(HelpLines(terminal_.columns() - 1)), "Esc back", "", {}});
}

void Browser::OfferKeptChanges() {
  for (KeptChanges& kept : FindKeptChanges(model_->file())) {
    const int key = dialogs_.AskLetter(Counted(kept.changes.size(), "change", "changes") +
                                           " of a browser that was ended before it wrote them " +
                                           (kept.changes.size() == 1 ? "is kept" : "are kept"),
                                       "t take over  d discard", "td");
    if (key == 't') {
      model_->Restore(std::move(kept.changes));
      restored_.push_back(kept.path);
      Report(model_->conflicts().empty() ? "taken over: c shows the changes"
                                         : "the file has changed since: C shows the conflicts");
    }
    if (key == 'd') ForgetKeptChanges(kept.path);
  }
  ForgetRestored();
}

void Browser::ForgetRestored() {
  if (model_->waiting() != 0) return;
  for (const std::string& path : restored_) ForgetKeptChanges(path);
  restored_.clear();
}

std::string Browser::KeepUnwritten() {
  const std::vector<Change> unwritten = model_->Unwritten();
  if (unwritten.empty()) return "";
  const std::string count = Counted(unwritten.size(), "change", "changes");
  int error = 0;
  const std::string path = KeepChanges(model_->file(), unwritten, &error);
  if (path.empty()) return count + " lost: they cannot be kept: " + std::strerror(error);
  for (const std::string& old : restored_) ForgetKeptChanges(old);
  return count + " kept in " + Quoted(path) + "; the next browse of this file offers them";
}

}  // namespace orvik::prefstool::browse
