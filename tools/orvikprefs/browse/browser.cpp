#include "tools/orvikprefs/browse/browser.h"

#include <unistd.h>

#include <csignal>
#include <cstring>

#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kTick = 250;         // milliseconds until the file is checked again
constexpr int kAllRows = 1 << 30;  // more rows than any list has

// The name of a key in a message.
std::string KeyText(int key) {
  if (key >= Terminal::kUp) return "this key";
  if (key < ' ') return std::string("Ctrl-") + static_cast<char>(key + '@');
  const LineInput typed(std::u32string(1, static_cast<char32_t>(key)));
  return Quoted(typed.text());
}

}  // namespace

Browser::Browser(Terminal& terminal, int scope, CAtlString domain,
                 std::optional<std::chrono::milliseconds> lock_wait)
    : terminal_(terminal),
      lock_wait_(lock_wait),
      model_(std::make_unique<Model>(scope, std::move(domain))),
      screen_(terminal),
      dialogs_(
          terminal, [this] { Background(); }, [this] { ShowHelp(); }) {}

// Also called while a dialog waits, so it must not open a dialog.
void Browser::Background() {
  if (model_->Refresh() && !model_->conflicts().empty()) {
    Report("another process changed the same values: C shows the conflicts");
  }
  screen_.Draw(*model_, false);
}

