#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

using namespace test;

constexpr int kDepth = static_cast<int>(kMaximumDepth);

std::string BytesOf(std::u16string_view units, bool is_big) {
  std::string bytes;
  for (const char16_t unit : units) {
    const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit);
    bytes += is_big ? std::string{high, low} : std::string{low, high};
  }
  return bytes;
}

TEST(PlistForms, ReadEveryKindOfValueInEveryEncoding) {
  const std::u16string_view wide =
      u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>";
  const std::string big = BytesOf(wide, true), little = BytesOf(wide, false);
  const std::pair<std::string, const char*> kCases[] = {
      {"<plist version=\"1.0\"><string>a &lt;&gt;&amp;&quot;&apos; &#65;&#x42;</string></plist>",
       "s:a <>&\"' AB"},
      {"<string/>", "s:"},
      {"<string> </string>", "s: "},
      {"<string>a\r\nb\rc&#13;</string>", "s:a\nb\nc\r"},
      {"<integer> -0x10 </integer>", "i:-16"},
      {"<real>Infinity</real>", "r:+infinity"},
      {"<false></false>", "b:0"},
      {"<data>\n\tCv8=\n</data>", "x:0AFF"},
      {"<data/>", "x:"},
      {"<array><array/><dict/><string>x</string></array>", "(() {} s:x)"},
      {"<dict><key>b</key><true/><key></key><dict><key>a</key><array/></dict></dict>",
       "{={a=()} b=b:1}"},
      {"<dict><key>a</key><true/><key>b</key><true/><key>a</key><false/></dict>", "{a=b:0 b=b:1}"},
      {"<dict><key>CF$UID</key><integer>7</integer></dict>", "{CF$UID=i:7}"},
      {"<!-- a --><plist><!-- b --><string> <![CDATA[<&amp;>]]> &amp;<!-- c --> </string></plist>",
       "s: <&amp;> & "},
      {"<dict><?pi?><key>a<!-- ! -->b</key><!-- - --><integer>1<!-- x -->2</integer></dict>",
       "{ab=i:12}"},
      {"<array><![CDATA[ ]]><string>?!</string></array>", "(s:?!)"},
      {"<?xml version='1.0'?>\n<!DOCTYPE plist [<!ENTITY a \"]>\">]>\n<plist><true/></plist>\n",
       "b:1"},
      {"\xEF\xBB\xBF<string>\u00E9\U0001F600</string>", "s:\u00E9\U0001F600"},
      {"\xFE\xFF" + big, "s:\u00E9"},
      {"\xFF\xFE" + little, "s:\u00E9"},
      {big, "s:\u00E9"},
      {little, "s:\u00E9"},
      {little + '\0', "nothing"},
      {"<?xml version=\"1.0\" encoding='ISO-8859-1'?><string>\xE9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"no-such\"?><string>a</string>", "nothing"},
      {"{ a = b; \"c d\" = ( 1, 'x\"', <0a 0B>, {}, ( ), ); }",
       "{a=s:b c d=(s:1 s:x\" x:0A0B {} ())}"},
      {"// c\n{ /* d */ a/b = http://x.y/z; k; }", "{a/b=s:http://x.y/z k=s:k}"},
      {"\"a\" = \"b\";\nc = (d);\n", "{a=s:b c=(s:d)}"},
      {"\"\\U00e9\\101\\341\\n\\\\\\q\u00FC\"", "s:\u00E9A\u00C6\n\\q\u00FC"},
      {"<0aff>", "x:0AFF"},
      {" /* nothing */ ", "{}"}};
  for (const auto& [bytes, list] : kCases) EXPECT_EQ(DescribeBytes(bytes), list) << bytes;
}

