#include "text/case_and_spelling.h"

#include <stdlib.h>

#include <string>
#include <tuple>

#include "tests/support/test_environment.h"
#include "text/user_locale.h"

namespace orvik::test {
namespace {

TEST(CaseMapping, FollowsTheLocale) {
  const std::tuple<const char*, const char16_t*, const char16_t*, const char16_t*> cases[] = {
      {"", u"iI", u"II", u"ii"},
      {"tr_TR", u"iI", u"\x130I", u"i\x131"},
      {"az", u"iI", u"\x130I", u"i\x131"},
      {"de_DE", u"stra\u00DFe", u"STRASSE", u"stra\u00DFe"},
      {"el", u"\x39F\x394\x39F\x3A3", u"\x39F\x394\x39F\x3A3", u"\x3BF\x3B4\x3BF\x3C2"},
      {"lt", u"I\x300", u"I\x300", u"i\x307\x300"},
      {"", u"\xD83D\xD801\xDC00", u"\xD83D\xD801\xDC00", u"\xD83D\xD801\xDC28"},
      {"", u"\xFB03", u"FFI", u"\xFB03"}};
  for (const auto& [locale, text, upper, lower] : cases) {
    EXPECT_EQ(ToUpper(text, locale), upper) << locale;
    EXPECT_EQ(ToLower(text, locale), lower) << locale;
  }
}

TEST(CaseMapping, ComparesFoldedInAnyLengths) {
  EXPECT_EQ(CompareFolded(u"", u""), 0);
  EXPECT_EQ(CompareFolded(u"ABC", u"abcd"), -1);
  EXPECT_EQ(CompareFolded(u"ss", u"\x1E9E"), 0);
  EXPECT_EQ(CompareFolded(u"k", u"\x212A"), 0);
  EXPECT_EQ(CompareFolded(u"\x130", u"i\x307"), 0);
  EXPECT_EQ(CompareFolded(u"a\xE9", u"A"), 1);
  EXPECT_EQ(CompareFolded(u"A", u"a\xE9"), -1);
}

TEST(CaseMapping, FoldsByTheLanguage) {
  for (const char* locale : {"tr", "tr_TR", "az_Latn_AZ", "tur"}) {
    EXPECT_EQ(FoldCase(u"I\x130i", locale), u"\x131ii") << locale;
  }
  for (const char* locale : {"", "de_DE", "trv"}) {
    EXPECT_EQ(FoldCase(u"I\x130\x131", locale), u"ii\x307\x131") << locale;
  }
}

class UserLocale : public EnvironmentTest {
 protected:
  static std::string Current() { return CurrentLocaleIdentifier(LocaleCategory::kCharacters); }
};

TEST_F(UserLocale, IsTheFirstThatIsSet) {
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
