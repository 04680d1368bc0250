#include "text/xml_scanner.h"

#include "tests/support/test_environment.h"
#include "text/shown_text.h"

namespace orvik {
namespace {

using Tag = XmlScanner::Tag;

// The tags of a text with the character data before each, or "!" for malformed text.
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
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"<a>b</a >c", "[a]b[/a ]c"},
      {"<a/><b x='>' y = \"'\"/>", "[a/][b x='>' y = \"'\"/]"},
      {"<!DOCTYPE a [<!ENTITY b ']>'> <!-- ' ]> --> <?c ' ?>] ><a/>",
       "<!DOCTYPE a [<!ENTITY b ']>'> <!-- ' ]> --> <?c ' ?>] >[a/]"},
      {"<a><!-- <b> --><?c <d> ?><![CDATA[</a>]]></a>",
       "[a]<!-- <b> --><?c <d> ?><![CDATA[</a>]]>[/a]"},
      {"<a><!DOCTYPE b></a>", "[a]!3"},
      {"<a><![CDATA[ ]></a>", "[a]!3"}};
  for (const auto& [text, scanned] : cases) EXPECT_EQ(Scanned(text), scanned) << text;
  for (const char* text : {"<a x>", "<a x=y>", "<a x='<'>", "<a x='1'y='2'>", "</a/>", "<a / >",
                           "</a b='c'>", "<>", "<!b>"}) {
    EXPECT_EQ(Scanned(text), "!0") << text;
  }
  // A text that is cut at any place.
  for (const std::string_view whole :
       {"<a x = \"'\" y='>' >", "<a x='1' />", "</a >", "<?c ' ?>", "<!-- \" -->", "<![CDATA[ ]]>",
        "<!DOCTYPE a 'b>' [ <!-- ] --> <?c ] ?> \"]\" > ] >"}) {
    EXPECT_FALSE(Scanned(whole).starts_with('!')) << whole;
    for (std::size_t size = 1; size < whole.size(); ++size) {
      const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<long>(size));
      EXPECT_EQ(Scanned({cut.data(), size}), "!0") << whole.substr(0, size);
    }
  }
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
  // An invalid reference gives no text.
  const std::pair<const char*, std::optional<std::u16string>> cases[] = {
      {"&lt;&gt;&amp;&quot;&apos;&#65;&#x1F600;", u"<>&\"'A\U0001F600"},
      {"a\r\nb\rc&#13;\r", u"a\nb\nc\r\n"},
      {"<![CDATA[&lt;\r\n]]>&lt;<!-- & --><?x & ?>\u00E9", u"&lt;\n<\u00E9"},
      {"&#xD800;&#9;&#x10FFFF;", u"\xD800\t\U0010FFFF"},
      {"&nbsp;", std::nullopt},
      {"a & b", std::nullopt},
      {"&#x110000;", std::nullopt},
      {"&#;", std::nullopt},
      {"\xC3", std::nullopt},
      {"<!-- not ended", u"<!-- not ended"}};
  for (const auto& [data, text] : cases) {
    std::u16string decoded;
    EXPECT_EQ(AppendXmlText(decoded, data), text.has_value()) << data;
    if (text) {
      EXPECT_EQ(decoded, *text) << data;
    }
  }
  EXPECT_TRUE(IsBlankXml(" \n<!-- x --><![CDATA[ ]]><!DOCTYPE a>\t"));
  EXPECT_FALSE(IsBlankXml(" <![CDATA[x]]>"));
  EXPECT_EQ(XmlAttribute(" a='1' bc = \"2\"", "bc"), "2");
  EXPECT_EQ(XmlAttribute(" a='bc=\"3\"' ", "bc"), "");
}

TEST(PlaceInText, CountsLinesAndCharacters) {
  const std::tuple<std::size_t, std::size_t, std::size_t> cases[] = {
      {0, 1, 1}, {1, 1, 2}, {2, 2, 1}, {4, 2, 2}, {7, 3, 1}, {9, 4, 1}, {99, 4, 2}};
  for (const auto& [position, line, column] : cases) {
    const TextPlace place = PlaceInText("a\n\u00E9b\r\nc\rd", position);
    EXPECT_EQ(std::pair(place.line, place.column), std::pair(line, column)) << position;
  }
}

}  // namespace
}  // namespace orvik
