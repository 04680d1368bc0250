// XML text taken apart into its tags and the character data between them, without a tree. A scanner
// holds no memory of its own and can begin at any tag of a text.
//
// The text is UTF-8. The scanner does not match elements with their end tags: the caller does that,
// because it knows which elements may stand where. Only the five entities of XML are known; a
// document type is skipped.
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
    kNone,       // the text ended; text() follows the last tag
    kMalformed,  // no whole tag, comment, section or instruction at begin()
  };

  explicit XmlScanner(std::string_view text, std::size_t position = 0)
      : text_(text), position_(position) {}

  // Skips comments, sections, instructions and a document type, moves behind the next tag and
  // returns its kind. After kMalformed the position is unspecified.
  Tag Next();

  // Moves over "</name>" when only plain character data, which text() then returns, and this end
  // tag follow. Otherwise nothing moves. This serves most values and takes a third of the time of
  // Next.
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

  // The name of the tag, and its text from there to the end of the tag: for kStart and kEmpty
  // attributes and blanks, for kEnd blanks. Both are views of the text. The attributes are well
  // formed, but a name may occur twice.
  std::string_view name() const { return name_; }
  std::string_view attributes() const { return attributes_; }

  // The character data before the tag, as it stands in the text; mixed data contains comments,
  // sections or instructions.
  std::string_view text() const { return character_data_; }
  bool is_mixed() const { return is_mixed_; }

  // The position of the tag, and the position where the scanner continues.
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

// Appends character data: references and sections are resolved, comments and instructions left out,
// and line ends become line feeds. False for an unknown reference and for text that is not UTF-8. A
// character that XML forbids is accepted as a character reference, because some writers make those.
bool AppendXmlText(std::u16string& result, std::string_view data);

// The reference that stands for a character of markup, a quote or a carriage return ("&amp;",
// "&#13;"); empty for every other byte.
std::string_view XmlReference(char byte);

// The position of the first byte outside white space, comments, instructions and a document type;
// npos when there is none. A section counts by its text.
std::size_t FindXmlText(std::string_view data);
inline bool IsBlankXml(std::string_view data) {
  return FindXmlText(data) == std::string_view::npos;
}

// Returns the value of the attribute `name` in a tag's attributes(): a view of `attributes` without
// the quotes, in which references are not resolved. Empty when the attribute is missing.
std::string_view XmlAttribute(std::string_view attributes, std::string_view name);

}  // namespace orvik
