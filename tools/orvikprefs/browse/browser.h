// The browser: what each key does with the model.
//
//   Terminal  keys and the screen           Model     rows, selection, changes, conflicts (draft.h)
//   Screen    draws the model               Dialogs   ask, over the screen
//   Editing, Reading, Review, Finding       the actions behind the keys (actions.h)
//
// The file is looked at again every quarter of a second, also while a dialog waits. Nothing reaches
// it before the user asks for that (Review::Apply).
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/orvikprefs/browse/actions.h"
#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/screen.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

class Browser {
 public:
  // `lock_wait` is that of Transaction::WaitAtMost.
  Browser(Terminal& terminal, int scope, CAtlString domain,
          std::optional<std::chrono::milliseconds> lock_wait);

  // Selects a key or value. False when there is none.
  bool Reveal(const Path& path) { return model_->Reveal(path); }

  // Shows the domain and takes keys until the user leaves, or a signal asks the process to end.
  void Run();

  // Keeps the changes that are not written for the next browser (draft.h). A message about
  // it, "" when there are none.
  std::string KeepUnwritten();

 private:
  void Background();
  void Act(int key);
  bool ActOnRows(int key);
  bool ActOnPlaces(int key);

  // Moving about.
  void Enter();
  void Leave();
  void Click(bool twice);
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

  Editing editing() {
    return {*model_, dialogs_, terminal_, [this](const Path& path) { model_->Reveal(path); }};
  }
  Reading reading() { return {*model_, dialogs_, terminal_}; }
  Review review() { return {*model_, dialogs_, lock_wait_}; }

  void Report(std::string text) {
    if (!text.empty()) screen_.message = std::move(text);
  }

  Terminal& terminal_;
  std::optional<std::chrono::milliseconds> lock_wait_;
  std::unique_ptr<Model> model_;
  Screen screen_;
  Dialogs dialogs_;
  Finding finding_;
  std::vector<std::string> restored_;  // the files of kept changes
  bool leaves_ = false;
};

}  // namespace orvik::prefstool::browse
