// The browser: what each key does with the model.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/editing.h"
#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/review.h"
#include "tools/orvikprefs/browse/screen.h"
#include "tools/orvikprefs/browse/search.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

class Browser {
 public:
  Browser(Terminal& terminal, int scope, CAtlString domain);

  // Selects a key or value. False when there is none.
  bool Reveal(const Path& path) { return model_->Reveal(path); }

  // Shows the domain and takes keys until the user leaves.
  void Run();

 private:
  void Background();
  void Act(int key);

  // Moving about.
  void MoveBy(int rows);
  void Enter();
  void Leave();
  void Click(bool twice);
  void SearchWhileTyping();
  void NextHit(int step);
  void GoToPath();
  void ChooseScope();
  void ChooseDomain();
  void ShowHelp();
  bool MayLeave();
  void Look(int scope, const CAtlString& domain);

  Editing editing() {
    return {*model_, dialogs_, terminal_, [this](const Path& path) { model_->Reveal(path); }};
  }
  Review review() { return {*model_, dialogs_}; }

  Path SelectedPath() const { return model_->SelectedPath(); }
  void Report(std::string text) {
    if (!text.empty()) screen_.message = std::move(text);
  }

  Terminal& terminal_;
  std::unique_ptr<Model> model_;
  Screen screen_;
  Dialogs dialogs_;
  bool leaves_ = false;

  std::unique_ptr<SearchIndex> index_;
  std::size_t index_version_ = 0;
  std::vector<std::size_t> hits_;
  std::size_t hit_ = 0;
};

}  // namespace orvik::prefstool::browse
