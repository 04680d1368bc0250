#include "tools/orvikprefs/browse/browser.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/replace_file.h"
#include "plist/forms.h"
#include "prefs/shared_lock.h"
#include "text/byte_encodings.h"
#include "tools/orvikprefs/browse/value_text.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

namespace {

// The limit of many terminals: they refuse or cut a longer text.
constexpr std::size_t kLongestCopy = 74994;

std::string Seconds(std::chrono::milliseconds time) {
  return std::to_string(time.count() / 1000) + " s";
}

}  // namespace

// The list ends as stale when another process changes the value or the terminal its width, and
// starts again at the same row. So do the two lists below, which identify their rows by path.
std::string Browser::View() {
  const Path path = model_->SelectedPath();
  int selected = 0;
  for (;;) {
    const Value value = model_->At(path);
    const std::size_t version = model_->version();
    const int columns = terminal_.columns();
    int key = 0;
    const std::optional<int> row = dialogs_.Choose(
        {ShownPath(path),
         Rows::Of(ViewLines(value, FindIn(model_->base(), path), std::max(1, columns - 2))),
         "Up Down Page move  Esc back", "v",
         [&] { return model_->version() == version && terminal_.columns() == columns; }},
        selected, &key);
    if (key != Dialogs::kStale) return "";
    selected = row.value_or(0);
  }
}

// The terminal receives the text as an escape sequence (OSC 52) and does not answer, so the message
// cannot tell whether it worked.
std::string Browser::CopyPath() {
  terminal_.CopyToClipboard(EncodedBase64(JoinedPath(model_->SelectedPath())));
  return "path copied, if this terminal allows it";
}

std::string Browser::CopyValue() {
  const Path path = model_->SelectedPath();
  const Value value = model_->At(path);
  if (!value) return ShownPath(path) + " does not exist";
  const std::string text = ValueText(value);
  if (text.size() > kLongestCopy) return "the value is too long for a terminal; x exports it";
  terminal_.CopyToClipboard(EncodedBase64(text));
  return "value copied, if this terminal allows it";
}

// Exports the value on the screen, changes included. An existing file is replaced only after a
// question; the first try makes the file exclusively, so that a file made meanwhile is not lost,
// either.
std::string Browser::Export() {
  const Path path = model_->SelectedPath();
  const Value value = model_->At(path);
  if (!value) return ShownPath(path) + " does not exist";
  const auto check = [](const std::string& text) {
    return text.empty() ? "the file needs a name" : "";
  };
  const std::optional<std::string> file =
      dialogs_.Ask({"export to file (.json or .plist)", "", check});
  if (!file) return "";
  const std::optional<std::string> bytes =
      file->ends_with(".json") ? JsonText(value, JsonWriter::Layout::kIndented) + "\n"
                               : plist::WriteXml(value);
  if (!bytes) return "the value cannot be written as XML; export it as .json";
  int error = host::ReplaceFile(*file, *bytes, {.present = host::Present::kRefuse}).error;
  if (error == EEXIST) {
    const int key = dialogs_.AskLetter(Quoted(*file) + " exists", "o overwrite", "o");
    if (key == 0) return "nothing is exported";
    error = host::ReplaceFile(*file, *bytes).error;
  }
  if (error != 0) return Quoted(*file) + " cannot be written: " + std::strerror(error);
  const bool has_changes = !model_->changes().empty();
  return "exported " + ShownPath(path) + " to " + Quoted(*file) +
         (has_changes ? ", with the changes that are not written" : "");
}

// Writes all changes or none. While it waits for the lock each tick shows the holder, and Escape
// cancels. Conflicts found under the lock also cancel the write.
std::string Browser::Apply() {
  if (!model_->conflicts().empty()) return "settle the conflicts first: C shows them";
  if (model_->changes().empty()) return "no changes";
  const std::size_t count = model_->changes().size();
  const auto limit = lock_wait_.value_or(std::chrono::seconds(kSharedLockTries));
  const std::string whole = Seconds(limit);
  bool is_cancelled = false;
  const PrefStatus status = model_->Apply(limit, [&](std::chrono::milliseconds waited) {
    const std::string holder = model_->LockHolder();
    is_cancelled = !dialogs_.KeepWaiting("waiting for " + (holder.empty() ? "the lock" : holder) +
                                         ", " + Seconds(waited) + " of " + whole);
    return !is_cancelled;
  });
  if (status.ok()) {
    return Counted(count, "change", "changes") + " written";
  }
  if (!model_->conflicts().empty()) {
    return "nothing is written: another process changed the same values; C shows the conflicts";
  }
  if (is_cancelled) return "nothing is written: cancelled; the changes wait";
  if (status.error != PrefError::kLockNotObtained) {
    return "nothing is written: " + ReasonOf(status);
  }
  const std::string holder = model_->LockHolder();
  return "nothing is written: the lock was not free within " + whole +
         (holder.empty() ? "" : "; " + holder + " has it");
}

