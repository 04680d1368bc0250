#include "strings/unit_search.h"
#include "strings/unit_set.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <random>
#include <string>

#include "strings/platform_text.h"

namespace orvik {
namespace {

TEST(UnitSearch, AgreesWithThePlainSearch) {
  std::mt19937 random(5);
  for (int round = 0; round < 20'000; ++round) {
    const unsigned kinds = 1 + random() % 3;
    std::u16string content(random() % 40, u' '), text(random() % 5, u' ');
    for (char16_t& unit : content) unit = static_cast<char16_t>(0x4E00 + random() % kinds * 0x100);
    for (char16_t& unit : text) unit = static_cast<char16_t>(0x4E00 + random() % kinds * 0x100);
    EXPECT_EQ(FindUnits(content, text), content.find(text));
    EXPECT_EQ(FindUnit(content, u'\u4E00'), content.find(u'\u4E00'));
  }
}

// Behind the content comes a page that cannot be read.
TEST(UnitSearch, FindsBytesBeforeTheFirstZeroAndReadsNoFurther) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* const pages =
      mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  char* const end = static_cast<char*>(pages) + page;
  ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
  std::mt19937 random(7);
  for (int round = 0; round < 20'000; ++round) {
    // Few kinds make many places that nearly match, long texts what is compared in vain.
    const bool is_long = round % 100 == 0;
    std::string content(random() % (is_long ? 4000 : 80), 'a');
    for (char& byte : content) byte = static_cast<char>('a' + random() % (is_long ? 1 : 2));
    if (random() % 4 == 0 && !content.empty()) content[random() % content.size()] = '\0';
    std::string text(1 + random() % (is_long ? 100 : 6), 'a');
    if (text.size() > 2) text[text.size() / 2] = random() % 3 == 0 ? 'b' : 'a';
    text.back() = static_cast<char>('a' + random() % (is_long ? 1 : 2));
    char* const place = end - content.size();
    content.copy(place, content.size());
    const std::size_t expected = content.substr(0, content.find('\0')).find(text);
    ASSERT_EQ(FindUnitsBeforeZero({place, content.size()}, text), expected) << content << text;
  }
  munmap(pages, 2 * page);
}

TEST(UnitSet, HoldsFewAndManyUnitsOfEveryValue) {
  for (const unsigned count : {0u, 1u, 3u, 4u, 5u, 6u, 300u}) {
    std::u16string units;
    for (unsigned i = 0; i < count; ++i) units += static_cast<char16_t>(0xFFFF - i * 211);
    const UnitSet<char16_t> set(units + units);
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
      const auto unit = static_cast<char16_t>(value);
      ASSERT_EQ(set.Contains(unit), units.find(unit) != units.npos) << count << ' ' << value;
    }
  }
}

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
