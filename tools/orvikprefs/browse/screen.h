// Draws the browser: the store and the path on top, keys on the left, values on the right, a
// message and what the keys do at the foot.
//
// Only rows on the screen are looked at. The lists scroll as far as needed to show the selected
// rows. Nothing in a name or value acts on the terminal.
#pragma once

#include <string>

#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

class Screen {
 public:
  explicit Screen(Terminal& terminal) : terminal_(terminal) {}

  std::string message;  // the line above the keys' help, in harmless characters; wrapped when long
  bool shows_sizes = false;

  // Draws into the terminal's picture (Terminal::Show), whatever its size is. Without `with_foot`
  // the two lines at the foot are left to a dialog. Asks who holds the lock of the domain.
  void Draw(Model& model, bool with_foot = true);

  int page() const;  // rows of keys or values that fit
  // The row under the mouse, at the last click that Terminal::ReadKey returned.
  struct Place {
    bool on_values = false;
    int row = -1;  // -1: nothing
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
