#include "tools/orvikprefs/browse/line_input.h"

#include "strings/atl_string.h"
#include "text/shown_text.h"
#include "text/transcoding.h"
#include "tools/orvikprefs/browse/terminal.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

std::u32string Characters(std::string_view utf8) {
  const CAtlString units = FromUtf8(utf8).value_or(u"");
  std::u32string characters;
  for (std::size_t at = 0; at < units.View().size();) characters += NextCharacter(units.View(), at);
  return characters;
}

std::string Utf8(std::u32string_view characters) {
  std::u16string units;
  for (const char32_t character : characters) {
    AppendCharacter(units, character);
  }
  return ToUtf8(CAtlString(units.data(), static_cast<int>(units.size())));
}

// The substitute for a character on the screen: a control character must not reach a terminal.
char32_t Symbol(char32_t character) {
  if (character < 0x20) return 0x2400 + character;
  if (!ControlAt(Utf8({&character, 1}), 0)) return character;
  return character == 0x7F ? 0x2421 : kReplacementCharacter;
}

constexpr int Control(char letter) {
  return letter - '@';
}

}  // namespace

LineInput::LineInput(std::string_view text) {
  Replace(text);
}

std::string LineInput::text() const {
  return Utf8(text_);
}

LineInput::Window LineInput::Shown(int columns) const {
  std::u32string before;
  std::u32string after;
  // The cursor has a column of its own.
  int room = columns - 1;
  std::size_t first = cursor_;
  while (first > 0 && ColumnsOf(Symbol(text_[first - 1])) <= room) {
    room -= ColumnsOf(Symbol(text_[--first]));
  }
  for (std::size_t at = first; at < cursor_; ++at) before += Symbol(text_[at]);
  ++room;
  for (std::size_t at = cursor_; at < text_.size(); ++at) {
    const char32_t symbol = Symbol(text_[at]);
    room -= ColumnsOf(symbol);
    if (room < 0) break;
    after += symbol;
  }
  return {Utf8(before), Utf8(after)};
}

void LineInput::Insert(std::u32string_view text) {
  text_.insert(cursor_, text);
  cursor_ += text.size();
}

void LineInput::Replace(std::string_view text) {
  text_ = Characters(text);
  cursor_ = text_.size();
}

// Over a character with the marks that combine with it.
void LineInput::MoveLeft() {
  while (cursor_ > 0 && ColumnsOf(text_[--cursor_]) == 0) {
  }
}

bool LineInput::HandleKey(int key) {
  const std::size_t old_cursor = cursor_;
  switch (key) {
    case Terminal::kLeft:
      MoveLeft();
      return true;
    case Terminal::kRight:
      if (cursor_ < text_.size()) ++cursor_;
      while (cursor_ < text_.size() && ColumnsOf(text_[cursor_]) == 0) ++cursor_;
      return true;
    case Terminal::kHome:
    case Control('A'):
      cursor_ = 0;
      return true;
    case Terminal::kEnd:
    case Control('E'):
      cursor_ = text_.size();
      return true;
    case '\b':
      if (cursor_ > 0) text_.erase(--cursor_, 1);
      return true;
    case Terminal::kDelete:
    case Control('D'):
      if (cursor_ < text_.size()) text_.erase(cursor_, 1);
      return true;
    case Control('U'):
      text_.erase(0, cursor_);
      cursor_ = 0;
      return true;
    case Control('K'):
      text_.erase(cursor_);
      return true;
    case Control('W'):
      while (cursor_ > 0 && text_[cursor_ - 1] == U' ') --cursor_;
      while (cursor_ > 0 && text_[cursor_ - 1] != U' ') --cursor_;
      text_.erase(cursor_, old_cursor - cursor_);
      return true;
    default:
      break;
  }
  if (key < ' ' || !IsCharacter(static_cast<char32_t>(key))) return false;
  text_.insert(cursor_++, 1, static_cast<char32_t>(key));
  return true;
}

}  // namespace orvik::prefstool::browse
