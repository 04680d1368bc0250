#include "strings/uca_conversions.h"

#include <memory>

#include "strings/atl_conversions.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(UcaConversions, MakeArrays) {
  const std::unique_ptr<char16_t[]> units(makeUCAFromCA("a\xE9"));
  EXPECT_EQ(std::u16string_view(units.get()), u"a\xE9");
  const std::unique_ptr<char[]> bytes(makeCAFromUCA(u"a\x20AC"));
  EXPECT_STREQ(bytes.get(), "a?");
  EXPECT_EQ(makeCAFromUCA(u""), nullptr);
  EXPECT_EQ(makeUCAFromCA(nullptr), nullptr);

  wchar_t* wide = makeWCA32FromUCA(u"a\xD83D\xDE00z");
  EXPECT_EQ(std::wstring_view(wide), L"a\U0001F600z");
  const std::unique_ptr<char16_t[]> back(makeUCAFromWCA32(wide));
  EXPECT_EQ(std::u16string_view(back.get()), u"a\xD83D\xDE00") << "the room is used up";
  freeWCA32Str(wide);
  freeWCA32Str(nullptr);
}

TEST(UcaConversions, IntoRoomOfTheCaller) {
  wchar_t wide[3] = {L'X', L'X', L'X'};
  EXPECT_EQ(UCAtoWCA32(u"\xD83D\xDE00", wide, 2), conversionOK);
  EXPECT_EQ(wide[0], 0x1F600);
  EXPECT_EQ(wide[1], L'X');
  EXPECT_EQ(UCAtoWCA32(u"\xDE00", wide, 1), sourceIllegal);
  EXPECT_EQ(UCAtoWCA32(u"a", wide, -3), -3);
  char16_t units[2] = {};
  EXPECT_EQ(WCA32toUCA(L"a\x1F600", units, 2), targetExhausted);
  EXPECT_EQ(units[0], u'a');
  EXPECT_EQ(WCA32toUCA(L"a", units, 0), 0);
}

TEST(AtlConversions, TakeAsciiAlone) {
  char16_t units[8];
  EXPECT_EQ(std::u16string_view(AtlA2WHelper(units, "abc", 2)), u"ab");
  EXPECT_EQ(std::u16string_view(AtlA2WHelper(units, "abc", 7)), u"abc");
  EXPECT_EQ(std::u16string_view(AtlA2WHelper(units, "a\xE9", 2)), u"");
  EXPECT_EQ(std::u16string_view(AtlA2WHelper(units, nullptr, 2)), u"");
  char bytes[8];
  EXPECT_STREQ(AtlW2AHelper(bytes, u"abc", 2), "ab");
  EXPECT_STREQ(AtlW2AHelper(bytes, u"\xE9", 1), "");

  char16_t* text = A2WBSTR("ab", 4);
  EXPECT_EQ(std::u16string_view(text, 5), std::u16string_view(u"ab\0\0\0", 5));
  free(text);
  text = A2BSTR("xyz");
  EXPECT_EQ(std::u16string_view(text), u"xyz");
  free(text);
  EXPECT_EQ(A2WBSTR("\xE9"), nullptr);
  EXPECT_EQ(A2WBSTR(nullptr), nullptr);
  EXPECT_EQ(A2WBSTR("a", -1), nullptr);
  EXPECT_EQ(W2T(units), units);
}

}  // namespace
}  // namespace orvik::test
