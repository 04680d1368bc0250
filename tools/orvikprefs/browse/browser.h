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
  void EnterOrEdit();
  void Enter();
  void Leave();
  void Click(bool twice);
  void Pick();
  void ChooseOrder();
  void ChooseScope();
  void ChooseDomain();
  void ChooseElsewhere();
  void ShowHelp();
  bool MayLeave();
  void SwitchTo(int scope, const CAtlString& domain);
  void OfferKeptChanges();
  // Once nothing of them waits any longer.
  void ForgetRestored();

  // All that follow return a line to show, or "".

  // Changes of the tree (editing.cpp). They return why nothing was changed, or what was.
  std::string Edit();
  // Adds to the selected key.
  std::string AddValue();
  std::string AddKey();
  std::string Rename();
  std::string MoveOrCopy(bool copy);
  // Deletes the picked rows, or the selected one when none is picked.
  std::string Delete();
  // Changes the type of a value. Asks for a new text when the old one has no meaning in the type.
  std::string ChangeType();
  // Changes the value as JSON, in the user's editor.
  std::string EditInEditor(const Path& path, const Value& began);
  std::string DeletePicked();
  // A line that means a value of the type; no value when the user gave up.
  Value AskValue(Type type, const std::string& text);
  std::string AskName(const char* label, Path& path);
  // The refusal, or what was done; then the path is selected.
  std::string Arrive(const std::string& refusal, const Path& path, const char* what);

  // Shows a value or takes it out, and changes nothing (review.cpp).
  // Shows a whole value, and the one from before its change.
  std::string View();
  // Copies into the clipboard of the terminal.
  std::string CopyPath();
  std::string CopyValue();
  // Writes the value as it is shown into a file: JSON for a name that ends in ".json", else an XML
  // property list. An existing file is replaced only if the user says so.
  std::string Export();

  // Shows and writes the changes that wait, and settles conflicts (review.cpp).
  // Writes all changes, or nothing. Says for whom it waits, and stops waiting at Escape.
  std::string Apply();
  // Repairs a damaged file, once the user has seen what is lost.
  std::string Repair();
  std::string ShowChanges();
  std::string ShowConflicts();

  // Leads to another row (finding.cpp).
  std::string SearchWhileTyping();
  std::string NextHit(int step);
  std::string GoToPath();
  std::string FilterWhileTyping();
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
