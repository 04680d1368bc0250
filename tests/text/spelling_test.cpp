#include "text/case_and_spelling.h"

#include <gtest/gtest.h>

#include <set>

namespace orvik::test {
namespace {

using Spellings = std::set<std::u16string>;

TEST(Spelling, TextsOfOneSpelling) {
  for (const char16_t* text : {u"", u"plain.txt", u"\u6587\u4EF6", u"\u0444\u043E\u0442\u043E",
                               u"\U0001F600", u"\xDC5C\xD800", u"stra\u00DFe"}) {
    EXPECT_TRUE(HasOneSpelling(text))
        << std::string(text, text + std::char_traits<char16_t>::length(text));
  }
  // Composed, decomposed, two marks, Hangul, an ideograph with a compatibility form, that form.
  for (const char16_t* text : {u"caf\u00E9", u"cafe\u0301", u"\u0439", u"a\u0323\u0302", u"\uAC00",
                               u"\u1100\u1161", u"\u8C48", u"\uF900"}) {
    EXPECT_FALSE(HasOneSpelling(text));
  }
}

TEST(Spelling, VisitsEveryOtherSpellingUpToALimit) {
  const auto others = [](std::u16string_view text, int limit, bool* all) {
    Spellings found;
    *all =
        VisitOtherSpellings(text, limit, [&](std::u16string_view other) { found.emplace(other); });
    return found;
  };
  bool all = false;
  // The accent has a double of its own.
  EXPECT_EQ(others(u"\u00E9", 8, &all), (Spellings{u"e\u0301", u"e\u0341"}));
  EXPECT_TRUE(all);
  EXPECT_EQ(others(u"e\u0308x", 8, &all), (Spellings{u"\u00EBx"}));
  EXPECT_EQ(others(u"\u8C48", 8, &all), (Spellings{u"\uF900"}));
  // Marks that change places, and one that is two marks with a third between them.
  EXPECT_EQ(others(u"\u0F81\u0338", 8, &all),
            (Spellings{u"\u0F71\u0F80\u0338", u"\u0F71\u0338\u0F80", u"\u0F80\u0F71\u0338",
                       u"\u0F80\u0338\u0F71", u"\u0338\u0F71\u0F80", u"\u0338\u0F80\u0F71",
                       u"\u0338\u0F81"}));
  EXPECT_EQ(others(u"\uAC01", 8, &all), (Spellings{u"\uAC00\u11A8", u"\u1100\u1161\u11A8"}));
  EXPECT_EQ(others(u"\u1EAD", 8, &all).count(u"a\u0323\u0302"), 1u);
  EXPECT_TRUE(all);
  others(u"\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9", 8, &all);
  EXPECT_FALSE(all);
}

TEST(Normalization, Composes) {
  EXPECT_EQ(Composed(u"ascii"), u"ascii");
  EXPECT_EQ(Composed(u"e\x301"), u"\xE9");
  EXPECT_EQ(Composed(u"\xFB01"), u"\xFB01") << "a ligature is another spelling of nothing";
  EXPECT_EQ(Composed(u"\xD83D"
                     u"e\x301"),
            u"\xD83D\xE9")
      << "an unpaired surrogate";
}

}  // namespace
}  // namespace orvik::test
