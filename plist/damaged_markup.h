// The markup of a damaged XML property list, tag by tag. A tag with one wrong byte counts as the
// tag that it was; everything else that is not a tag is text.
//
//   in the file        token
//   <array>            kStart "array"
//   <arrby>            kStart "array", damaged
//   <true/>            kEmpty "true"
//   /array>            kEnd "array", damaged
//   <!-- c --> <?pi?>  skipped, as are blanks and the document type
//   a < b              kText
//
// Takes UTF-8, which need not be valid. Never fails; takes time proportional to the text and no
// memory. Names in tokens refer to the text.
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
    std::string_view name;    // "dict", or what is written where no name is meant for sure
    bool is_damaged = false;  // a byte of the tag is wrong
    bool is_known = true;     // the name is that of an element
    std::size_t begin = 0;
    std::size_t end = 0;
    // The tabs before a tag that begins a line; -1 for any other.
    int tabs = -1;
    // A start tag with a blank before its ">" and no attributes: "<dict >". No writer makes one,
    // but one wrong byte makes it of "<dict/>".
    bool ends_in_blank = false;
  };

  explicit DamagedMarkup(std::string_view text) : text_(text) {}

  // Returns the token at the position, which moves behind it; kNone, again and again, at the end.
  Token Next();
  // Continues at a byte of the text.
  void MoveTo(std::size_t position) { position_ = position; }

  // Where the element of a simple value or key ends whose start tag ends here: behind its end tag.
  // npos when another tag comes first; `found` is where that one begins.
  std::size_t EndOfSimple(std::string_view name, std::size_t from, std::size_t& found);

  // The tag of a container that a text holds because the "<" of the tag is wrong; kNone for none.
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