TEST(PlistForms, RefuseWhatIsNoPropertyListAndSayWhere) {
  static constexpr std::pair<const char*, const char*> kPlaces[] = {
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
  for (const auto& [xml, error] : kPlaces) {
    EXPECT_EQ(Read(xml).error, std::string("The XML is no property list: ") + error);
  }
  EXPECT_EQ(Read("{\n a = b }").error,
            "The text is no property list: unexpected in line 2, column 8");
  for (const std::string bytes : {"",
                                  "<",
                                  "<plist/>",
                                  "<plist><true/><true/></plist>",
                                  "<plist><true/></plist>x",
                                  "<plist>x<true/></plist>",
                                  "<dict><true/></dict>",
                                  "<dict><key>a</key><key>b</key></dict>",
                                  "<dict>a<key>a</key><true/></dict>",
                                  "<array><key>a</key></array>",
                                  "<string>a<b/></string>",
                                  "<integer/>",
                                  "<date>yesterday</date>",
                                  "<string>&nbsp;</string>",
                                  "<string>a & b</string>",
                                  "<string>&#x110000;</string>",
                                  "<string>\xC3</string>",
                                  "(a, b",
                                  "(a b)",
                                  "(,)",
                                  "{ a b; }",
                                  "{ a = b; } c",
                                  "<0a0>",
                                  "\"open",
                                  "word",
                                  "a = b"}) {
    const Reading reading = Read(bytes);
    EXPECT_TRUE(!reading.root && !reading.error.empty()) << bytes;
  }
  EXPECT_FALSE(Root(std::string("<string>a\0b</string>", 20)));
  EXPECT_FALSE(Root("<!DOCTYPE plist [<!ENTITY a \"x\"><!ENTITY b \"&a;\">]><string>&b;</string>"));
}

TEST(PlistXml, WritesDictionariesByKeyWithTabs) {
  const Value list =
      Root("{ b = (x, <00>); a = {}; \"\\Uffee\" = (); \"\\Ud83d\\Ude00\" = \"<&>\\r\"; }");
  EXPECT_TRUE(Contains(
      *WriteXml(list),
      "<plist version=\"1.0\">\n<dict>\n"
      "\t<key>a</key>\n\t<dict/>\n"
      "\t<key>b</key>\n\t<array>\n\t\t<string>x</string>\n\t\t<data>\n\t\tAA==\n\t\t</data>\n"
      "\t</array>\n"
      "\t<key>\U0001F600</key>\n\t<string>&lt;&amp;&gt;&#13;</string>\n"
      "\t<key>\uFFEE</key>\n\t<array/>\n"
      "</dict>\n</plist>\n"));
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

TEST(PlistBinary, WritesEqualStringsOnce) {
  const std::string bytes = *WriteBinary(
      Root("<array><string>x</string><string>once</string><string>once</string></array>"));
  EXPECT_NE(bytes.find("once"), std::string::npos);
  EXPECT_EQ(bytes.find("once"), bytes.rfind("once"));
}

// A file with one changed byte is refused, or the writer that copies unread parts writes the same
// bytes as the writer of their objects.
TEST(PlistDeferral, KnowsEveryByteOfItsOwnLayout) {
  const std::string xml = EveryKind();
  const Value root = Root(xml);
  EXPECT_EQ(WriteXml(root), xml);
  EXPECT_TRUE(root.deferred());
  for (size_t position = 0; position < xml.size(); ++position) {
    for (const char byte : {'<', '\t', '\n', '&', 'a', '/', '\xC3', '\x01', '0', ' '}) {
      std::string changed = xml;
      changed[position] = byte;
      const Value other = Root(changed);
      if (!other) continue;
      const auto written = WriteXml(other);
      Describe(other);  // which makes all entries
      ASSERT_EQ(WriteXml(other), written) << changed;
    }
    // The last line end may be missing.
    const bool is_whole = position + 1 == xml.size();
    EXPECT_EQ(static_cast<bool>(Root(xml.substr(0, position))), is_whole);
  }
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
    Describe(made);
    const Value moved = Value::Array({*root.Find(u"k"), root});  // indented anew
    ASSERT_TRUE(root.Find(u"k")->deferred()) << xml;
    EXPECT_EQ(WriteXml(root), WriteXml(made)) << xml;
    EXPECT_EQ(WriteXml(moved), WriteXml(Value::Array({*made.Find(u"k"), made}))) << xml;
    EXPECT_EQ(root, made);
  }
}

TEST(PlistDeferral, IsNotWrittenTooDeep) {
  const Value root =
      Root(Repeated("<dict><key>k</key>", kDepth) + "<true/>" + Repeated("</dict>", kDepth));
  EXPECT_TRUE(WriteXml(root));
  EXPECT_TRUE(WriteXml(Value::Array({*root.Find(u"k")})));
  EXPECT_FALSE(WriteXml(Value::Array({root})));
}

// Other programs read the lists that are written here; lists of theirs are read and written back.
constexpr const char* kValues = R"(
import datetime, plistlib, sys
values = {
  'text': 'a & b <c> "d" \n\t\u00e9\u4e16\U0001F600', 'empty': '', 'latin': '\u00ff',
  'integers': [0, 1, -1, 255, 256, 65536, 2**31, 2**32, 2**63 - 1, -2**63, 2**63, 2**64 - 1],
  'reals': [0.0, 0.1, -1.5, 1e300, 5e-324, float('inf'), 3.0], 'yes': True, 'no': False,
  'dates': [datetime.datetime(2001, 1, 1), datetime.datetime(1969, 7, 20, 20, 17, 40),
            datetime.datetime(2100, 2, 28, 23, 59, 59), datetime.datetime(1583, 1, 1)],
  'data': [b'', b'\x00', bytes(range(256))], 'nested': {'a': {'b': [[], {}, [1, [2]]]}},
  '': 'key', '\U0001F600': 1, '\uffee': 2, 'many': ['x%d' % i for i in range(300)]}
)";

