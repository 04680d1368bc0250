#include "platform/carbon/collation.h"

#include <memory>

#include "platform/carbon/ascii_collation.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class Collation : public EnvironmentTest {
 protected:
  static int Order(UCCollateOptions options, std::u16string_view a, std::u16string_view b) {
    CollatorRef collator = nullptr;
    EXPECT_EQ(UCCreateCollator(nullptr, 0, options, &collator), 0);
    SInt32 order = 99;
    Boolean equivalent = 99;
    EXPECT_EQ(UCCompareText(collator, a.data(), a.size(), b.data(), b.size(), &equivalent, &order),
              0);
    EXPECT_EQ(equivalent != 0, order == 0);
    EXPECT_EQ(UCDisposeCollator(&collator), 0);
    EXPECT_EQ(collator, nullptr);
    return order;
  }
};

TEST_F(Collation, IgnoresWhatTheOptionsName) {
  const std::tuple<UCCollateOptions, const char16_t*, const char16_t*, bool> cases[] = {
      {0x8006, u"a", u"A", false},           {0x8008, u"a", u"A", true},
      {0x8006, u"a", u"\xFF41", true},       {0x8008, u"a", u"\xFF21", false},
      {0x800E, u"a", u"\xFF21", true},       {0x800E, u"\xFF8A\xFF9E", u"\x30D0", true},
      {0x800E, u"\x304B", u"\x30AB", false}, {0x8006, u"a b", u"ab", false},
      {0x0006, u"a-b", u"ab", true},         {0x8006, u"", u"", true}};
  for (const auto& [options, a, b, equal] : cases) {
    EXPECT_EQ(Order(options, a, b) == 0, equal) << options << testing::PrintToString(a);
  }
  EXPECT_LT(Order(0x8006, u"", u"a"), 0);
}

TEST_F(Collation, FollowsTheLocale) {
  for (const auto& [locale, order] :
       {std::pair("de_DE.UTF-8", -1), std::pair("sv_SE.UTF-8", 1), std::pair("de_DE", -1)}) {
    setenv("LC_COLLATE", locale, 1);
    EXPECT_EQ(Order(0x8006, u"\xE4", u"z"), order) << locale;
    EXPECT_EQ(Order(0x800E, u"I", u"i"), 0) << locale;
  }
  // Case is folded by the language.
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  EXPECT_EQ(Order(0x800E, u"I", u"\x131"), 0);
  EXPECT_NE(Order(0x800E, u"I", u"i"), 0);
}

TEST_F(Collation, AnUnknownLocaleIsTheRoot) {
  for (const std::string& name :
       {std::string(300, 'x'), std::string("no such_locale"), std::string("xx_YY_ZZ")}) {
    setenv("LC_ALL", name.c_str(), 1);
    EXPECT_LT(Order(0x8006, u"abc", u"xyz"), 0) << name;
    EXPECT_LT(Order(0x800E, u"\xE4", u"z"), 0) << name;
    EXPECT_EQ(Order(0x800E, u"abc", u"ABC"), 0) << name;
  }
}

TEST_F(Collation, RefusesWhatIsMissing) {
  SInt32 order = 99;
  EXPECT_NE(UCCreateCollator(nullptr, 0, 0, nullptr), 0);
  EXPECT_NE(UCCompareText(nullptr, u"a", 1, u"b", 1, nullptr, &order), 0);
  EXPECT_NE(UCCompareTextDefault(0, nullptr, 1, u"b", 1, nullptr, &order), 0);
  EXPECT_EQ(order, 99);
}

std::u16string RandomText(std::mt19937& random) {
  // Mostly the same letters, so that many texts differ late or in case alone.
  std::u16string text;
  for (std::size_t length = random() % 12; length > 0; --length) {
    text +=
        random() % 4 == 0 ? static_cast<char16_t>(random() % 128) : u"aAbB-_ 1\x01"[random() % 9];
  }
  return text;
}

using Collator = std::unique_ptr<UCollator, decltype(&ucol_close)>;

Collator Open(const char* locale) {
  UErrorCode status = U_ZERO_ERROR;
  Collator collator(ucol_open(locale, &status), ucol_close);
  EXPECT_TRUE(U_SUCCESS(status)) << locale;
  return collator;
}

TEST(AsciiCollation, AnswersAsTheCollatorDoes) {
  std::mt19937 random(1);
  for (const char* locale : {"", "en_US_POSIX", "de", "sv", "tr", "da", "cs", "haw", "th", "ja",
                             "en@colCaseFirst=upper", "en@colNumeric=yes", "fr_CA"}) {
    for (const UCollationStrength strength : {UCOL_SECONDARY, UCOL_TERTIARY}) {
      for (const UColAttributeValue alternate : {UCOL_NON_IGNORABLE, UCOL_SHIFTED}) {
        UErrorCode status = U_ZERO_ERROR;
        const Collator owner = Open(locale);
        UCollator* const collator = owner.get();
        ucol_setStrength(collator, strength);
        ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING, alternate, &status);
        ASSERT_TRUE(U_SUCCESS(status)) << locale;
        const carbon::AsciiCollation table(collator, strength);
        for (int round = 0; table.IsValid() && round < 500; ++round) {
          const std::u16string a = RandomText(random);
          const std::u16string b = RandomText(random);
          ASSERT_EQ(table.Compare(a, b),
                    ucol_strcoll(collator, a.data(), static_cast<int32_t>(a.size()), b.data(),
                                 static_cast<int32_t>(b.size())))
              << locale << " " << testing::PrintToString(a) << " " << testing::PrintToString(b);
        }
      }
    }
  }
}

TEST(AsciiCollation, IsOnlyForCharactersThatCountAlone) {
  const auto is_valid = [](const char* locale) {
    return carbon::AsciiCollation(Open(locale).get(), UCOL_TERTIARY).IsValid();
  };
  for (const char* locale : {"", "de", "en", "sv", "tr"}) EXPECT_TRUE(is_valid(locale)) << locale;
  for (const char* locale : {"cs", "da", "hu", "en@colNumeric=yes"}) {
    EXPECT_FALSE(is_valid(locale)) << locale;
  }
  EXPECT_FALSE(carbon::AsciiCollation().IsValid());
}

TEST(AsciiCollation, IsMadeWhenItPaysOff) {
  const Collator collator = Open("");
  const carbon::LazyAsciiCollation lazy(collator.get(), UCOL_TERTIARY);
  for (unsigned i = 0; i <= carbon::LazyAsciiCollation::kPaysOff; ++i) {
    ASSERT_EQ(lazy.Get(), nullptr) << i;
  }
  ASSERT_NE(lazy.Get(), nullptr);
  EXPECT_LT(lazy.Get()->Compare(u"a", u"B"), 0);
}

}  // namespace
}  // namespace orvik::test
