#include "plist/forms.h"

#include <bit>
#include <limits>
#include <utility>

#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

struct Case {
  std::string bytes;
  std::string expected;
};

void ExpectAll(const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(DescribeBytes(c.bytes), c.expected) << c.bytes;
}

TEST(PlistXml, ReadsEveryKindOfValue) {
  ExpectAll({
      {"<plist version=\"1.0\"><string>a &lt;&gt;&amp;&quot;&apos; &#65;&#x42;</string></plist>",
       "s:a <>&\"' AB"},
      {"<string/>", "s:"},
      {"<string> </string>", "s: "},
      {"<string>a\r\nb\rc&#13;</string>", "s:a\nb\nc\r"},
      {"<integer> -0x10 </integer>", "i:-16"},
      {"<integer>18446744073709551615</integer>", "i:18446744073709551615"},
      {"<real>-1.5e3</real>", "r:-1500"},
      {"<real>Infinity</real>", "r:+infinity"},
      {"<true/>", "b:1"},
      {"<false></false>", "b:0"},
      {"<date>2001-01-01T00:01:00Z</date>", "d:60"},
      {"<data>\n\tCv8=\n</data>", "x:0AFF"},
      {"<data/>", "x:"},
      {"<array><array/><dict/><string>x</string></array>", "(() {} s:x)"},
      {"<dict><key>b</key><true/><key></key><dict><key>a</key><array/></dict></dict>",
       "{={a=()} b=b:1}"},
      {"<dict><key>CF$UID</key><integer>7</integer></dict>", "{CF$UID=i:7}"},
  });
}

TEST(PlistXml, KeepsTextAmongCommentsSectionsAndInstructions) {
  ExpectAll({
      {"<!-- a --><plist><!-- b --><string> <![CDATA[<&amp;>]]> &amp;<!-- c --> </string></plist>",
       "s: <&amp;> & "},
      {"<dict><?pi?><key>a<!-- ! -->b</key><!-- - --><integer>1<!-- x -->2</integer></dict>",
       "{ab=i:12}"},
      {"<array><![CDATA[ ]]><string>?!</string></array>", "(s:?!)"},
      {"<?xml version='1.0'?>\n<!DOCTYPE plist [<!ENTITY a \"]>\">]>\n<plist><true/></plist>\n",
       "b:1"},
  });
}

TEST(PlistXml, OfEqualKeysTheLastHolds) {
  ExpectAll({{"<dict><key>a</key><true/><key>b</key><true/><key>a</key><false/></dict>",
              "{a=b:0 b=b:1}"}});
}

void ExpectRefused(std::initializer_list<const char*> lists) {
  for (const char* bytes : lists) {
    const Reading reading = Read(bytes);
    EXPECT_FALSE(reading.root) << bytes;
    EXPECT_FALSE(reading.error.empty()) << bytes;
  }
}

TEST(PlistXml, RefusesWhatIsNoPropertyList) {
  ExpectRefused({"", "<", "<plist/>", "<plist></plist>", "<plist><true/><true/></plist>",
                 "<plist><true/></plist>x", "<plist><true/></plist><plist/>",
                 "<plist>x<true/></plist>", "<plist><true/>", "<html><body/></html>"});
  ExpectRefused({"<key>a</key>", "<dict><key>a</key></dict>", "<dict><true/></dict>",
                 "<dict><key>a</key><key>b</key></dict>", "<dict>a<key>a</key><true/></dict>",
                 "<dict><key>a</key><true/>b</dict>", "<array><key>a</key></array>"});
  ExpectRefused({"<string>a<b/></string>", "<true>a</true>", "<integer/>", "<integer>1.5</integer>",
                 "<date>yesterday</date>", "<string>&nbsp;</string>", "<string>a & b</string>",
                 "<string>&#x110000;</string>", "<string>\xC3</string>",
                 "<!DOCTYPE plist [<!ENTITY a \"x\"><!ENTITY b \"&a;&a;\">]><string>&b;</string>"});
  EXPECT_EQ(DescribeBytes(std::string("<string>a\0b</string>", 20)), "nothing");
}

