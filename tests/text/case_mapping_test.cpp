#include "text/case_mapping.h"

#include <gtest/gtest.h>

namespace orvik::test {
namespace {

TEST(CaseMapping, FollowsTheLocale) {
  struct {
    const char* locale;
    const char16_t* text;
    const char16_t* upper;
    const char16_t* lower;
  } const cases[] = {
      {"", u"iI", u"II", u"ii"},
      {"tr_TR", u"iI", u"\x130I", u"i\x131"},
      {"az", u"iI", u"\x130I", u"i\x131"},
      {"de_DE", u"stra\u00DFe", u"STRASSE", u"stra\u00DFe"},
      {"el", u"\x39F\x394\x39F\x3A3", u"\x39F\x394\x39F\x3A3", u"\x3BF\x3B4\x3BF\x3C2"},
      {"lt", u"I\x300", u"I\x300", u"i\x307\x300"},
      {"", u"\xD83D\xD801\xDC00", u"\xD83D\xD801\xDC00", u"\xD83D\xD801\xDC28"},
      {"", u"\xFB03", u"FFI", u"\xFB03"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(ToUpper(one.text, one.locale), one.upper) << one.locale;
    EXPECT_EQ(ToLower(one.text, one.locale), one.lower) << one.locale;
  }
}

TEST(CaseMapping, ComparesFoldedInAnyLengths) {
  EXPECT_EQ(CompareFolded(u"", u""), 0);
  EXPECT_EQ(CompareFolded(u"ABC", u"abcd"), -1);
  EXPECT_EQ(CompareFolded(u"ss", u"\x1E9E"), 0);
  EXPECT_EQ(CompareFolded(u"k", u"\x212A"), 0);
  EXPECT_EQ(CompareFolded(u"a\xE9", u"A"), 1);
  EXPECT_EQ(CompareFolded(u"A", u"a\xE9"), -1);
}

TEST(CaseMapping, FoldsByTheLanguage) {
  struct {
    const char16_t* a;
    const char16_t* b;
    bool equal_in_turkish;
    bool equal_elsewhere;
  } const cases[] = {
      {u"I", u"\x131", true, false},      {u"I", u"i", false, true}, {u"\x130", u"i", true, false},
      {u"\x130", u"i\x307", false, true}, {u"A", u"a", true, true},
  };
  for (const auto& one : cases) {
    for (const char* locale : {"tr", "tr_TR", "az_Latn_AZ", "tur"}) {
      EXPECT_EQ(CompareFolded(one.a, one.b, locale) == 0, one.equal_in_turkish) << locale;
    }
    for (const char* locale : {"", "de_DE", "trv"}) {
      EXPECT_EQ(CompareFolded(one.a, one.b, locale) == 0, one.equal_elsewhere) << locale;
    }
  }
}

}  // namespace
}  // namespace orvik::test
