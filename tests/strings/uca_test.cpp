#include "strings/uca.h"

#include <stdlib.h>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using View = std::u16string_view;

TEST(Uca, CopiesAndAppends) {
  EXPECT_EQ(ucalen(u""), 0);
  EXPECT_EQ(ucalen(nullptr), 0);
  EXPECT_EQ(ucalen(u"a\xD83D\xDE00"), 3);
  char16_t buffer[8];
  std::fill_n(buffer, 8, u'X');
  ucancpy(buffer, u"abc", 5);
  EXPECT_EQ(View(buffer, 6), View(u"abc\0\0X", 6));
  std::fill_n(buffer, 8, u'X');
  ucancpy(buffer, u"abc", 2);
  EXPECT_EQ(View(buffer, 3), u"abX");
  ucancpy(buffer, u"abc", 0);
  ucancpy(buffer, u"abc", -1);
  EXPECT_EQ(View(buffer, 3), u"abX");
  EXPECT_EQ(View(ucacpy(buffer, u"ab")), u"ab");
  EXPECT_EQ(View(ucacat(buffer, u"cd")), u"abcd");
  EXPECT_EQ(View(ucancat(buffer, u"xyz", 2)), u"abcdxy");
  EXPECT_EQ(View(ucancat(buffer, u"xyz", 0)), u"abcdxy");
  EXPECT_EQ(View(ucareverse(buffer)), u"yxdcba");
}

using UcaLocale = EnvironmentTest;

TEST_F(UcaLocale, MapsCaseWithinTheLength) {
  setenv("LC_ALL", "C", 1);
  char16_t text[] = u"stra\u00DFe";
  EXPECT_EQ(View(ucaupr(text)), u"STRASS");
  EXPECT_EQ(View(ucalwr(text)), u"strass");
  EXPECT_EQ(ucaupr(nullptr), nullptr);
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  char16_t turkish[] = u"iI";
  EXPECT_EQ(View(ucalwr(turkish)), u"i\x131");
}

TEST(Uca, Searches) {
  char16_t text[] = u"abcabc";
  EXPECT_EQ(ucastr(text, u"bc"), text + 1);
  EXPECT_EQ(ucastr(text, u"BC"), nullptr);
  EXPECT_EQ(ucastr(text, u""), text);
  EXPECT_EQ(ucastr(text, nullptr), text);
  EXPECT_FALSE(isucdigit(u'\x661'));
  EXPECT_TRUE(isucdigit(u'9'));
  EXPECT_EQ(ucatoi(u" -12x"), -12);
  EXPECT_EQ(ucatoi(nullptr), 0);
  EXPECT_EQ(ucatof(u"2.5"), 2.5);
}

TEST(Uca, ComparesByCollation) {
  EXPECT_LT(ucacmp(u"a", u"A"), 0);
  EXPECT_LT(ucacmp(u"A", u"b"), 0);
  EXPECT_EQ(ucaicmp(u"a", u"A"), 0);
  EXPECT_NE(ucaicmp(u"e", u"\xE9"), 0);
  EXPECT_EQ(ucacmp(u"\xE9", u"e\x301"), 0);
  EXPECT_EQ(ucacmp(u"a", u"\xFF41"), 0) << "width does not tell";
  EXPECT_NE(ucacmp(u"A", u"\xFF41"), 0);
  EXPECT_EQ(ucaicmp(u"A", u"\xFF41"), 0);
  EXPECT_NE(ucaicmp(u"\x304B", u"\x30AB"), 0) << "the scripts of Japanese differ";
  EXPECT_NE(ucacmp(u"a-b", u"ab"), 0) << "punctuation tells";
  EXPECT_EQ(ucancmp(u"abX", u"abY", 2), 0);
  EXPECT_LT(ucancoll(u"abX", u"abY", 3), 0);
  EXPECT_EQ(ucanicmp(u"aB", u"Ab", 2), 0);
  EXPECT_EQ(ucanicoll(u"a", u"b", 0), 0);
}

TEST(Uca, NullIsEmpty) {
  char16_t buffer[4] = u"a";
  EXPECT_EQ(ucacmp(nullptr, nullptr), 0);
  EXPECT_EQ(ucaicmp(nullptr, nullptr), 0);
  EXPECT_LT(ucaicmp(nullptr, u"a"), 0);
  EXPECT_EQ(ucanicmp(nullptr, u"a", 1), 0);
  EXPECT_EQ(View(ucacat(buffer, nullptr)), u"a");
  EXPECT_EQ(View(ucacpy(buffer, nullptr)), u"");
  EXPECT_EQ(ucastr(static_cast<const char16_t*>(nullptr), u"a"), nullptr);
  EXPECT_EQ(ucareverse(nullptr), nullptr);
  EXPECT_EQ(ucatof(nullptr), 0.0);
  CAtoUCA(nullptr, buffer, 3);
  UCAtoCA(nullptr, nullptr, 3);
}

TEST(Uca, WritesNumbers) {
  char16_t buffer[16];
  EXPECT_EQ(View(itouca(255, buffer, 16)), u"ff");
  EXPECT_EQ(View(itouca(-1, buffer, 16)), u"ffffffff");
  EXPECT_EQ(View(itouca(-2147483647 - 1, buffer, 10)), u"-2147483648");
  EXPECT_EQ(View(itouca(-1, buffer, 8)), u"37777777777");
  EXPECT_EQ(itouca(255, buffer, 2), nullptr);
}

TEST(Uca, WidensAndNarrows) {
  char16_t units[40];
  std::fill_n(units, 40, u'X');
  CAtoUCA("a\xE9", units, 10);
  EXPECT_EQ(View(units, 3), u"a\xE9X");
  CAtoUCA("abcdefghijklmnopqrstuvw", units, 20);
  EXPECT_EQ(View(units, 21), u"abcdefghijklmnopqrstX");
  char bytes[40] = {};
  UCAtoCA(u"a\u00E9\u20AC\u0100bcdefghijklmnopqrstu", bytes, 22);
  EXPECT_STREQ(bytes, "a\xE9\?\?bcdefghijklmnopqrs");
  UCAtoCA(u"zz", bytes, 0);
  EXPECT_EQ(bytes[0], 'a');
}

}  // namespace
}  // namespace orvik::test
