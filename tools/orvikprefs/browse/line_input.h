// One line that is typed and edited, with no terminal in it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvik::prefstool::browse {

class LineInput {
 public:
  explicit LineInput(std::string_view text = {});

  std::string text() const;
  // The text before the cursor.
  std::string before_cursor() const;

  // Takes a key of Terminal::ReadKey: characters, Backspace, Delete, Left, Right, Home, End,
  // Ctrl-A, Ctrl-E, Ctrl-U (removes what is before the cursor), Ctrl-K (what is behind it), Ctrl-W
  // (a word). False for any other key.
  bool Take(int key);

  void Replace(std::string_view text);  // the cursor at its end

 private:
  void MoveLeft();

  std::u32string text_;
  std::size_t cursor_ = 0;
};

}  // namespace orvik::prefstool::browse
