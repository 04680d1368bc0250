// The markup of a damaged XML property list, tag by tag. A tag with one wrong byte counts as the
// original tag; everything else that is not a tag is text.
//
//   in the file        token
//   <array>            kStart "array"
//   <arrby>            kStart "array", damaged
//   <true/>            kEmpty "true"
//   /array>            kEnd "array", damaged
//   <!-- c --> <?pi?>  skipped, as are blanks and the document type
//   a < b              kText
//
// The text need not be valid UTF-8. Never fails, takes time proportional to the text, and allocates
// no memory. Names in tokens refer to the text.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvik::plist {

class DamagedMarkup {
 public:
  enum class Kind {
    kStart,
    kEmpty,
    kEnd,
    kText,  // anything but blanks, comments and instructions
    kNone,  // the end
  };

  struct Token {
    Kind kind = Kind::kNone;
    std::string_view name;    // "dict"; the name as it is written if its meaning is unclear
    bool is_damaged = false;  // a byte of the tag is wrong
    bool is_known = true;     // an element of that name exists
    std::size_t begin = 0;
    std::size_t end = 0;
    // The number of tabs before a tag that begins a line; -1 for every other tag.
    int tabs = -1;
    // A start tag with a blank before its ">" and no attributes: "<dict >". Writers do not make
    // such tags, but one wrong byte turns "<dict/>" into one.
    bool ends_in_blank = false;
  };

  explicit DamagedMarkup(std::string_view text) : text_(text) {}

  // Returns the token at the position and moves behind it. At the end it always returns kNone.
  Token Next();
  // Continues at a byte of the text.
  void MoveTo(std::size_t position) { position_ = position; }

  // The end of a simple value or key named `name` whose start tag ends at `from`: the position
  // behind its end tag. npos when another tag comes first; `found` receives the position of that
  // tag.
  std::size_t EndOfSimple(std::string_view name, std::size_t from, std::size_t& found);

  // The container's tag within a text that lacks only its "<"; kNone when there is none.
  static Token ContainerIn(std::string_view text);

 private:
  bool SkipUnseen();
  bool SkipComment();
  bool SkipDocumentType();
  std::size_t FindEnd(std::string_view end, std::size_t from, bool& is_missing) const;
  Token ReadTag() const;

  std::string_view text_;
  std::size_t position_ = 0;
  bool is_in_prolog_ = true;
  bool no_section_end_ = false;
};

}  // namespace orvik::plist
