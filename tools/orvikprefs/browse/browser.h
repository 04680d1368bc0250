// The browser: what each key does with the model.
//
//   Terminal  keys and the screen           Model     rows, selection, changes, conflicts (draft.h)
//   Screen    draws the model               Dialogs   ask, over the screen
//
// The file is looked at again every quarter of a second, also while a dialog waits. Nothing reaches
// it before the user asks for that (Apply).
//
// The file may change while a dialog waits. An action therefore works on paths, not rows, and gives
// the value that the user saw to the draft, which makes a conflict of a value that is another by
// then.
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
  // Opens the domain of the scope (0 to 5), whose name must be able to name a file. The terminal
  // must outlive the browser. `lock_wait` is that of Transaction::WaitAtMost.
  Browser(Terminal& terminal, int scope, CAtlString domain,
          std::optional<std::chrono::milliseconds> lock_wait);

  // Selects a key or value. False when there is none.
  bool Reveal(const Path& path) { return model_->Reveal(path); }

  // Shows the domain and takes keys until the user leaves, or a signal asks the process to end
  // (Terminal::ended_by). The user is asked before changes are lost.
  void Run();

  // Keeps the changes that are not written for the next browser (draft.h). A message about
  // it, "" when there are none.
  std::string KeepUnwritten();

 private:
  // What one or two keys of Terminal::ReadKey do. With `needs_row` nothing, except to say so, while
  // the selected row is gone (Model::is_gone).
  struct Binding {
    int key;
    bool needs_row;
    void (*act)(Browser& browser);
    int other = Terminal::kNothing;
  };
  static const Binding kBindings[];

  void Background();
  void Act(int key);

  // Shows the line until the next key; nothing for "".
  void Report(std::string text) {
    if (!text.empty()) screen_.message = std::move(text);
  }

  // Moving about (browser.cpp).

  // Enter: opens a key, or edits a value. Enter alone opens a key that has keys in it, and goes to
  // the values of an open one.
  void EnterOrEdit();
  void Enter();
  // Back from the values; then closes the key, or goes to the one above it.
  void Leave();
  // Selects the row under the mouse; twice edits the value, or opens or closes the key.
  void Click(bool twice);
  // Picks the selected row, or gives it up, and goes to the next one.
  void Pick();
  void ChooseOrder();
  // The files of other scopes, of other domains, and of any that have the selected path.
  void ChooseScope();
  void ChooseDomain();
  void ChooseElsewhere();
  // Lets the user choose a file and shows it, at the path or what is above it. Asks first what
  // becomes of changes that are not written (MayLeave), and stays when the user does.
  struct FileRow {
    int scope;
    CAtlString domain;
    std::string label;
    Path path;
  };
  void ChooseFile(const std::string& title, const std::vector<FileRow>& files);
  void ShowHelp();
  // False when the user stays: asks whether to write or discard changes and conflicts that wait.
  bool MayLeave();
  // Offers the changes that an earlier browser kept for this file. Taken over, they are changes
  // like any other; their file is removed once nothing waits any longer, so a crash loses nothing.
  void OfferKeptChanges();
  void ForgetRestored();

  // All that follow return a line to show, or "".

  // Changes of the tree (editing.cpp). They return why nothing was changed, or what was.

  // Changes the selected value on a line, or in the user's editor where a line cannot hold it.
  std::string Edit();
  // Adds to the selected key: a value of a type, or an empty key. A name that is taken is refused.
  // An array gets a new last element, which has no name to ask for.
  std::string AddValue();
  std::string AddKey();
  // Moves or copies what is selected, with everything below it. What has the new name is refused.
  std::string Rename();
  std::string MoveOrCopy(bool copy);
  // Deletes the picked rows, or the selected one when none is picked. Asks before it deletes a key
  // or several rows; nothing is deleted when another process changes one of them meanwhile.
  std::string Delete();
  std::string DeletePicked();
  // Changes the type of a value: the same number or text in the new type (Converted). Asks for a
  // new text when the old one has no meaning in it.
  std::string ChangeType();
  // Changes the value as JSON, in the user's editor, until the text is a value of the same type or
  // the user gives up; then the text is kept and its file named. `began` is the value that the user
  // saw.
  std::string EditInEditor(const Path& path, const Value& began);
  // Asks for a line that means a value of the type; no value when the user gave up.
  Value AskValue(Type type, const std::string& text);
  // Asks for a name below the path and appends it; the path is empty when the user gave up.
  std::string AskName(const char* label, Path& path);
  // The refusal, or `what` was done; then the path is selected.
  std::string Arrive(const std::string& refusal, const Path& path, const char* what);

  // Shows a value or takes it out, and changes nothing (review.cpp).

  // Shows a whole value, and the one from before its change.
  std::string View();
  // Copies the path as the command line takes it, or the value as `get` prints it, into the
  // clipboard of the terminal; refuses what is too long for one.
  std::string CopyPath();
  std::string CopyValue();
  // Writes the value as it is shown into a file: JSON for a name that ends in ".json", else an XML
  // property list. An existing file is replaced only if the user says so.
  std::string Export();

  // Shows and writes the changes that wait, and settles conflicts (review.cpp).

  // Writes all changes, or nothing; refuses while there are conflicts. Says for whom it waits, and
  // stops waiting at Escape or after the time of --timeout.
  std::string Apply();
  // Repairs a damaged file, once the user has seen what is lost. The damaged file is kept beside
  // it.
  std::string Repair();
  // Lists the changes, to take one back, go to one or write all.
  std::string ShowChanges();
  // Lists the conflicts, to take the user's value or the other process's.
  std::string ShowConflicts();

  // Leads to another row (finding.cpp).

  // Lists what holds the text, in any case, as it is typed, and selects the row that is chosen.
  std::string SearchWhileTyping();
  // Selects the next (1) or previous (-1) hit, or again the present one (0), round and round.
  std::string NextHit(int step);
  std::string GoToPath();
  // Shows only what holds the text, as it is typed. Escape brings the filter from before back.
  std::string FilterWhileTyping();
  // Selects the next (1) or previous (-1) path that the user or another process changed.
  std::string NextChanged(int step);

  Terminal& terminal_;
  std::optional<std::chrono::milliseconds> lock_wait_;
  std::unique_ptr<Model> model_;
  Screen screen_;
  Dialogs dialogs_;
  std::vector<Path> hits_;  // of the last search, and the one shown
  std::size_t hit_ = 0;
  std::vector<std::string> restored_;  // the files of kept changes
  bool leaves_ = false;
};

}  // namespace orvik::prefstool::browse
