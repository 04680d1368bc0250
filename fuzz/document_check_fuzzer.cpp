// Well-formed documents: the check accepts a document if TinyXML finds all of its elements, and
// refuses the others because of their content.
#include <tinyxml.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "xml/document_check.h"

namespace orvik::fuzz {
namespace {

std::string ShapeOf(const TiXmlElement* first) {
  std::string shape;
  for (const TiXmlElement* child = first; child != nullptr; child = child->NextSiblingElement()) {
    shape += "(" + ShapeOf(child->FirstChildElement()) + ")";
  }
  return shape;
}

// A well-formed document with everything that could hide markup from one of two parsers.
struct ChosenDocument {
  explicit ChosenDocument(Choices& bytes) : choices(bytes) {
    text = std::string(Pick({"", "<?xml version='1.0' encoding=\"UTF-8\"?>",
                             "\xEF\xBB\xBF<?xml version=\"1.0\" ?>"})) +
           Pick({"", "<!DOCTYPE a>", "<!DOCTYPE a SYSTEM '<b><b>'>",
                 "<!DOCTYPE a [<!ENTITY x \"<b><b>\">]>", "<!DOCTYPE a PUBLIC 'x' \"'/><b>\">"});
    AddElement(1);
  }
  const char* Pick(std::initializer_list<const char*> pieces) {
    return pieces.begin()[choices.Next(1) % pieces.size()];
  }
  void AddElement(int depth) {
    const std::string name = Pick({"a", "_b", "\xC3\xA9\xC2\xB7", "a:b.c-1", "xml"});
    const bool is_empty = choices.Next(1) % 4 == 0;
    shape += "(";
    text += "<" + name +
            Pick({"", " c='>'", "\tc = \"'/>\" d=''", " c='&lt;b>'", " c=']]>'",
                  "\r\nxml='\xF0\x9F\x98\x80'"}) +
            (is_empty ? "/>" : ">");
    for (std::uint64_t n = is_empty ? 0 : choices.Next(1) % 5; n > 0; --n) {
      if (depth < 6 && choices.Next(1) % 2 == 0) {
        AddElement(depth + 1);
      } else {
        text += Pick({"x", "&#60;b>", "<![CDATA[<b></a>]]]]>", "<!-- <b> ->> -->", "<?p <b ?>",
                      "<?p ><b><b>?>", "<?xmlp version='1' <b ?>", "<!---->", "<![CDATA[]]>",
                      "<?xml-p c='>'<b>?>", "\n \xEF\xBB\xBF", "&quot;&apos;&amp;"});
      }
    }
    shape += ")";
    if (!is_empty) text += "</" + name + " >";
  }

  Choices& choices;
  std::string text, shape;
};

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  fuzz::Choices choices({reinterpret_cast<const char*>(data), size});
  const fuzz::ChosenDocument document(choices);
  XMLDocumentError error;
  if (!CheckDocument(document.text.c_str(), &error)) {
    fuzz::Require(error.reason.Contains("hold"));
    return 0;
  }
  TiXmlDocument parsed;
  parsed.Parse(document.text.c_str(), nullptr, TIXML_ENCODING_UTF8);
  fuzz::Require(!parsed.Error() && fuzz::ShapeOf(parsed.FirstChildElement()) == document.shape);
  return 0;
}
