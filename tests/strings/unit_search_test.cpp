#include "strings/unit_search.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "strings/unit_set.h"

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

}  // namespace
}  // namespace orvik
