// The browser: the action of each key on the model.
//
//   Terminal  keys and the screen           Model     rows, selection, changes, conflicts (draft.h)
//   Screen    draws the model               Dialogs   ask, over the screen
//
// The file is checked again every quarter of a second, also while a dialog waits. It is not changed
// before the user asks for that (Apply).
//
// The file may change while a dialog waits. So an action works on paths, not rows, and passes the
// value that the user saw to the draft. If the value differs by then, the draft makes a conflict.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/screen.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

class Browser {
 public:
  // Opens the domain of the scope (0 to 5); the domain must be usable as a file name. The terminal
  // must outlive the browser. `lock_wait` is as for Transaction::WaitAtMost.
  Browser(Terminal& terminal, int scope, CAtlString domain,
          std::optional<std::chrono::milliseconds> lock_wait);

  // Selects a key or value. False when it does not exist.
  bool Reveal(const Path& path) { return model_->Reveal(path); }

  // Shows the domain and handles keys until the user leaves, or a signal asks the process to end
  // (Terminal::ended_by). Asks the user before changes are lost.
  void Run();

  // Keeps the unwritten changes for the next browser (draft.h). Returns a message about them, or ""
  // if there are none.
  std::string KeepUnwritten();

 private:
  // The action of one or two keys of Terminal::ReadKey. With `needs_row` it only shows a message
  // while the selected row is gone (Model::is_gone).
  struct Binding {
    int key;
    bool needs_row;
    void (*act)(Browser& browser);
    int other = Terminal::kNothing;
  };
  static const Binding kBindings[];

  void Background();
  void Act(int key);

  // Shows the line until the next key; does nothing for "".
  void Report(std::string text) {
    if (!text.empty()) screen_.message = std::move(text);
  }

  // Moving about (browser.cpp).

  // EnterOrEdit opens a key, or edits a value. Enter opens a closed key that contains keys, and
  // goes to the values of other keys.
  void EnterOrEdit();
  void Enter();
  // Goes back from the values; then closes the key, or goes to its parent.
  void Leave();
  // Selects the row under the mouse; a double click edits the value, or opens or closes the key.
  void Click(bool twice);
  // Picks or unpicks the selected row, and goes to the next one.
  void Pick();
  void ChooseOrder();
  // The files of other scopes, of other domains, and all files that have the selected path.
  void ChooseScope();
  void ChooseDomain();
  void ChooseElsewhere();
  // Lets the user choose a file and shows it, at the path or its deepest existing parent. First
  // asks about unwritten changes (MayLeave), and does nothing if the user stays.
  struct FileRow {
    int scope;
    CAtlString domain;
    std::string label;
    Path path;
  };
  void ChooseFile(const std::string& title, const std::vector<FileRow>& files);
  void ShowHelp();
  // Asks whether to write or discard unwritten changes and conflicts. False when the user stays.
  bool MayLeave();
  // Offers the changes that an earlier browser kept for this file. Restored changes are like any
  // others; their file is removed when no change is left unwritten, so a crash loses nothing.
  void OfferKeptChanges();
  void ForgetRestored();

  // The following functions return a line to show, or "".

  // Changes of the tree (editing.cpp). They return the change, or the reason for none.

  // Edits the selected value on a line, or in the user's editor if it does not fit on a line.
  std::string Edit();
  // Add a value of a type, or an empty key, to the selected key. A name that exists is refused. An
  // array gets a new last element, which needs no name.
  std::string AddValue();
  std::string AddKey();
  // Move or copy the selected entry with everything below it. A new name that exists is refused.
  std::string Rename();
  std::string MoveOrCopy(bool copy);
  // Deletes the picked rows, or the selected one when none is picked. Asks before it deletes a key
  // or several rows; if another process changes one of them meanwhile, nothing is deleted.
  std::string Delete();
  std::string DeletePicked();
  // Changes the type of a value and keeps its number or text (Converted). Asks for a new text when
  // the old one is not valid in the new type.
  std::string ChangeType();
  // Edits the value as JSON in the user's editor until the text is a value of the same type or the
  // user cancels; then the text is kept in a file, which the message names. `began` is the value
  // that the user saw.
  std::string EditInEditor(const Path& path, const Value& began);
  // Asks for a line that is a value of the type; no value when the user cancelled.
  Value AskValue(Type type, const std::string& text);
  // Asks for a name below the path and appends it; the path is empty when the user cancelled.
  std::string AskName(const char* label, Path& path);
  // Returns the refusal, or `what` and the path, which is then selected.
  std::string Arrive(const std::string& refusal, const Path& path, const char* what);

  // Showing and exporting a value without a change (review.cpp).

  // Shows a whole value, and the value before the change.
  std::string View();
  // Copy the path in the form of the command line, or the value as `get` prints it, into the
  // terminal's clipboard; a text that is too long for it is refused.
  std::string CopyPath();
  std::string CopyValue();
  // Writes the value, with its changes, into a file: JSON for a name that ends in ".json", else an
  // XML property list. An existing file is replaced only after the user confirmed it.
  std::string Export();

  // Showing and writing the changes, and settling conflicts (review.cpp).

  // Writes all changes, or none; refuses while there are conflicts. Shows which process holds the
  // lock, and stops waiting at Escape or after the time of --timeout.
  std::string Apply();
  // Repairs a damaged file after the user has seen the losses. The damaged file is kept beside it.
  std::string Repair();
  // Lists the changes: the user can undo one, go to it, or write all.
  std::string ShowChanges();
  // Lists the conflicts: the user takes the own value or that of the other process.
  std::string ShowConflicts();

  // Going to another row (finding.cpp).

  // Lists the entries that contain the text, in any case, as it is typed, and selects the chosen
  // one.
  std::string SearchWhileTyping();
  // Selects the next (1) or previous (-1) hit, or the present one again (0); wraps around.
  std::string NextHit(int step);
  std::string GoToPath();
  // Shows only entries that contain the text, as it is typed. Escape restores the old filter.
  std::string FilterWhileTyping();
  // Selects the next (1) or previous (-1) path that the user or another process changed.
  std::string NextChanged(int step);

  Terminal& terminal_;
  std::optional<std::chrono::milliseconds> lock_wait_;
  std::unique_ptr<Model> model_;
  Screen screen_;
  Dialogs dialogs_;
  std::vector<Path> hits_;  // of the last search; hit_ is the index of the shown one
  std::size_t hit_ = 0;
  std::vector<std::string> restored_;  // the files of restored changes
  bool leaves_ = false;
};

}  // namespace orvik::prefstool::browse
