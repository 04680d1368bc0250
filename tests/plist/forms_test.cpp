#include "plist/events.h"
#include "plist/salvage.h"
#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

using namespace test;

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr int kDepth = static_cast<int>(kMaximumDepth);

// The bytes of units of two or four bytes.
std::string BytesOf(const auto& units, bool is_big) {
  std::string bytes;
  for (const std::uint32_t unit : units) {
    std::string each;
    for (std::size_t i = 0; i < sizeof units[0]; ++i) each += static_cast<char>(unit >> (8 * i));
    if (is_big) std::reverse(each.begin(), each.end());
    bytes += each;
  }
  return bytes;
}

// Texts with and without a mark, in both byte orders. A damaged unit becomes the byte 0xFF.
TEST(PlistForms, ReadTextOfWideUnitsAndSalvageItUnitByUnit) {
  // Longer than the pieces in which it is converted.
  const std::u16string text = u"<string>\u00E9\U0001F600" + std::u16string(20000, u'\u4E16');
  const std::u32string text32 = U"<string>\u00E9\U0001F600" + std::u32string(20000, U'\u4E16');
  const std::string utf8 = Value(text).text().ToUtf8();
  const std::string end = "</string>", described = "s:" + utf8.substr(8);
  for (const bool is_big : {true, false}) {
    for (const bool is_marked : {true, false}) {
      const std::string narrow = BytesOf((is_marked ? u"\uFEFF" : u"") + text, is_big);
      const std::string wide = BytesOf((is_marked ? U"\uFEFF" : U"") + text32, is_big);
      EXPECT_TRUE(DescribeBytes(narrow + BytesOf(u"</string>"sv, is_big)) == described);
      EXPECT_TRUE(DescribeBytes(wide + BytesOf(U"</string>"sv, is_big)) == described);
      EXPECT_FALSE(Root(narrow + BytesOf(u"\xDC00</string>"sv, is_big)));
      EXPECT_FALSE(Root(wide + BytesOf(U"\x110000</string>"sv, is_big)));
      EXPECT_TRUE(SalvagedText(narrow + BytesOf(u"\xDC00\xD800"sv, is_big)) == utf8 + "\xFF\xFF");
      EXPECT_TRUE(SalvagedText(narrow + BytesOf(u"\xD83D"sv, is_big) + 'x') == utf8 + "\xFF\xFF");
      EXPECT_TRUE(SalvagedText(narrow + BytesOf(u"\xD83D\xDE00"sv, is_big)) == utf8 + "\U0001F600");
      EXPECT_TRUE(SalvagedText(wide + BytesOf(U"\x110000\xD800"sv, is_big)) == utf8 + "\xFF\xFF");
      EXPECT_TRUE(SalvagedText(wide + "xxx") == utf8 + "\xFF");
    }
  }
  EXPECT_EQ(SalvagedText("\xEF\xBB\xBFx\xC3"), "x\xC3");
}

