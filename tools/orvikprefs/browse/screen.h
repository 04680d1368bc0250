// Draws the browser: the store and the path at the top, keys on the left, values on the right, a
// message and the help for keys at the foot.
//
// Only rows on the screen are read. The lists scroll just enough to show the selected rows. Control
// characters in names and values are escaped.
#pragma once

#include <string>

#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

class Screen {
 public:
  explicit Screen(Terminal& terminal) : terminal_(terminal) {}

  std::string message;  // the line above the help, in harmless characters; wrapped when long
  bool shows_sizes = false;

  // Draws into the terminal's picture (Terminal::Show), whatever its size. Without `with_foot` the
  // two lines at the foot are left to a dialog. Looks up the holder of the domain's lock.
  void Draw(Model& model, bool with_foot = true);

  int page() const;  // the number of rows of keys or values that fit
  // The row under the mouse at the last click that Terminal::ReadKey returned.
  struct Place {
    bool on_values = false;
    int row = -1;  // -1: none
  };
  Place PlaceAtMouse(const Model& model) const;

 private:
  void DrawHead(const Model& model);
  void DrawKeys(Model& model);
  void DrawValues(Model& model);
  int KeysWidth() const;

  Terminal& terminal_;
  int first_key_ = 0;
  int first_value_ = 0;
};

}  // namespace orvik::prefstool::browse
