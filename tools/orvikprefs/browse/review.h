// The lists of changes that wait and of conflicts.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"

namespace orvik::prefstool::browse {

// Every function returns a line to be shown, or "".
class Review {
 public:
  // `lock_wait` is that of Transaction::WaitAtMost.
  Review(Model& model, Dialogs& dialogs, std::optional<std::chrono::milliseconds> lock_wait)
      : model_(model), dialogs_(dialogs), lock_wait_(lock_wait) {}

  // Writes all changes, or nothing. Says for whom it waits, and stops waiting at Escape.
  std::string Apply();
  // Repairs a damaged file, once the user has seen what is lost.
  std::string Repair();
  std::string ShowChanges();
  std::string ShowConflicts();

 private:
  Model& model_;
  Dialogs& dialogs_;
  std::optional<std::chrono::milliseconds> lock_wait_;
};

}  // namespace orvik::prefstool::browse