TEST(PlistXml, ReadsItsEncodings) {
  const std::string body = "<array><string>\u00E9\U0001F600</string></array>";
  const std::u16string units =
      u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>";
  std::string big, little;
  for (const char16_t unit : units) {
    big += {static_cast<char>(unit >> 8), static_cast<char>(unit)};
    little += {static_cast<char>(unit), static_cast<char>(unit >> 8)};
  }
  ExpectAll({
      {"\xEF\xBB\xBF" + body, "(s:\u00E9\U0001F600)"},
      {"\xFE\xFF" + big, "s:\u00E9"},
      {"\xFF\xFE" + little, "s:\u00E9"},
      {big, "s:\u00E9"},
      {little, "s:\u00E9"},
      {little + '\0', "nothing"},
      {"<?xml version=\"1.0\" encoding='ISO-8859-1'?><string>\xE9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"no-such\"?><string>a</string>", "nothing"},
  });
}

TEST(PlistXml, WritesDictionariesByKeyWithTabs) {
  const Value list =
      Root("{ b = (x, <00>); a = {}; \"\\Uffee\" = (); \"\\Ud83d\\Ude00\" = \"<&>\\r\"; }");
  EXPECT_EQ(XmlOf(list),
            "<dict>\n"
            "\t<key>a</key>\n\t<dict/>\n"
            "\t<key>b</key>\n\t<array>\n\t\t<string>x</string>\n\t\t<data>\n\t\tAA==\n\t\t</data>\n"
            "\t</array>\n"
            "\t<key>\U0001F600</key>\n\t<string>&lt;&amp;&gt;&#13;</string>\n"
            "\t<key>\uFFEE</key>\n\t<array/>\n"
            "</dict>\n");
}

TEST(PlistOldText, ReadsTheOldForm) {
  ExpectAll({
      {"{ a = b; \"c d\" = ( 1, 'x\"', <0a 0B>, {}, ( ), ); }",
       "{a=s:b c d=(s:1 s:x\" x:0A0B {} ())}"},
      {"// c\n{ /* d */ a/b = http://x.y/z; k; }", "{a/b=s:http://x.y/z k=s:k}"},
      {"\"a\" = \"b\";\nc = (d);\n", "{a=s:b c=(s:d)}"},
      {"\"\\U00e9\\101\\341\\n\\\\\\q\u00FC\"", "s:\u00E9A\u00C6\n\\q\u00FC"},
      {"<0aff>", "x:0AFF"},
      {" /* nothing */ ", "{}"},
  });
  for (const char* none : {"(a, b", "(a b)", "(,)", "{ a = b }", "{ a b; }", "{ a = b; } c",
                           "<0a0>", "\"open", "word", "several words", "a = b"}) {
    EXPECT_EQ(DescribeBytes(none), "nothing") << none;
  }
}

std::string EveryKind() {
  const Value list = Root(
      "<dict><key>a &amp; b</key><dict><key>c</key><array><dict/><array/><dict><key>d</key>"
      "<dict><key>e</key><data>AAECAwQ=</data></dict></dict></array><key>\u00E9</key>"
      "<string>\u4E16&lt;&#0;&#13;\n\tx</string><key></key><string/></dict><key>i</key>"
      "<integer>-5</integer><key>r</key><real>0.1</real><key>s</key><true/><key>t</key><false/>"
      "<key>u</key><date>2001-01-01T00:00:00Z</date></dict>");
  return *WriteXml(list);
}

TEST(PlistXml, WritesItsOwnLayoutBackAsItStands) {
  const std::string xml = EveryKind();
  const Value root = Root(xml);
  EXPECT_EQ(WriteXml(root), xml);
  EXPECT_TRUE(root.deferred());
  Describe(root);  // which makes all entries
  EXPECT_FALSE(root.deferred());
  EXPECT_EQ(WriteXml(root), xml);
}

// Of a file that differs in one byte either nothing is read, or what is written without a look is
// what the objects give.
TEST(PlistXml, KnowsEveryByteOfItsOwnLayout) {
  const std::string xml = EveryKind();
  for (size_t position = 0; position < xml.size(); ++position) {
    for (const char byte : {'<', '\t', '\n', '&', 'a', '/', '\xC3', '\x01', '0', ' '}) {
      std::string changed = xml;
      changed[position] = byte;
      const Value root = Root(changed);
      if (!root) continue;
      const auto written = WriteXml(root);
      Describe(root);
      ASSERT_EQ(WriteXml(root), written) << changed;
    }
    // The last line end may be missing.
    const bool is_whole = position + 1 == xml.size();
    EXPECT_EQ(static_cast<bool>(Root(xml.substr(0, position))), is_whole);
  }
}