// One turn for each key or tick: check the file, draw, wait for a key, act. A message stays until
// the next key.
void Browser::Run() {
  OfferKeptChanges();
  while (!leaves_) {
    if (model_->Refresh()) {
      Report(model_->conflicts().empty()
                 ? "changed by another process"
                 : "another process changed the same values: C shows the conflicts");
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

// In the order of the help (HelpLines).
const Browser::Binding Browser::kBindings[] = {
    {'k', false, [](Browser& b) { b.model_->MoveBy(-1); }, Terminal::kUp},
    {'j', false, [](Browser& b) { b.model_->MoveBy(1); }, Terminal::kDown},
    {Terminal::kWheelUp, false, [](Browser& b) { b.model_->MoveBy(-3); }},
    {Terminal::kWheelDown, false, [](Browser& b) { b.model_->MoveBy(3); }},
    {Terminal::kPageUp, false, [](Browser& b) { b.model_->MoveBy(-b.screen_.page()); }},
    {Terminal::kPageDown, false, [](Browser& b) { b.model_->MoveBy(b.screen_.page()); }},
    {Terminal::kHome, false, [](Browser& b) { b.model_->MoveBy(-kAllRows); }},
    {Terminal::kEnd, false, [](Browser& b) { b.model_->MoveBy(kAllRows); }},
    {'l', false, [](Browser& b) { b.Enter(); }, Terminal::kRight},
    {'h', false, [](Browser& b) { b.Leave(); }, Terminal::kLeft},
    {'\t', false, [](Browser& b) { b.model_->FocusValues(!b.model_->on_values()); },
     Terminal::kBackTab},
    {Terminal::kClick, false, [](Browser& b) { b.Click(false); }},
    {Terminal::kDoubleClick, false, [](Browser& b) { b.Click(true); }},
    {'/', false, [](Browser& b) { b.Report(b.SearchWhileTyping()); }},
    {'n', false, [](Browser& b) { b.Report(b.NextHit(1)); }},
    {'N', false, [](Browser& b) { b.Report(b.NextHit(-1)); }},
    {'f', false, [](Browser& b) { b.Report(b.FilterWhileTyping()); }},
    {kEscape, false, [](Browser& b) { b.model_->SetFilter(""); }},
    {'g', false, [](Browser& b) { b.Report(b.GoToPath()); }},
    {']', false, [](Browser& b) { b.Report(b.NextChanged(1)); }},
    {'[', false, [](Browser& b) { b.Report(b.NextChanged(-1)); }},
    {'o', false, [](Browser& b) { b.ChooseOrder(); }},
    {'z', false, [](Browser& b) { b.screen_.shows_sizes = !b.screen_.shows_sizes; }},
    {'s', false, [](Browser& b) { b.ChooseScope(); }},
    {'D', false, [](Browser& b) { b.ChooseDomain(); }},
    {'=', false, [](Browser& b) { b.ChooseElsewhere(); }},
    {'v', true, [](Browser& b) { b.Report(b.View()); }},
    {'p', false, [](Browser& b) { b.Report(b.CopyPath()); }},
    {'P', true, [](Browser& b) { b.Report(b.CopyValue()); }},
    {'x', true, [](Browser& b) { b.Report(b.Export()); }},
    {'\n', false, [](Browser& b) { b.EnterOrEdit(); }},
    {'e', true, [](Browser& b) { b.Report(b.Edit()); }},
    {'t', true, [](Browser& b) { b.Report(b.ChangeType()); }},
    {'a', true, [](Browser& b) { b.Report(b.AddValue()); }},
    {'A', true, [](Browser& b) { b.Report(b.AddKey()); }},
    {'r', true, [](Browser& b) { b.Report(b.Rename()); }},
    {'m', true, [](Browser& b) { b.Report(b.MoveOrCopy(false)); }},
    {'y', true, [](Browser& b) { b.Report(b.MoveOrCopy(true)); }},
    {'d', true, [](Browser& b) { b.Report(b.Delete()); }, Terminal::kDelete},
    {' ', false, [](Browser& b) { b.Pick(); }},
    {'u', false, [](Browser& b) { b.Report(b.model_->Undo()); }},
    {'U', false, [](Browser& b) { b.Report(b.model_->Redo()); }},
    {'c', false, [](Browser& b) { b.Report(b.ShowChanges()); }},
    {'C', false, [](Browser& b) { b.Report(b.ShowConflicts()); }},
    {'w', false, [](Browser& b) { b.Report(b.Apply()); }},
    {'R', false, [](Browser& b) { b.Report(b.Repair()); }},
    {'q', false, [](Browser& b) { b.leaves_ = b.MayLeave(); }, kInterrupt},
    {'?', false, [](Browser& b) { b.ShowHelp(); }, Terminal::kHelp},
    {Terminal::kPaste, false, [](Browser& b) { b.Report("pasted text is not taken as keys"); }},
};

// Keys that need a row are refused when another process has removed it: the next row takes its
// place, and the user has not seen that yet.
void Browser::Act(int key) {
  for (const Binding& binding : kBindings) {
    if (binding.key != key && binding.other != key) continue;
    if (!binding.needs_row || !model_->is_gone()) return binding.act(*this);
    return Report(ShownPath(model_->SelectedPath()) + " is gone; select it again, or another row");
  }
  Report(KeyText(key) + " does nothing here; ? lists the keys");
}

void Browser::EnterOrEdit() {
  if (!model_->on_values()) return Enter();
  Report(Edit());
}

void Browser::Pick() {
  model_->TogglePick();
  model_->MoveBy(1);
}

// Opens a closed key; from an open one, or one without keys, goes to its values.
void Browser::Enter() {
  if (model_->on_values()) return;
  const KeyRow& key = model_->keys()[static_cast<std::size_t>(model_->selected_key())];
  if (key.is_open || !key.has_keys) {
    model_->FocusValues(true);
  } else {
    model_->Open(model_->selected_key(), true);
  }
}

// Goes back: from the values to their key, from an open key to a closed one, then to its parent.
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

// The second click on a value edits it, on a key opens or closes it.
void Browser::Click(bool twice) {
  const auto [on_values, row] = screen_.PlaceAtMouse(*model_);
  if (row < 0) return;
  model_->FocusValues(on_values);
  if (on_values) {
    model_->SelectValue(row);
    if (twice) Report(Edit());
    return;
  }
  model_->SelectKey(row);
  if (twice) model_->Open(row, !model_->keys()[static_cast<std::size_t>(row)].is_open);
}

bool Browser::MayLeave() {
  // A conflict keeps the user's value, so it counts as an unwritten change, too.
  const std::size_t count = model_->waiting();
  if (count == 0) return true;
  const int key = dialogs_.AskLetter(Counted(count, "change is", "changes are") + " not written",
                                     "w write  d discard", "wd");
  if (key == 'w') Report(Apply());
  if (key == 'd') model_->RevertAll();
  return key != 0 && model_->waiting() == 0;
}

// Sorting by size shows the sizes; other orders hide them.
void Browser::ChooseOrder() {
  const std::optional<int> row =
      dialogs_.Choose({"Order", Rows::Of({"by name", "by type", "by size, the largest first"})},
                      static_cast<int>(model_->order()));
  if (!row) return;
  model_->SetOrder(static_cast<Order>(*row));
  screen_.shows_sizes = model_->order() == Order::kSize;
}

// Another file needs a new model: undo, hits and conflicts belong to the old file. Changes that
// were kept for the new file are offered before a row is selected.
void Browser::ChooseFile(const std::string& title, const std::vector<FileRow>& files) {
  std::vector<std::string> rows;
  rows.reserve(files.size());
  for (const FileRow& file : files) rows.push_back(file.label);
  const std::optional<int> row =
      dialogs_.Choose({title, Rows::Of(std::move(rows)), "Enter go there  Esc back"});
  if (!row || !MayLeave()) return;
  const FileRow& file = files[static_cast<std::size_t>(*row)];
  ForgetRestored();
  model_ = std::make_unique<Model>(file.scope, file.domain);
  hits_.clear();
  OfferKeptChanges();
  model_->RevealNearest(file.path);
}

void Browser::ChooseScope() {
  std::vector<FileRow> files;
  for (const ScopeName& scope : kNamedScopes) {
    files.push_back({scope.scope, model_->domain(), scope.name, {}});
  }
  ChooseFile("Scope", files);
}

void Browser::ChooseDomain() {
  std::vector<FileRow> files;
  for (const DomainFile& domain : DomainsOf(model_->scope()).list) {
    files.push_back({model_->scope(),
                     *FromUtf8(domain.name),
                     Escaped(domain.name) + "  " + std::to_string(domain.size) + " bytes",
                     {}});
  }
  ChooseFile("Domains of this scope", files);
}

// Lists each scope and domain whose file has an entry of the selected path, with its value.
void Browser::ChooseElsewhere() {
  const Path path = model_->SelectedPath();
  std::vector<FileRow> files;
  for (const Place& place : PlacesWith(path)) {
    files.push_back(
        {place.scope, place.domain,
         std::string(NameOfScope(place.scope)) + "  " + Escaped(ToUtf8(place.domain)) +
             (place.value.is_dictionary() ? "" : "  " + Escaped(ValueText(place.value))),
         path});
  }
  if (files.empty()) return Report("no file of any scope has " + ShownPath(path));
  ChooseFile("Files with " + ShownPath(path), files);
}

void Browser::ShowHelp() {
  dialogs_.Choose({"Help", Rows::Of(HelpLines(terminal_.columns() - 1)), "Esc back"});
}

// The file of restored changes stays until they are written or discarded: a second kill loses
// nothing.
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

// Removes the files of restored changes when no change is left unwritten.
void Browser::ForgetRestored() {
  if (model_->waiting() != 0) return;
  for (const std::string& path : restored_) ForgetKeptChanges(path);
  restored_.clear();
}

// Called when the program ends before the changes are written. The new file contains the restored
// changes, too, so their old files are removed after it is written.
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

namespace orvik::prefstool {

int Browse(const Context& context, const CommandLine& line) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return context.Fail(kUsage, "browse needs a terminal");
  }
  int status = kDone, signal_to_end = 0;
  std::string message;
  {
    browse::Terminal terminal(context.colour);
    if (!terminal.ok()) {
      return context.Fail(kUsage, terminal.problem() +
                                      "; browse needs a terminal that can: tree, list and edit "
                                      "work on any");
    }
    browse::Browser browser(terminal, context.scope, context.domain, context.lock_wait);
    if (browser.Reveal(browse::TypedPath(line.Argument(0)))) {
      browser.Run();
      signal_to_end = terminal.ended_by();
      if (signal_to_end != 0) message = browser.KeepUnwritten();
    } else {
      message = Quoted(line.Argument(0)) + ": no such value or key";
      status = kNotFound;
    }
  }
  // The terminal has been restored.
  if (!message.empty()) context.Fail(kDone, message);
  if (signal_to_end != 0) {
    context.error->flush();
    signal(signal_to_end, SIG_DFL);
    raise(signal_to_end);
  }
  return status;
}

}  // namespace orvik::prefstool
