// One line that is typed and edited, with no terminal in it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace orvik::prefstool::browse {

class LineInput {
 public:
  explicit LineInput(std::string_view text = {});
  explicit LineInput(std::u32string text) : text_(std::move(text)), cursor_(text_.size()) {}

  std::string text() const;

  // The part of the line that fits into `columns` around the cursor, which stands after `before`.
  // Control characters are shown as symbols. In time proportional to the columns.
  struct Window {
    std::string before;
    std::string after;
  };
  Window Shown(int columns) const;

  // Takes a key of Terminal::ReadKey: characters, Backspace, Delete, Left, Right, Home, End,
  // Ctrl-A, Ctrl-E, Ctrl-U (removes what is before the cursor), Ctrl-K (what is behind it), Ctrl-W
  // (a word). False for any other key.
  bool HandleKey(int key);

  void Insert(std::u32string_view text);  // at the cursor, whatever its characters are
  void Replace(std::string_view text);    // the cursor at its end

 private:
  void MoveLeft();

  std::u32string text_;
  std::size_t cursor_ = 0;
};

}  // namespace orvik::prefstool::browse
