#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

using namespace test;

TEST(PlistLeaves, NumbersOfEveryShapeAreReadOrRefused) {
  EXPECT_EQ(ParseInteger("+0XfF")->bits, 255u);
  EXPECT_EQ(ParseInteger("-9223372036854775808")->bits, std::uint64_t{1} << 63);
  for (const char* text :
       {"", "-", "+-1", "1 2", "0x", "18446744073709551616", "-9223372036854775809", "1e3"}) {
    EXPECT_FALSE(ParseInteger(text)) << text;
  }
  EXPECT_EQ(*ParseReal("1e999"), INFINITY);
  EXPECT_EQ(*ParseReal("-1e-999"), 0);
  for (const char* text : {"", ".", "e5", "--1", "1 0", "0x1p3", "1,5", "infinit"}) {
    EXPECT_FALSE(ParseReal(text)) << text;
  }
  EXPECT_EQ(Describe(0.1), "r:0.1");
}

TEST(PlistLeaves, DatesAreOfTheGregorianCalendar) {
  const auto date = [](double seconds) {
    std::string text;
    AppendDate(text, seconds);
    AppendExactDate(text, seconds);
    return text;
  };
  const std::pair<const char*, double> kCases[] = {
      {"2001-01-01T00:00:00Z", 0},          {"2100-12-31T00:00:00Z", 3155587200},
      {"2000-12-31T23:59:59Z", -1},         {"1900-03-01T00:00:00Z", -3182198400},
      {"2000-02-29T12:00:00Z", -26481600},  {"0001-01-01T00:00:00Z", -63113904000},
      {"1970-01-01T00:00:00Z", -978307200}, {"12345-06-07T00:00:00Z", 326438640000}};
  for (const auto& [text, seconds] : kCases) {
    EXPECT_EQ(ParseDate(text), seconds) << text;
    EXPECT_EQ(date(seconds), text);
  }
  EXPECT_EQ(ParseDate(date(-1e12)), -1e12);
  EXPECT_EQ(ParseDate("2001-01-02Z"), 86400);
  for (const char* text :
       {"", "2001-01-01T00:00:00", "2001-02-29T00:00:00Z", "2001-13-01Z", "01-01-01Z", "2001-1-01Z",
        "2001-01-01T24:00:00Z", "99999999999-01-01Z", "2001-01-01T00:00:00.5Z"}) {
    EXPECT_FALSE(ParseDate(text)) << text;
  }
  EXPECT_TRUE(date(NAN).starts_with("2001-01-01T00:00:00Z exact="));
  EXPECT_TRUE(date(INFINITY).starts_with("9999-12-31T23:59:59Z exact="));
  EXPECT_TRUE(date(-1e300).starts_with("0001-01-01T00:00:00Z exact="));
  EXPECT_TRUE(Contains(*WriteXml(Value::Date(-0.75)),
                       "<date exact=\"bfe8000000000000\">2000-12-31T23:59:59Z</date>\n"));
  // The text was changed by a program that does not know the attribute.
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd0000000000000\">2001-01-01T00:00:01Z</date>"), "d:1");
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd\">2001-01-01T00:00:00Z</date>"), "d:0");
}

TEST(PlistLeaves, DataIsBrokenIntoLines) {
  std::string xml;
  AppendData(xml, std::string(60, '\0'), 1);
  EXPECT_EQ(xml, "\t" + std::string(68, 'A') + "\n\t" + std::string(12, 'A') + "\n");
  AppendData(xml = "", "1234567890123", 20);
  EXPECT_EQ(ParseData(xml), "1234567890123");
  EXPECT_EQ(xml.find('\n'), 20u + 16u);
  EXPECT_EQ(ParseData("Q-Q=="), "A");
  EXPECT_FALSE(ParseData("QUJDR"));
}

std::string Escaped(std::u16string_view text) {
  std::string xml;
  AppendEscapedText(xml, text);
  return xml;
}

std::u16string Unescaped(std::u16string text) {
  UnescapeText(text);
  return text;
}

std::u16string UnitsOf(const std::string& utf8) {
  return Value::FromUtf8(utf8)->text().ToUnits();
}

TEST(PlistEscape, NamesUnitsThatXmlCannotCarry) {
  EXPECT_EQ(Escaped(std::u16string_view(u"a\0b\t\n\r\x1F\x7F", 8)),
            "a\uFDD00000b\t\n&#13;\uFDD0001F\x7F");
  EXPECT_EQ(Escaped(std::u16string{0xD83D, 0xDE00, 0xDE00, 0xD83D, u'x'}),
            "\U0001F600\uFDD0DE00\uFDD0D83Dx");
  EXPECT_EQ(Escaped(std::u16string{0xFFFD, 0xFFFE, 0xFFFF}), "\uFFFD\uFDD0FFFE\uFDD0FFFF");
}

// Every text of up to six of these pieces, in memory and as another program may have written it.
TEST(PlistEscape, ComesBackAndLeavesForeignTextAlone) {
  const std::u16string pieces[] = {{0},      {0xD800}, {0xFFFE},
                                   {0xFDD0}, u"0000",  u"FDD0",
                                   u"0041",  u"z",     std::u16string{0xFDD0} + u"001F"};
  for (size_t number = 0; number < 9 * 9 * 9 * 9 * 9; ++number) {
    std::u16string text;
    bool xml_can_carry = true;
    for (size_t rest = number; rest > 0; rest /= 9) {
      text += pieces[rest % 9];
      xml_can_carry = xml_can_carry && rest % 9 > 2;
    }
    ASSERT_EQ(Unescaped(UnitsOf(Escaped(text))), text);
    ASSERT_EQ(Unescaped(UnitsOf(EscapedSurrogates(text))), text);
    if (xml_can_carry) {
      ASSERT_EQ(UnitsOf(Escaped(Unescaped(text))), text);
    }
  }
}

// Keys and values of every 16-bit unit, alone and between others: a strict parser takes the file,
// and all of it comes back.
TEST(PlistEscape, NeverLeavesAFileThatAStrictParserRejects) {
  Value dictionary = Value::Dictionary();
  for (char32_t unit = 0; unit < 0x10000; unit += unit < 0x100 || unit > 0xFDC0 ? 1 : 0x3F) {
    const std::u16string text = {u'a', static_cast<char16_t>(unit), u'0'};
    dictionary.Set(text, text.substr(1, 1));
  }
  const std::optional<std::string> xml = WriteXml(dictionary);
  ASSERT_TRUE(xml);
  EXPECT_EQ(Root(*xml), dictionary);
  EXPECT_EQ(RunCommand({"xmllint", "--noout", "--nonet", "-"}, *xml).status, 0);
}

}  // namespace
}  // namespace orvik::plist
