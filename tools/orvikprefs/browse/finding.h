// The dialogs that lead to another row.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"

namespace orvik::prefstool::browse {

// Every function returns a line to be shown, or "".
class Finding {
 public:
  explicit Finding(Dialogs& dialogs) : dialogs_(dialogs) {}

  // Another model is shown: the hits are of no use.
  void Forget() { hits_.clear(); }

  std::string SearchWhileTyping(Model& model);
  std::string NextHit(Model& model, int step);
  std::string GoToPath(Model& model);
  std::string FilterWhileTyping(Model& model);
  std::string NextChanged(Model& model, int step);

 private:
  Dialogs& dialogs_;
  std::vector<Path> hits_;
  std::size_t hit_ = 0;
};

}  // namespace orvik::prefstool::browse
