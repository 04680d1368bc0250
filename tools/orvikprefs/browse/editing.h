// The dialogs that change the tree of a model.
#pragma once

#include <functional>
#include <string>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

// Every function asks what it needs, changes the model and returns a line to be shown: why nothing
// was changed, or "".
class Editing {
 public:
  // `reveal` selects what was added.
  Editing(Model& model, Dialogs& dialogs, Terminal& terminal,
          std::function<void(const Path&)> reveal)
      : model_(model), dialogs_(dialogs), terminal_(terminal), reveal_(std::move(reveal)) {}

  std::string Edit(const Path& path);
  // To the selected key.
  std::string AddValue();
  std::string AddKey();
  std::string Rename(const Path& path);
  std::string MoveOrCopy(const Path& path, bool copy);
  // The picked rows, or the one at the path when none is picked.
  std::string Delete(const Path& path);
  // Another type for a value; what has no meaning in that type is asked for.
  std::string ChangeType(const Path& path);

 private:
  // As JSON, in the user's editor.
  std::string EditInEditor(const Path& path, CFPropertyListRef began);
  std::string DeletePicked();
  // A line that means a value of the type; null when the user gave up.
  Value AskValue(ValueType type, const std::string& text);
  std::string AskName(const char* label, Path& path);
  // The refusal, or what was done; then the path is selected.
  std::string Report(const std::string& refusal, const Path& path, const char* what);

  Model& model_;
  Dialogs& dialogs_;
  Terminal& terminal_;
  std::function<void(const Path&)> reveal_;
};

}  // namespace orvik::prefstool::browse
