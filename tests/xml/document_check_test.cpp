#include "xml/document_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include <tinyxml.h>

namespace orvik {
namespace {

struct Shape {
  int elements = 0;
  int depth = 0;
  bool operator==(const Shape&) const = default;
};

Shape ShapeOf(const TiXmlElement* first) {
  Shape shape;
  for (const TiXmlElement* child = first; child != nullptr; child = child->NextSiblingElement()) {
    const Shape below = ShapeOf(child->FirstChildElement());
    shape.elements += below.elements + 1;
    shape.depth = std::max(shape.depth, below.depth + 1);
  }
  return shape;
}

// Well-formed documents at random, with all that could hide markup from one of two parsers or show
// it to one only.
class Document {
 public:
  explicit Document(unsigned seed) : random_(seed) {
    static const char* const kProlog[] = {"", "<?xml version='1.0' encoding=\"UTF-8\"?>",
                                          "\xEF\xBB\xBF<?xml version=\"1.0\" ?>"};
    static const char* const kMisc[] = {"", "<!DOCTYPE a>", "<!DOCTYPE a SYSTEM '<b><b>'>",
                                        "<!DOCTYPE a [<!ENTITY x \"<b><b>\">]>",
                                        "<!DOCTYPE a PUBLIC 'x' \"'/><b>\">"};
    text = std::string(Pick(kProlog)) + Pick(kMisc);
    AddElement(1);
  }

  std::string text;
  Shape shape;

 private:
  template <std::size_t kCount>
  const char* Pick(const char* const (&pieces)[kCount]) {
    return pieces[random_() % kCount];
  }

  void AddElement(int depth) {
    static const char* const kNames[] = {"a", "_b", "\xC3\xA9\xC2\xB7", "a:b.c-1", "xml"};
    static const char* const kAttributes[] = {
        "",        " c='>'", "\tc = \"'/>\" d=''", " c='&lt;b>'", "\r\nxml='\xF0\x9F\x98\x80'",
        " c=']]>'"};
    static const char* const kContent[] = {"x",
                                           "&#60;b>",
                                           "<![CDATA[<b></a>]]]]>",
                                           "<!-- <b> ->> -->",
                                           "<?p <b ?>",
                                           "<?p ><b><b>?>",
                                           "<?xmlp version='1' <b ?>",
                                           "<!---->",
                                           "<![CDATA[]]>",
                                           "<?xml-p c='>'<b>?>",
                                           "\n \xEF\xBB\xBF",
                                           "&quot;&apos;&amp;"};
    const std::string name = Pick(kNames);
    ++shape.elements;
    shape.depth = std::max(shape.depth, depth);
    text += "<" + name + Pick(kAttributes);
    if (random_() % 4 == 0) {
      text += "/>";
      return;
    }
    text += ">";
    for (unsigned n = random_() % 5; n > 0; --n) {
      if (depth < 6 && random_() % 2 == 0) {
        AddElement(depth + 1);
      } else {
        text += Pick(kContent);
      }
    }
    text += "</" + name + " >";
  }

  std::mt19937 random_;
};

TEST(DocumentCheckTest, TheParserFindsTheElementsThatXmlHas) {
  int taken = 0, refused = 0;
  for (unsigned seed = 0; seed < 4000; ++seed) {
    const Document document(seed);
    XMLDocumentError error;
    if (!CheckDocument(document.text.c_str(), &error)) {
      ++refused;
      ASSERT_TRUE(error.reason.Find("holds") >= 0) << error.reason.GetString() << document.text;
      continue;
    }
    ++taken;
    TiXmlDocument parsed;
    parsed.Parse(document.text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    ASSERT_FALSE(parsed.Error()) << parsed.ErrorDesc() << " in " << document.text;
    ASSERT_EQ(ShapeOf(parsed.FirstChildElement()), document.shape) << document.text;
  }
  EXPECT_GT(taken, 1000);
  EXPECT_GT(refused, 1000);
}

}  // namespace
}  // namespace orvik
