#include "text/characters.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "text/transcoding.h"

namespace orvik {
namespace {

// Every character against the converters, which are checked against ICU elsewhere.
TEST(Characters, UnitsOfEveryCharacterAreThoseOfTheConverters) {
  for (char32_t character = 0; character <= kLastCharacter; ++character) {
    std::u16string units;
    AppendCharacter(units, character);
    ASSERT_EQ(units.size(), Utf16Units(character));
    std::size_t behind = 0;
    ASSERT_EQ(NextCharacter(units, behind), character);
    ASSERT_EQ(behind, units.size());
    ASSERT_EQ(FindUnpairedSurrogate(units) == units.npos, IsCharacter(character));
    if (!IsCharacter(character)) continue;
    std::string bytes;
    AppendCharacter(bytes, character);
    ASSERT_EQ(bytes.size(), Utf8Bytes(character));
    ASSERT_EQ(CharacterLength(bytes), bytes.size());
    behind = 0;
    ASSERT_EQ(NextCharacter(bytes, behind), character);
  }
  EXPECT_FALSE(IsCharacter(kLastCharacter + 1));
}

TEST(Characters, TextsAreCutBetweenCharacters) {
  constexpr std::u16string_view kText = u"a\U0001F600\xD800z\xDC00";
  static_assert(CharacterBefore(kText, 3) == 1 && CharacterBefore(kText, 4) == 3 &&
                CharacterBefore(kText, 6) == 5);
  static_assert(FindUnpairedSurrogate(kText) == 3);
  static_assert(WholeUnits(kText, 2) == 1 && WholeUnits(kText, 3) == 3 &&
                WholeUnits(kText, 9) == 6);
  static_assert(WholeUnits(std::string_view("\xC3\xA9"), 1) == 1);
}

TEST(Characters, Classes) {
  struct Range {
    char32_t first, last;
  };
  const auto is_in = [](std::initializer_list<Range> ranges, char32_t character) {
    for (const auto& [first, last] : ranges) {
      if (character >= first && character <= last) return true;
    }
    return false;
  };
  for (char32_t character = 0; character <= kLastCharacter + 1; ++character) {
    ASSERT_EQ(IsXmlCharacter(character),
              is_in({{9, 10}, {13, 13}, {0x20, 0xD7FF}, {0xE000, 0xFFFD}, {0x10000, 0x10FFFF}},
                    character))
        << std::hex << static_cast<unsigned>(character);
    ASSERT_EQ(IsWhiteSpace(character), is_in({{9, 13},
                                              {32, 32},
                                              {0x85, 0x85},
                                              {0xA0, 0xA0},
                                              {0x1680, 0x1680},
                                              {0x2000, 0x200A},
                                              {0x2028, 0x2029},
                                              {0x202F, 0x202F},
                                              {0x205F, 0x205F},
                                              {0x3000, 0x3000}},
                                             character))
        << std::hex << static_cast<unsigned>(character);
  }
}

}  // namespace
}  // namespace orvik