std::string Browser::Repair() {
  const PrefRepair found =
      RepairDomain(model_->scope(), model_->domain(), lock_wait_, PrefRepairMode::kDryRun);
  if (!found.status.ok()) return "cannot repair: " + ReasonOf(found.status);
  if (found.was_sound) return "the file is not damaged";
  std::vector<std::string> rows;
  for (const PrefLoss& loss : found.losses) {
    const std::string place =
        loss.line != 0 ? "line " + std::to_string(loss.line) + ", column " : std::string("byte ");
    rows.push_back("lost: " + Escaped(loss.path) + ": " + loss.what + " (" + place +
                   std::to_string(loss.column) + ")");
  }
  if (found.lost > rows.size()) {
    rows.push_back("lost: " + std::to_string(found.lost - rows.size()) + " more");
  }
  rows.push_back("The damaged file is kept beside the repaired one.");
  int key = 0;
  const std::optional<int> row =
      dialogs_.Choose({"Repair saves " + std::to_string(found.entries) +
                           " top-level entries and loses " + std::to_string(found.lost),
                       Rows::Of(std::move(rows)), "y repair  Esc back", "y"},
                      0, &key);
  if (!row || key != 'y') return "nothing is repaired";
  const PrefRepair done = RepairDomain(model_->scope(), model_->domain(), lock_wait_);
  if (!done.status.ok()) return "cannot repair: " + ReasonOf(done.status);
  model_->Refresh();
  return "repaired; the damaged file is " + Quoted(done.kept_copy);
}

std::string Browser::ShowChanges() {
  // A row is identified by its change and its line within the change.
  using ListPlace = std::pair<Path, std::size_t>;
  ListPlace selected;
  for (;;) {
    std::vector<std::string> rows;
    std::vector<ListPlace> places;
    int row_of_selected = 0;
    for (const Change& change : model_->changes()) {
      std::size_t line = 0;
      for (const Difference& difference : LinesOf(change)) {
        places.emplace_back(change.path, line++);
        if (places.back() <= selected) row_of_selected = static_cast<int>(rows.size());
        rows.push_back(LineFor(difference));
      }
    }
    if (rows.empty()) return "no changes";
    const std::size_t version = model_->version();
    int key = 0;
    const std::optional<int> row =
        dialogs_.Choose({"Changes that w writes", Rows::Of(std::move(rows)),
                         "u undo this one  w write all  Enter go there  Esc back", "uw",
                         [&] { return model_->version() == version; }},
                        row_of_selected, &key);
    if (!row) return "";
    if (key == 'w') return Apply();
    selected = places[static_cast<std::size_t>(*row)];
    if (key == Dialogs::kStale) continue;
    if (key == 'u') {
      model_->Revert(selected.first);
    } else {
      model_->RevealNearest(selected.first);
      return "";
    }
  }
}

std::string Browser::ShowConflicts() {
  Path selected;
  for (;;) {
    if (model_->conflicts().empty()) return "no conflicts";
    std::vector<std::string> rows;
    std::vector<Path> paths;
    int row_of_selected = 0;
    for (const Conflict& conflict : model_->conflicts()) {
      if (conflict.path == selected) row_of_selected = static_cast<int>(rows.size());
      rows.push_back(ShownPath(conflict.path));
      rows.push_back("  theirs  " + TypeAndValue(conflict.there));
      rows.push_back("  mine    " + TypeAndValue(conflict.wanted));
      rows.push_back("  before  " + TypeAndValue(conflict.before));
      paths.resize(rows.size(), conflict.path);
    }
    const std::size_t version = model_->version();
    int key = 0;
    const std::optional<int> row =
        dialogs_.Choose({"Another process changed the same values", Rows::Of(std::move(rows)),
                         "m take mine  t take theirs  Esc later", "mt",
                         [&] { return model_->version() == version; }},
                        row_of_selected, &key);
    if (!row) return "";
    selected = paths[static_cast<std::size_t>(*row)];
    if (key != 'm' && key != 't') continue;
    if (std::string refusal = model_->Settle(selected, key == 'm'); !refusal.empty())
      return refusal;
  }
}

}  // namespace orvik::prefstool::browse