TEST(PlistXml, IndentsAnewWhatMovesElsewhere) {
  const Value root = Root(EveryKind());
  const Value list = Value::Array({*root.Find(u"a & b"), root});
  const std::string xml = XmlOf(list);
  Describe(list);  // which makes all entries
  EXPECT_EQ(XmlOf(list), xml);
}

TEST(PlistXml, SaysWhereAListWentWrong) {
  static constexpr std::pair<const char*, const char*> kCases[] = {
      {"<dict>\n\t<key>a</key>\n\t<integer>x</integer>\n</dict>",
       "no value of its element in line 3, column 2"},
      {"<dict>\r\n<key>\u00E9</key> x</dict>", "text between the values in line 2, column 14"},
      {"<array>\n<true/></dict>", "unexpected end tag in line 2, column 8"},
      {"<array>\n<tru/></array>", "unknown element in line 2, column 1"},
      {"<array><true/>\n", "the text ends too early in line 2, column 1"},
      {"<array>\n <a b=c/></array>", "malformed markup in line 2, column 2"},
      {"<string>a\n</key>", "the end tag of the value is missing in line 2, column 1"},
      {"<dict><key>a</key></dict>", "a key without a value in line 1, column 19"},
      {"<plist><true/>", "the end tag of \"plist\" is missing in line 1, column 15"}};
  for (const auto& [xml, error] : kCases) {
    EXPECT_EQ(Read(xml).error, std::string("The XML is no property list: ") + error);
  }
  EXPECT_EQ(Read("{\n a = b }").error,
            "The text is no property list: unexpected in line 2, column 8");
}

// A date that the text of its element does not hold stays to the bit, in our hands and in those of
// a program that passes over attributes.
TEST(PlistXml, KeepsEveryDateToTheBit) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {0.25, -0.0, 631152000.123456, -1e-9, 1e300, -1e300, kInfinity,
                               std::numeric_limits<double>::quiet_NaN()}) {
    const auto xml = WriteXml(Value::Date(seconds));
    const Value read = Root(*xml);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(read.date()), std::bit_cast<std::uint64_t>(seconds));
    EXPECT_EQ(WriteXml(read), xml);
  }
  EXPECT_EQ(XmlOf(Value::Date(0.25)),
            "<date exact=\"3fd0000000000000\">2001-01-01T00:00:00Z</date>\n");
  EXPECT_EQ(XmlOf(Value::Date(1.0)), "<date>2001-01-01T00:00:01Z</date>\n");
  // The text was changed by a program that does not know the attribute.
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd0000000000000\">2001-01-01T00:00:01Z</date>"), "d:1");
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd\">2001-01-01T00:00:00Z</date>"), "d:0");
}

std::string DeepestXml() {
  std::string xml = "<true/>";
  for (int depth = 0; depth < static_cast<int>(kMaximumDepth); ++depth) {
    xml = "<dict><key>k</key>" + xml + "</dict>";
  }
  return xml;
}

TEST(PlistDeferral, IsWrittenAsItsObjectsWouldBe) {
  for (const std::string entries : {
           "<key>a</key><string>b</string><key>c</key><dict/>",
           "<key>b</key><true/><key>a</key><false/>",
           "<key>a</key><integer>1</integer><key>a</key><integer>2</integer>",
           "<key>&amp;</key><string>&#1;&quot;>\r\n&#13;\x01 \uFDD00000 \uFFFE</string>",
           "<key>\U0001F600</key><real>1.50</real><key>\uFFEE</key><integer>0x10</integer>",
           "<key>a</key><array><dict><key>z</key><data> AA == </data><key>y</key><date>"
           "2001-01-01Z</date></dict><array/><string/></array>",
           "<!-- c --><key>a<![CDATA[<]]></key><string> <!-- d -->]]&gt;</string>",
       }) {
    const std::string xml = "<plist><dict><key>k</key><dict>" + entries + "</dict></dict></plist>";
    const Value root = Root(xml), made = Root(xml);
    Describe(made);  // which makes all entries
    ASSERT_TRUE(root.Find(u"k")->deferred()) << xml;
    EXPECT_EQ(XmlOf(root), XmlOf(made)) << xml;
    EXPECT_EQ(root, made);
  }
}

TEST(PlistDeferral, IsNotWrittenTooDeep) {
  const Value root = Root(DeepestXml());
  EXPECT_TRUE(WriteXml(root));
  EXPECT_TRUE(WriteXml(Value::Array({*root.Find(u"k")})));
  EXPECT_FALSE(WriteXml(Value::Array({root})));
}

}  // namespace
}  // namespace orvik::plist