CommandResult Python(const std::string& code, const std::string& input = {}) {
  return RunCommand({"python3", "-c", kValues + code}, input);
}

class PlistExchange : public EnvironmentTest {
 protected:
  static std::string FromPython(const std::string& format) {
    const CommandResult result =
        Python("sys.stdout.buffer.write(plistlib.dumps(values, fmt=plistlib." + format + "))");
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  static void ExpectPythonReads(const std::string& bytes) {
    const CommandResult result = Python(
        "read = plistlib.loads(sys.stdin.buffer.read())\n"
        "assert len(read) == len(values)\n"
        "for k in values:\n  assert repr(read[k]) == repr(values[k]), (k, read[k])",
        bytes);
    EXPECT_EQ(result.status, 0) << result.err;
  }
};

TEST_F(PlistExchange, EveryValueOfPythonIsKeptInBothForms) {
  const Value from_xml = Root(FromPython("FMT_XML"));
  const Value from_binary = Root(FromPython("FMT_BINARY"));
  EXPECT_EQ(from_xml, from_binary);
  for (const Value& list : {from_xml, from_binary}) {
    ASSERT_TRUE(list);
    ExpectPythonReads(*WriteXml(list));
    ExpectPythonReads(*WriteBinary(list));
  }
}

TEST_F(PlistExchange, PythonsXmlIsWrittenBackByteForByte) {
  const CommandResult python = Python(
      "del values['reals'], values['text'], values['\\U0001F600'], values['\\uffee']\n"
      "sys.stdout.buffer.write(plistlib.dumps(values))");
  ASSERT_EQ(python.status, 0) << python.err;
  EXPECT_EQ(*WriteXml(Root(python.out)), python.out);
}

// Python's XML reader and plistutil's pass over the exact bits of a date; plistutil's takes no
// infinity, and its binary reader cuts fractions off.
TEST_F(PlistExchange, OthersReadBothForms) {
  const fs::path in = env_.temp() / "in.plist", out = env_.temp() / "out.plist";
  const CommandResult written = Python(
      "values['reals'].remove(float('inf'))\nsys.stdout.buffer.write(plistlib.dumps(values))");
  const Value list = Root(written.out);
  ASSERT_TRUE(list);
  const std::string date = *WriteXml(Value::Date(0.25));
  const CommandResult python = Python("print(plistlib.loads(sys.stdin.buffer.read()))", date);
  EXPECT_EQ(python.out, "2001-01-01 00:00:00\n") << python.err;
  for (const auto& [bytes, expected] :
       {std::pair(*WriteXml(list), list), {*WriteBinary(list), list}, {date, Value::Date(0)}}) {
    WriteFile(in, bytes);
    const CommandResult result = RunCommand({"plistutil", "-i", in, "-o", out});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Root(ReadFile(out)), expected);
  }
}

}  // namespace
}  // namespace orvik::plist
