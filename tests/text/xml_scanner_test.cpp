#include "text/xml_scanner.h"

#include <gtest/gtest.h>

#include <string>

#include "text/text_place.h"

namespace orvik {
namespace {

using Tag = XmlScanner::Tag;

// The tags of a text with the character data before each, or "!" where it is malformed.
std::string Scanned(std::string_view text) {
  XmlScanner scanner(text);
  std::string result;
  for (;;) {
    const Tag tag = scanner.Next();
    if (tag == Tag::kMalformed) return result + "!" + std::to_string(scanner.begin());
    result += scanner.text();
    if (tag == Tag::kNone) return result;
    result += tag == Tag::kEnd ? "[/" : "[";
    result += std::string(scanner.name()) + std::string(scanner.attributes());
    result += tag == Tag::kEmpty ? "/]" : "]";
  }
}

TEST(XmlScanner, FindsTagsAndPassesOverTheRest) {
  static constexpr struct {
    const char *text, *scanned;
  } kCases[] = {{"", ""},
                {"a", "a"},
                {"<a>b</a >c", "[a]b[/a ]c"},
                {"<a/><b x='>' y = \"'\"/>", "[a/][b x='>' y = \"'\"/]"},
                {"<!DOCTYPE a [<!ENTITY b ']>'> <!-- ' ]> --> <?c ' ?>] ><a/>",
                 "<!DOCTYPE a [<!ENTITY b ']>'> <!-- ' ]> --> <?c ' ?>] >[a/]"},
                {"<a><!-- <b> --><?c <d> ?><![CDATA[</a>]]></a>",
                 "[a]<!-- <b> --><?c <d> ?><![CDATA[</a>]]>[/a]"},
                {"a<", "!1"},
                {"<a", "!0"},
                {"<a x>", "!0"},
                {"<a x=y>", "!0"},
                {"<a x='<'>", "!0"},
                {"<a x='1'y='2'>", "!0"},
                {"</a/>", "!0"},
                {"</a b='c'>", "!0"},
                {"<>", "!0"},
                {"<a><!DOCTYPE b></a>", "[a]!3"},
                {"<!-- ", "!0"},
                {"<a><![CDATA[ ]></a>", "[a]!3"},
                {"<!DOCTYPE a [", "!0"},
                {"<!b>", "!0"}};
  for (const auto& one : kCases) EXPECT_EQ(Scanned(one.text), one.scanned) << one.text;
}

TEST(XmlScanner, TakesAPlainValueAtOnceAndNothingElse) {
  XmlScanner scanner("<a>text</a><a>t<!-- --></a>");
  ASSERT_EQ(scanner.Next(), Tag::kStart);
  EXPECT_FALSE(scanner.TakePlainEnd("ab"));
  EXPECT_TRUE(scanner.TakePlainEnd("a"));
  EXPECT_EQ(scanner.text(), "text");
  ASSERT_EQ(scanner.Next(), Tag::kStart);
  EXPECT_FALSE(scanner.TakePlainEnd("a"));
  ASSERT_EQ(scanner.Next(), Tag::kEnd);
  EXPECT_EQ(scanner.text(), "t<!-- -->");
  EXPECT_TRUE(scanner.is_mixed());
}

TEST(XmlScanner, DecodesCharacterData) {
  static constexpr struct {
    const char* data;
    const char16_t* text;  // null when it cannot be decoded
  } kCases[] = {{"&lt;&gt;&amp;&quot;&apos;&#65;&#x1F600;", u"<>&\"'A\U0001F600"},
                {"a\r\nb\rc&#13;\r", u"a\nb\nc\r\n"},
                {"<![CDATA[&lt;\r\n]]>&lt;<!-- & --><?x & ?>\u00E9", u"&lt;\n<\u00E9"},
                {"&#xD800;", u"\xD800"},
                {"&nbsp;", nullptr},
                {"a & b", nullptr},
                {"&#x110000;", nullptr},
                {"&#;", nullptr},
                {"\xC3", nullptr},
                {"<!-- not ended", u"<!-- not ended"}};
  for (const auto& one : kCases) {
    std::u16string text;
    EXPECT_EQ(AppendXmlText(text, one.data), one.text != nullptr) << one.data;
    if (one.text != nullptr) {
      EXPECT_EQ(text, one.text) << one.data;
    }
  }
  EXPECT_TRUE(IsBlankXml(" \n<!-- x --><![CDATA[ ]]><!DOCTYPE a>\t"));
  EXPECT_FALSE(IsBlankXml(" <![CDATA[x]]>"));
  EXPECT_EQ(XmlAttribute(" a='1' bc = \"2\"", "bc"), "2");
  EXPECT_EQ(XmlAttribute(" a='bc=\"3\"'", "bc"), "");
}

TEST(PlaceInText, CountsLinesAndCharacters) {
  const std::string text = "a\n\u00E9b\r\nc\rd";
  const struct {
    std::size_t position, line, column;
  } kCases[] = {{0, 1, 1}, {1, 1, 2}, {2, 2, 1}, {4, 2, 2}, {7, 3, 1}, {9, 4, 1}, {99, 4, 2}};
  for (const auto& one : kCases) {
    const TextPlace place = PlaceInText(text, one.position);
    EXPECT_EQ(place.line, one.line) << one.position;
    EXPECT_EQ(place.column, one.column) << one.position;
  }
}

}  // namespace
}  // namespace orvik
