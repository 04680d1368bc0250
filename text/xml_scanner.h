// XML text taken apart into its tags and the character data between them, without a tree. A scanner
// holds no memory of its own and can begin at any tag of a text.
//
// The text is UTF-8. Elements are not matched with their end tags: that is for the caller, who
// knows which elements may be where. Entities are the five of XML; a document type is passed over.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

class XmlScanner {
 public:
  enum class Tag {
    kStart,      // <name attributes>
    kEmpty,      // <name attributes/>
    kEnd,        // </name>
    kNone,       // the text ended; text() is what follows the last tag
    kMalformed,  // no tag, comment, section or instruction is whole at begin()
  };

  explicit XmlScanner(std::string_view text, std::size_t position = 0)
      : text_(text), position_(position) {}

  // Moves behind the next tag, over comments, sections, instructions and a document type, and says
  // what kind it is. After kMalformed the position is
  // unspecified.
  Tag Next();

  // Moves over "</name>" when the next thing is plain character data and that end tag, which text()
  // then is the data of. Otherwise nothing moves. This is Next for most values, at a third of its
  // time.
  bool TakePlainEnd(std::string_view name) {
    const std::size_t end = text_.find('<', position_);
    if (end == std::string_view::npos || text_.size() - end < name.size() + 3) return false;
    const char* tag = text_.data() + end;
    if (tag[1] != '/' || tag[name.size() + 2] != '>' ||
        text_.compare(end + 2, name.size(), name) != 0) {
      return false;
    }
    character_data_ = text_.substr(position_, end - position_);
    is_mixed_ = false;
    begin_ = end;
    position_ = end + name.size() + 3;
    return true;
  }

  // The name of the tag, and everything between it and the end of the tag: for kStart and kEmpty
  // attributes and blanks, for kEnd blanks. Views of the text. The attributes are well formed, but
  // a name may occur twice.
  std::string_view name() const { return name_; }
  std::string_view attributes() const { return attributes_; }

  // The character data before the tag, as it is in the text; mixed data holds comments, sections or
  // instructions.
  std::string_view text() const { return character_data_; }
  bool is_mixed() const { return is_mixed_; }

  // Where the tag begins, and where the scanner goes on.
  std::size_t begin() const { return begin_; }
  std::size_t position() const { return position_; }
  void MoveTo(std::size_t position) { position_ = position; }

 private:
  Tag ReadTag();
  bool FindTagEnd(std::size_t& at) const;

  std::string_view text_;
  std::size_t position_;
  std::size_t begin_ = 0;
  std::string_view name_;
  std::string_view attributes_;
  std::string_view character_data_;
  bool is_mixed_ = false;
};

// Appends character data with references and sections resolved, comments and instructions left out
// and line ends as line feeds. False for a reference that is not known, and for text that is not
// UTF-8. A character that XML forbids is taken when it is written as a number: some writers do so.
bool AppendXmlText(std::u16string& result, std::string_view data);

// The reference that stands for a character of markup, the quotes included, or for a carriage
// return ("&amp;", "&#13;"); empty for every other byte.
std::string_view XmlReference(char byte);

// The place of the first byte that is not white space nor part of a comment, an instruction or a
// document type; npos when there is none. A section counts by its text.
std::size_t FindXmlText(std::string_view data);
inline bool IsBlankXml(std::string_view data) {
  return FindXmlText(data) == std::string_view::npos;
}

// Returns the value of the attribute `name` in a tag's attributes(), as it is in the text,
// references included and without its quotes; empty without such an attribute. The view is a part
// of `attributes`.
std::string_view XmlAttribute(std::string_view attributes, std::string_view name);

}  // namespace orvik
