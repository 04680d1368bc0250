#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

using namespace test;

TEST(PlistLeaves, NumbersOfEveryShapeAreReadOrRefused) {
  EXPECT_EQ(ParseInteger("+0XfF")->bits, 255u);
  EXPECT_EQ(ParseInteger("-9223372036854775808")->bits, std::uint64_t{1} << 63);
  EXPECT_EQ(*ParseInteger("0x8000000000000000"), (Integer{std::uint64_t{1} << 63, true}));
  for (const char* text :
       {"", "-", "+-1", "1 2", "0x", "18446744073709551616", "-9223372036854775809", "1e3"}) {
    EXPECT_FALSE(ParseInteger(text)) << text;
  }
  const std::string zeroes(400, '0');
  const std::pair<std::string, const char*> kReals[] = {{"001e999", "+infinity"},
                                                        {"-1e-999", "-0"},
                                                        {"0." + zeroes + "1", "0"},
                                                        {"." + zeroes + "1", "0"},
                                                        {"9" + zeroes, "+infinity"},
                                                        {"-INF", "-infinity"},
                                                        {" +Infinity\t", "+infinity"},
                                                        {"NAN", "nan"},
                                                        {"0.10", "0.1"}};
  for (const auto& [text, written] : kReals) {
    EXPECT_EQ(Describe(*ParseReal(text)), std::string("r:") + written) << text;
  }
  for (const char* text : {"", "-", ".", "e5", "--1", "1 0", "0x1p3", "1,5", "infinit", "nan(1)"}) {
    EXPECT_FALSE(ParseReal(text)) << text;
  }
}

TEST(PlistLeaves, DatesAreOfTheGregorianCalendar) {
  const auto date = [](double seconds) {
    std::string text;
    AppendDate(text, seconds);
    AppendExactDate(text, seconds);
    return text;
  };
  // Compares with the C library, from the year -565 to 12427.
  for (std::time_t time = -80'000'000'000; time < 330'000'000'000; time += 86'399'999) {
    std::tm utc = {};
    gmtime_r(&time, &utc);
    const int year = 1900 + utc.tm_year;
    char text[100];
    std::snprintf(text, sizeof text, "%s%04d-%02d-%02dT%02d:%02d:%02dZ", year < 0 ? "-" : "",
                  std::abs(year), utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    const auto seconds = static_cast<double>(time - 978307200);
    ASSERT_EQ(ParseDate(text), seconds) << text;
    ASSERT_EQ(date(seconds), text);
  }
  EXPECT_EQ(date(3155632020259200), "99999998-12-01T00:00:00Z");
  EXPECT_EQ(ParseDate(date(-1e12)), -1e12);
  EXPECT_EQ(ParseDate("2001-01-02Z"), 86400);
  EXPECT_EQ(ParseDate("2001Z"), 0);
  EXPECT_EQ(ParseDate("2000-12-31T23:59:60Z"), 0);
  for (const char* text :
       {"", "2001-01-01T00:00:00", "2001-02-29T00:00:00Z", "2001-13-01Z", "2001-00-01Z",
        "2001-01-00Z", "2001-01-32Z", "01-01-01Z", "2001-1-01Z", "2001-1Z", "2001-0:-01Z",
        "2001-0/-01Z", "2001-01-01T24:00:00Z", "2001-01-01T00:60Z", "2001-01-01T00:00:61Z",
        "--2001-01-01Z", "100000000-01-01Z", "99999999999-01-01Z", "2001-01-01T00:00:00.5Z"}) {
    EXPECT_FALSE(ParseDate(text)) << text;
  }
  // The last second before the year 99999999, computed with the mean length of years.
  constexpr double kFarthest = 31556952.0 * (99999999 - 2001);
  EXPECT_EQ(ParseDate(date(kFarthest - 1)), kFarthest - 1);
  const std::pair<double, const char*> kApart[] = {{NAN, "2001-01-01T00:00:00Z exact="},
                                                   {-0.0, "2001-01-01T00:00:00Z exact="},
                                                   {INFINITY, "9999-12-31T23:59:59Z exact="},
                                                   {kFarthest, "9999-12-31T23:59:59Z exact="},
                                                   {-1e300, "0001-01-01T00:00:00Z exact="}};
  for (const auto& [seconds, text] : kApart) EXPECT_TRUE(date(seconds).starts_with(text)) << text;
  EXPECT_TRUE(Contains(*WriteXml(Value::Date(-0.75)),
                       "<date exact=\"bfe8000000000000\">2000-12-31T23:59:59Z</date>\n"));
  // A program that does not know the attribute has changed the text.
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd0000000000000\">2001-01-01T00:00:01Z</date>"), "d:1");
  for (const std::string exact : {"3fd", "3fd000000000000g", "3fd00000000000000"}) {
    EXPECT_EQ(DescribeBytes("<date exact=\"" + exact + "\">2001-01-01T00:00:00Z</date>"), "d:0");
  }
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

// Follows the production of the characters of XML 1.0. Both forms of a text are written alike.
TEST(PlistEscape, NamesUnitsThatXmlCannotCarry) {
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const std::u16string text = {u'a', static_cast<char16_t>(unit), u'b'};
    const bool is_carried = unit == 9 || unit == 10 || unit == 13 ||
                            (unit >= 0x20 && unit <= 0xD7FF) || (unit >= 0xE000 && unit <= 0xFFFD);
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04X", unit);
    const std::string escape = "\uFDD0" + std::string(digits);
    const std::string written = unit == 13    ? "&#13;"
                                : unit == '<' ? "&lt;"
                                : unit == '>' ? "&gt;"
                                : unit == '&' ? "&amp;"
                                : is_carried  ? Value(text.substr(1, 1)).text().ToUtf8()
                                              : escape;
    ASSERT_EQ(Escaped(text), "a" + written + "b");
    ASSERT_EQ(Unescaped(UnitsOf("a" + escape + "b")) == text, !is_carried) << escape;
    std::string bytes = {'a', static_cast<char>(unit), 'b'}, xml;
    if (unit < 0x100)
      AppendEscapedText(xml, unit < 0x80 ? Text::Ascii(bytes) : Text::Latin1(bytes));
    ASSERT_EQ(xml, unit < 0x100 ? "a" + written + "b" : "");
  }
  EXPECT_EQ(Escaped(std::u16string{0xD83D, 0xDE00, 0xDE00, 0xD83D, u'x'}),
            "\U0001F600\uFDD0DE00\uFDD0D83Dx");
  EXPECT_EQ(EscapedSurrogates(Text::Latin1("\xE9\x01")), "\u00E9\x01");
  for (const char* foreign :
       {"\uFDD0000G", "\uFDD0000:", "\uFDD0000@", "\uFDD0000/", "\uFDD0001f"}) {
    EXPECT_EQ(Unescaped(UnitsOf(foreign)), UnitsOf(foreign));
  }
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

}  // namespace
}  // namespace orvik::plist
