#include "platform/core_foundation/property_list_leaves.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace orvik {
namespace {

std::string Real(double value) {
  std::string text;
  AppendPropertyListReal(text, value);
  return text;
}

std::string Date(double seconds) {
  std::string text;
  AppendPropertyListDate(text, seconds);
  return text;
}

TEST(PropertyListLeaves, IntegersKeepTheWholeRange) {
  for (const char* text : {"0", "-1", "9223372036854775807", "-9223372036854775808",
                           "9223372036854775808", "18446744073709551615"}) {
    const auto value = ParsePropertyListInteger(text);
    ASSERT_TRUE(value) << text;
    std::string written;
    AppendPropertyListInteger(written, *value);
    EXPECT_EQ(written, text);
  }
  EXPECT_EQ(ParsePropertyListInteger("+0XfF")->bits, 255u);
  for (const char* text :
       {"", "-", "+-1", "1 2", "0x", "18446744073709551616", "-9223372036854775809", "1e3"}) {
    EXPECT_FALSE(ParsePropertyListInteger(text)) << text;
  }
}

TEST(PropertyListLeaves, RealsComeBackBitForBit) {
  for (const double value : {0.0, -0.0, 0.1, 1.0 / 3, 1e300, 5e-324, -123456.789, 1e22,
                             std::numeric_limits<double>::max()}) {
    const auto read = ParsePropertyListReal(Real(value));
    ASSERT_TRUE(read);
    EXPECT_EQ(std::signbit(*read), std::signbit(value));
    EXPECT_EQ(*read, value);
  }
  EXPECT_EQ(Real(0.1), "0.1");
  EXPECT_TRUE(std::isnan(*ParsePropertyListReal(Real(std::nan("")))));
  EXPECT_EQ(*ParsePropertyListReal(Real(-INFINITY)), -INFINITY);
  EXPECT_EQ(*ParsePropertyListReal("1e999"), INFINITY);
  EXPECT_EQ(*ParsePropertyListReal("-1e-999"), 0);
  for (const char* text : {"", ".", "e5", "--1", "1 0", "0x1p3", "1,5", "infinit"}) {
    EXPECT_FALSE(ParsePropertyListReal(text)) << text;
  }
}

TEST(PropertyListLeaves, DatesAreOfTheGregorianCalendar) {
  struct {
    const char* text;
    double seconds;
  } const cases[] = {
      {"2001-01-01T00:00:00Z", 0},
      {"2000-12-31T23:59:59Z", -1},
      {"1970-01-01T00:00:00Z", -978307200},
      {"2000-02-29T12:00:00Z", -26481600},
      {"1900-03-01T00:00:00Z", -3182198400},
      {"2100-12-31T00:00:00Z", 3155587200},
      {"0001-01-01T00:00:00Z", -63113904000},
      {"12345-06-07T00:00:00Z", 326438640000},
  };
  for (const auto& c : cases) {
    const auto seconds = ParsePropertyListDate(c.text);
    ASSERT_TRUE(seconds) << c.text;
    EXPECT_EQ(*seconds, c.seconds) << c.text;
    EXPECT_EQ(Date(c.seconds), c.text);
  }
  EXPECT_EQ(Date(-0.5), "2000-12-31T23:59:59Z");
  EXPECT_EQ(*ParsePropertyListDate(Date(-1e12)), -1e12);
  EXPECT_EQ(*ParsePropertyListDate("2001-01-02Z"), 86400);
  for (const char* text :
       {"", "2001-01-01T00:00:00", "2001-02-29T00:00:00Z", "2001-13-01Z", "01-01-01Z", "2001-1-01Z",
        "2001-01-01T24:00:00Z", "99999999999-01-01Z", "2001-01-01T00:00:00.5Z"}) {
    EXPECT_FALSE(ParsePropertyListDate(text)) << text;
  }
  EXPECT_EQ(Date(std::nan("")), "2001-01-01T00:00:00Z");
  EXPECT_EQ(Date(INFINITY), "9999-12-31T23:59:59Z");
  EXPECT_EQ(Date(-1e300), "0001-01-01T00:00:00Z");
}

TEST(PropertyListLeaves, DataIsBrokenIntoLines) {
  std::string bytes;
  for (int i = 0; i < 200; ++i) {
    std::string xml;
    AppendPropertyListData(xml, bytes, i % 12);
    const auto read = ParsePropertyListData(xml);
    ASSERT_TRUE(read);
    ASSERT_EQ(*read, bytes);
    bytes += static_cast<char>(i * 37);
  }
  std::string xml;
  AppendPropertyListData(xml, std::string(60, '\0'), 1);
  EXPECT_EQ(xml, "\t" + std::string(68, 'A') + "\n\t" + std::string(12, 'A') + "\n");
  EXPECT_EQ(*ParsePropertyListData("Q-Q=="), "A");
  EXPECT_FALSE(ParsePropertyListData("QUJDR"));
}

}  // namespace
}  // namespace orvik
