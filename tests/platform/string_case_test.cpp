#include "platform/core_foundation/string_case.h"

#include <stdlib.h>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(StringCase, FollowsTheLocale) {
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

TEST(StringCase, Normalizes) {
  EXPECT_EQ(Normalize(u"\xE9", kCFStringNormalizationFormD), u"e\x301");
  EXPECT_EQ(Normalize(u"e\x301", kCFStringNormalizationFormC), u"\xE9");
  EXPECT_EQ(Normalize(u"\xFB01", kCFStringNormalizationFormC), u"\xFB01");
  EXPECT_EQ(Normalize(u"\xFB01", kCFStringNormalizationFormKC), u"fi");
  EXPECT_EQ(Normalize(u"\xE9", 99), u"\xE9");
}

TEST(StringCase, ComparesFoldedInAnyLengths) {
  EXPECT_EQ(CompareFolded(u"", u""), 0);
  EXPECT_EQ(CompareFolded(u"ABC", u"abcd"), -1);
  EXPECT_EQ(CompareFolded(u"ss", u"\x1E9E"), 0);
  EXPECT_EQ(CompareFolded(u"k", u"\x212A"), 0);
}

class Locale : public EnvironmentTest {
 protected:
  static std::string Current() { return CurrentLocaleIdentifier(LocaleCategory::kCharacters); }
};

TEST_F(Locale, IsTheFirstThatIsSet) {
  EXPECT_EQ(Current(), "");
  setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(Current(), "de_DE");
  setenv("LC_CTYPE", "tr_TR", 1);
  EXPECT_EQ(Current(), "tr_TR");
  setenv("LC_ALL", "", 1);
  EXPECT_EQ(Current(), "tr_TR");
  setenv("LC_ALL", "POSIX", 1);
  EXPECT_EQ(Current(), "");
  setenv("LC_ALL", "C.UTF-8", 1);
  EXPECT_EQ(Current(), "");
}

}  // namespace
}  // namespace orvik::test
