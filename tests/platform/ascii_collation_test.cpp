#include "platform/carbon/ascii_collation.h"

#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace orvik::test {
namespace {

std::u16string RandomText(std::mt19937& random) {
  // Mostly the same letters, so that many texts differ late or in case alone.
  std::u16string text;
  for (std::size_t length = random() % 12; length > 0; --length) {
    text +=
        random() % 4 == 0 ? static_cast<char16_t>(random() % 128) : u"aAbB-_ 1\x01"[random() % 9];
  }
  return text;
}

TEST(AsciiCollation, AnswersAsTheCollatorDoes) {
  std::mt19937 random(1);
  for (const char* locale : {"", "en_US_POSIX", "de", "sv", "tr", "da", "cs", "haw", "th", "ja",
                             "en@colCaseFirst=upper", "en@colNumeric=yes", "fr_CA"}) {
    for (const UCollationStrength strength : {UCOL_SECONDARY, UCOL_TERTIARY}) {
      for (const UColAttributeValue alternate : {UCOL_NON_IGNORABLE, UCOL_SHIFTED}) {
        UErrorCode status = U_ZERO_ERROR;
        UCollator* const collator = ucol_open(locale, &status);
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
        ucol_close(collator);
      }
    }
  }
}

TEST(AsciiCollation, IsOnlyForCharactersThatCountAlone) {
  const auto is_valid = [](const char* locale) {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* const collator = ucol_open(locale, &status);
    const bool valid = carbon::AsciiCollation(collator, UCOL_TERTIARY).IsValid();
    ucol_close(collator);
    return valid;
  };
  for (const char* locale : {"", "de", "en", "sv", "tr"}) EXPECT_TRUE(is_valid(locale)) << locale;
  for (const char* locale : {"cs", "da", "hu", "en@colNumeric=yes"}) {
    EXPECT_FALSE(is_valid(locale)) << locale;
  }
  EXPECT_FALSE(carbon::AsciiCollation().IsValid());
}

TEST(AsciiCollation, IsMadeWhenItPaysOff) {
  UErrorCode status = U_ZERO_ERROR;
  UCollator* const collator = ucol_open("", &status);
  {
    const carbon::LazyAsciiCollation lazy(collator, UCOL_TERTIARY);
    for (unsigned i = 0; i <= carbon::LazyAsciiCollation::kPaysOff; ++i) {
      ASSERT_EQ(lazy.Get(), nullptr) << i;
    }
    ASSERT_NE(lazy.Get(), nullptr);
    EXPECT_LT(lazy.Get()->Compare(u"a", u"B"), 0);
  }
  ucol_close(collator);
}

}  // namespace
}  // namespace orvik::test