TEST(PlistForms, ReadEveryKindOfValueInEveryEncoding) {
  const std::pair<std::string, std::string> kCases[] = {
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
      {"<!-- c --><true/><!-- d -->", "b:1"},
      {"<?xml version='1.0'?>\n<!DOCTYPE plist [<!ENTITY a \"]>\">]>\n<plist><true/></plist>\n",
       "b:1"},
      {"\xEF\xBB\xBF<string>\u00E9\U0001F600</string>", "s:\u00E9\U0001F600"},
      {BytesOf(u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>"sv, false),
       "s:\u00E9"},
      {BytesOf(u"<string/>"sv, false) + '\0', "nothing"},
      {"<?xml version=\"1.0\" encoding='ISO-8859-1'?><string>\xE9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"no-such\"?><string>a</string>", "nothing"},
      {"<?xml version=\"1.0\"?><string>encoding='no-such'</string>", "s:encoding='no-such'"},
      // Bytes that the encoding lacks, and a lone surrogate in an encoding that could carry it.
      {"<?xml version=\"1.0\" encoding=\"US-ASCII\"?><string>\xE9</string>", "nothing"},
      {"<?xml version=\"1.0\" encoding=\"SCSU\"?><string>\x0E\xD8\0</string>"s, "nothing"},
      {"{ a = b; \"c d\" = ( 1, 'x\"', <0a 0B>, {}, ( ), ); }",
       "{a=s:b c d=(s:1 s:x\" x:0A0B {} ())}"},
      {"// c\n{ /* d */ a/b = http://x.y/z; k; }", "{a/b=s:http://x.y/z k=s:k}"},
      {"/*/ {a;} */ /**/ // {b;}\r{c = d;} // e", "{c=s:d}"},
      {"{c = d;} /* no end", "{c=s:d}"},
      {"{\u2028a\u2029=\u2028b;}", "{a=s:b}"},
      {"\"a\" = \"b\";\nc = (d);\n", "{a=s:b c=(s:d)}"},
      {"a; 'b c';", "{a=s:a b c=s:b c}"},
      {"'a\"'", "s:a\""},
      {"\"\\U00e95\\1011\\8\\a\\b\\f\\n\\r\\t\\v\\\\\\q\u00FC\\0\"",
       "s:\u00E95A18\a\b\f\n\r\t\v\\q\u00FC"s + '\0'},
      {"<0aff>", "x:0AFF"},
      {" <>", "x:"},
      {" /* nothing */ ", "{}"}};
  for (const auto& [bytes, list] : kCases) EXPECT_EQ(DescribeBytes(bytes), list) << bytes;
}

TEST(PlistForms, TheOldTextFormTakesEachCharacterAsWhatItIs) {
  for (char c = 1; c < 0x7F; ++c) {
    const std::string text(1, c);
    const bool is_bare = isalnum(c) || strchr("_$/:.-", c), is_digit = isxdigit(c);
    EXPECT_EQ(DescribeBytes("{k = a" + text + ";}") == "{k=s:a" + text + "}", is_bare) << text;
    EXPECT_EQ(DescribeBytes("{k =" + text + "a;}") == "{k=s:a}", isspace(c) != 0) << text;
    EXPECT_EQ(static_cast<bool>(Root("{k = <4" + text + ">;}")), is_digit) << text;
    EXPECT_EQ(Root("'\\U004" + text + "'") == Value(u"\4" + std::u16string(1, c)),
              !is_digit && c != '\'' && c != '\\')
        << text;
  }
  std::string octal;
  for (int c = 0200; c < 0400; ++c)
    octal += "\\" + std::string{"01234567"[c >> 6], "01234567"[c >> 3 & 7], "01234567"[c & 7]};
  // The upper half of the NeXTSTEP character set.
  EXPECT_EQ(
      DescribeBytes("'" + octal + "\\777\\177'"),
      "s:\u00A0ÀÁÂÃÄÅÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖÙÚÛÜÝÞµ×÷©¡¢£⁄¥ƒ§¤’“«‹›ﬁﬂ®–†‡·¦¶•‚„”»…‰¬¿¹ˋ´ˆ˜¯˘˙¨²˚¸³˝˛ˇ"
      "—±¼½¾àáâãäåçèéêëìÆíªîïðñŁØŒºòóôõöæùúûıüýłøœßþÿ\uFFFD\uFFFD\uFFFD\x7F");
}

TEST(PlistForms, RefuseOtherTextsAndSayWhere) {
  static constexpr std::pair<const char*, const char*> kPlaces[] = {
      {"<dict>\n\t<key>a</key>\n\t<integer>x</integer>\n</dict>",
       "not a value of its element in line 3, column 2"},
      {"<dict>\r\n<key>\u00E9</key> x</dict>", "text between the values in line 2, column 14"},
      {"<array>\n<true/></dict>", "unexpected end tag in line 2, column 8"},
      {"<array>\n<tru/></array>", "unknown element in line 2, column 1"},
      {"<array><true/>\n", "the text ends too early in line 2, column 1"},
      {"<array>\n <a b=c/></array>", "malformed markup in line 2, column 2"},
      {"<string>a\n</key>", "the end tag of the value is missing in line 2, column 1"},
      {"<dict><key>a</key></dict>", "a key without a value in line 1, column 19"},
      {"<dict><key>a</key><key>b</key></dict>", "a key without a value in line 1, column 19"},
      {"<dict><true/></dict>", "a value without a key in line 1, column 7"},
      {"<key>a</key>", "a key outside a dictionary in line 1, column 1"},
      {"<array><key>a</key></array>", "a key outside a dictionary in line 1, column 8"},
      {"<!-- c -->x<plist><true/></plist>", "text between the values in line 1, column 11"},
      {"<array><!-- c -->x<true/></array>", "text between the values in line 1, column 18"},
      {"<plist><true/>x</plist>", "the end tag of \"plist\" is missing in line 1, column 16"},
      {"<true/></plist>", "something follows the property list in line 1, column 8"},
      {"<plist><true/>", "the end tag of \"plist\" is missing in line 1, column 15"}};
  for (const auto& [xml, error] : kPlaces) {
    EXPECT_EQ(Read(xml).error, std::string("The XML is not a property list: ") + error);
  }
  EXPECT_EQ(Read("{\n a = b }").error,
            "The text is not a property list: unexpected character in line 2, column 8");
  EXPECT_EQ(Read("{ a = b;\n").error,
            "The text is not a property list: the text ends too early in line 2, column 1");
  for (const std::string& bytes : {"{ a = b;\n \xE9; }"s, "{\n \xEF\xBF\xBD\0}"s}) {
    EXPECT_NE(Read(bytes).error.find(": not UTF-8 text in line 2, column "), bytes.npos) << bytes;
  }
  for (const std::string bytes : {"",
                                  "<",
                                  "<plist/>",
                                  "<plist><true/><true/></plist>",
                                  "<string>a<b/></string>",
                                  "<date>yesterday</date>",
                                  "<string>&nbsp;</string>",
                                  "<string>a & b</string>",
                                  "<string>&#x110000;</string>",
                                  "<string>\xC3</string>",
                                  "(a, b",
                                  "(a b)",
                                  "(,)",
                                  "(a,,b)",
                                  "\"\\",
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
  const Value list = Root(
      "{ \"b\\U4e16\" = (); b = (x, <00>); a = {}; \"\\Uffee\" = (); \"\\Ud83d\\Ude00\" = "
      "\"<&>\\r\"; }");
  EXPECT_TRUE(Contains(
      *WriteXml(list),
      "<plist version=\"1.0\">\n<dict>\n"
      "\t<key>a</key>\n\t<dict/>\n"
      "\t<key>b</key>\n\t<array>\n\t\t<string>x</string>\n\t\t<data>\n\t\tAA==\n\t\t</data>\n"
      "\t</array>\n"
      "\t<key>b\u4E16</key>\n\t<array/>\n"
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

TEST(PlistBuilder, RefusesCallsInAnyOtherOrder) {
  const auto holder = std::make_shared<const std::string>("held");
  const Value text = u"shared";
  ValueBuilder builder;
  EXPECT_FALSE(builder.Close() || builder.Key(u"k") || builder.Add(Value()));
  EXPECT_TRUE(builder.OpenDictionary(7));
  EXPECT_FALSE(builder.Integer(Integer{1}) || builder.OpenArray(1) || builder.SetKey(Value()) ||
               builder.Take());
  EXPECT_TRUE(builder.Key(u"dropped"));
  EXPECT_FALSE(builder.Key(u"k") || builder.Close());
  builder.DropKey();
  EXPECT_TRUE(builder.Key(text.text(), &text) && builder.OpenArray(0));
  EXPECT_FALSE(builder.Key(u"k") || builder.in_dictionary());
  EXPECT_TRUE(builder.String(text.text(), &text) && builder.Data(*holder, holder));
  EXPECT_EQ(builder.depth(), 2u);
  EXPECT_TRUE(builder.Close() && builder.in_dictionary() && builder.Close());
  EXPECT_FALSE(builder.Integer(Integer{1}) || builder.OpenArray(1));
  const Value list = builder.Take();
  EXPECT_EQ(Describe(list), "{shared=(s:shared x:68656C64)}");
  EXPECT_TRUE(list.Find(u"shared")->elements()[0].IsSharedWith(text));
  EXPECT_TRUE(list.entries().begin()->key.IsSharedWith(text));
  EXPECT_EQ(list.Find(u"shared")->elements()[1].data(), holder);
}

// Lengths of all sizes, in the fewest bytes.
TEST(PlistBinary, WritesLengthsAndReferencesInTheFewestBytes) {
  for (const auto& [length, digits] :
       {std::pair(0u, 0u), {14, 0}, {15, 2}, {255, 2}, {256, 3}, {65535, 3}, {65536, 5}}) {
    const Value data = Value::Data(std::string(length, 'x'));
    const std::string bytes = *WriteBinary(data);
    EXPECT_EQ(Root(bytes), data);
    const std::size_t table = 8 + 1 + digits + length;
    EXPECT_EQ(bytes.size(), table + (table < 0x100 ? 1 : table < 0x10000 ? 2 : 4) + 32);
    for (const Value& value :
         {Value(std::u16string(length, u'a')), Value(std::u16string(length, u'\u4E16')),
          Value::Array(std::vector<Value>(length, true))}) {
      EXPECT_EQ(Root(*WriteBinary(value)), value);
    }
  }
}

TEST(PlistBinary, WritesUniqueIdentifiersAsSuch) {
  static constexpr std::pair<const char*, bool> kCases[] = {
      {"<dict><key>CF$UID</key><integer>4294967295</integer></dict>", true},
      {"<dict><key>CF$UID</key><integer>4294967296</integer></dict>", false},
      {"<dict><key>CF$UID</key><integer>-1</integer></dict>", false},
      {"<dict><key>CF$UID</key><string>7</string></dict>", false},
      {"<dict><key>CF$UIE</key><integer>7</integer></dict>", false},
      {"<dict><key>CF$UID</key><integer>7</integer><key>x</key><integer>7</integer></dict>", false},
      {"<array><integer>7</integer></array>", false},
      {"<array><integer>7</integer><dict><key>CF$UID</key><true/></dict></array>", false}};
  for (const auto& [xml, is_identifier] : kCases) {
    const std::string bytes = *WriteBinary(Root(xml));
    EXPECT_EQ(Root(bytes), Root(xml));
    EXPECT_EQ(Contains(bytes, "\x83\xFF\xFF\xFF\xFF").operator bool(), is_identifier) << xml;
  }
}

TEST(PlistBinary, WritesEqualStringsOnce) {
  // More strings than are searched without a table, several of the same length.
  std::string list;
  for (int i = 0; i < 30; ++i)
    list += "once" + std::to_string(i) + ", o" + std::to_string(i) + ", ";
  const std::string bytes = *WriteBinary(Root("(" + list + list + ")"));
  EXPECT_EQ(Root(bytes), Root("(" + list + list + ")"));
  for (const char* text : {"once0", "once29", "o15"}) {
    EXPECT_EQ(bytes.find(text), bytes.rfind(text));
  }
}

// A file with one changed byte is either refused, or the writer that copies unread parts gives the
// same bytes as the writer of their objects. The fuzz target property_list_xml covers other
// layouts.
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
      Describe(other);  // makes all entries
      ASSERT_EQ(WriteXml(other), written) << changed;
    }
    // The last line end may be missing.
    const bool is_whole = position + 1 == xml.size();
    EXPECT_EQ(static_cast<bool>(Root(xml.substr(0, position))), is_whole);
  }
}

TEST(PlistDeferral, IsNotWrittenTooDeep) {
  const Value root =
      Root(Repeated("<dict><key>k</key>", kDepth) + "<true/>" + Repeated("</dict>", kDepth));
  EXPECT_TRUE(WriteXml(root));
  EXPECT_TRUE(WriteXml(Value::Array({*root.Find(u"k")})));
  EXPECT_FALSE(WriteXml(Value::Array({root})));
  EXPECT_EQ(FindFault(Value::Array({*root.Find(u"k")})), std::nullopt);
  EXPECT_TRUE(FindFault(Value::Array({root})));
  ValueBuilder builder;
  ValueWalk walk(EntryOrder::kStored, builder);
  const Value deeper = Value::Array({root});
  EXPECT_FALSE(walk.Run(&deeper));
}

// Python reads the lists that are written here, and its own lists are read and written back.
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
};

TEST_F(PlistExchange, EveryValueOfPythonIsKeptInBothForms) {
  const Value list = Root(FromPython("FMT_XML"));
  ASSERT_TRUE(list);
  EXPECT_EQ(Root(FromPython("FMT_BINARY")), list);
  for (const std::string& bytes : {*WriteXml(list), *WriteBinary(list)}) {
    const CommandResult result = Python(
        "read = plistlib.loads(sys.stdin.buffer.read())\n"
        "assert len(read) == len(values)\n"
        "for k in values:\n  assert repr(read[k]) == repr(values[k]), (k, read[k])",
        bytes);
    EXPECT_EQ(result.status, 0) << result.err;
  }
}

TEST_F(PlistExchange, PythonsXmlIsWrittenBackByteForByte) {
  const CommandResult python = Python(
      "del values['reals'], values['text'], values['\\U0001F600'], values['\\uffee']\n"
      "sys.stdout.buffer.write(plistlib.dumps(values))");
  ASSERT_EQ(python.status, 0) << python.err;
  EXPECT_EQ(*WriteXml(Root(python.out)), python.out);
}

// Python's and plistutil's XML readers ignore the exact bits of a date. plistutil accepts no
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
