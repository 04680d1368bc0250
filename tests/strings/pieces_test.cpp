#include "strings/pieces.h"

#include <gtest/gtest.h>

#include "strings/case_in_place.h"

namespace orvik {
namespace {

TEST(Pieces, ComparisonIsThatOfTheWholeTexts) {
  const auto compare = [](std::u16string_view a, std::u16string_view b) {
    return (a > b) - (a < b);
  };
  const auto compare_piece = [&](std::u16string_view a, std::u16string_view b) {
    EXPECT_LE(std::max(a.size(), b.size()), 3u);
    return compare(a, b);
  };
  const std::u16string_view texts[] = {
      u"", u"abc", u"abcd", u"abcdefg", u"abcdefh", u"abdd", u"ab\xD83D\xDE00z", u"ab\xD83D\xDE01"};
  for (std::size_t i = 0; i < std::size(texts); ++i) {
    for (std::size_t j = 0; j < std::size(texts); ++j) {
      EXPECT_EQ(CompareInPieces(texts[i], texts[j], compare_piece, 3), compare(texts[i], texts[j]))
          << i << " " << j;
    }
  }
}

TEST(Pieces, CaseIsMappedInAllOfThem) {
  std::u16string text = u"abc\xD801\xDC28xyz\xDFq";  // a small Deseret letter over the first cut
  MapCaseInPlace(text.data(), text.size(), CFStringUppercase, 4);
  EXPECT_EQ(text, u"ABC\xD801\xDC00XYZSS");
}

}  // namespace
}  // namespace orvik
