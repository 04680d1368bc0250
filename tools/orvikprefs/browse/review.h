// The lists of changes that wait and of conflicts.
#pragma once

#include <string>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"

namespace orvik::prefstool::browse {

// Every function returns a line to be shown, or "".
class Review {
 public:
  Review(Model& model, Dialogs& dialogs) : model_(model), dialogs_(dialogs) {}

  // Writes all changes, or nothing.
  std::string Apply();
  std::string ShowChanges();
  std::string ShowConflicts();

 private:
  Model& model_;
  Dialogs& dialogs_;
};

}  // namespace orvik::prefstool::browse
