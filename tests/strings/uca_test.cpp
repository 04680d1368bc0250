#include "strings/uca.h"

#include <stdlib.h>

#include <cstdlib>
#include <memory>

#include "platform/core_foundation/string.h"
#include "strings/atl_conversions.h"
#include "strings/uca_conversions.h"
#include "strings/uca_format.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using View = std::u16string_view;

TEST(Uca, CopiesAndAppends) {
  EXPECT_EQ(ucalen(u""), 0);
  EXPECT_EQ(ucalen(nullptr), 0);
  EXPECT_EQ(ucalen(u"a\xD83D\xDE00"), 3);
  char16_t buffer[8];
  std::fill_n(buffer, 8, u'X');
  ucancpy(buffer, u"abc", 5);
  EXPECT_EQ(View(buffer, 6), View(u"abc\0\0X", 6));
  std::fill_n(buffer, 8, u'X');
  ucancpy(buffer, u"abc", 2);
  EXPECT_EQ(View(buffer, 3), u"abX");
  ucancpy(buffer, u"abc", 0);
  ucancpy(buffer, u"abc", -1);
  EXPECT_EQ(View(buffer, 3), u"abX");
  EXPECT_EQ(View(ucacpy(buffer, u"ab")), u"ab");
  EXPECT_EQ(View(ucacat(buffer, u"cd")), u"abcd");
  EXPECT_EQ(View(ucancat(buffer, u"xyz", 2)), u"abcdxy");
  EXPECT_EQ(View(ucancat(buffer, u"xyz", 0)), u"abcdxy");
  EXPECT_EQ(View(ucareverse(buffer)), u"yxdcba");
}

using UcaLocale = EnvironmentTest;

TEST_F(UcaLocale, MapsCaseWithinTheLength) {
  setenv("LC_ALL", "C", 1);
  char16_t text[] = u"stra\u00DFe";
  EXPECT_EQ(View(ucaupr(text)), u"STRASS");
  EXPECT_EQ(View(ucalwr(text)), u"strass");
  EXPECT_EQ(ucaupr(nullptr), nullptr);
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  char16_t turkish[] = u"iI";
  EXPECT_EQ(View(ucalwr(turkish)), u"i\x131");
}

TEST(Uca, Searches) {
  char16_t text[] = u"abcabc";
  EXPECT_EQ(ucastr(text, u"bc"), text + 1);
  EXPECT_EQ(ucastr(text, u"BC"), nullptr);
  EXPECT_EQ(ucastr(text, u""), text);
  EXPECT_EQ(ucastr(text, nullptr), text);
  EXPECT_FALSE(isucdigit(u'\x661'));
  EXPECT_TRUE(isucdigit(u'9'));
  EXPECT_EQ(ucatoi(u" -12x"), -12);
  EXPECT_EQ(ucatoi(nullptr), 0);
  EXPECT_EQ(ucatof(u"2.5"), 2.5);
}

TEST(Uca, ComparesByCollation) {
  EXPECT_LT(ucacmp(u"a", u"A"), 0);
  EXPECT_LT(ucacmp(u"A", u"b"), 0);
  EXPECT_EQ(ucaicmp(u"a", u"A"), 0);
  EXPECT_NE(ucaicmp(u"e", u"\xE9"), 0);
  EXPECT_EQ(ucacmp(u"\xE9", u"e\x301"), 0);
  EXPECT_EQ(ucacmp(u"a", u"\xFF41"), 0) << "width does not tell";
  EXPECT_NE(ucacmp(u"A", u"\xFF41"), 0);
  EXPECT_EQ(ucaicmp(u"A", u"\xFF41"), 0);
  EXPECT_NE(ucaicmp(u"\x304B", u"\x30AB"), 0) << "the scripts of Japanese differ";
  EXPECT_NE(ucacmp(u"a-b", u"ab"), 0) << "punctuation tells";
  EXPECT_EQ(ucancmp(u"abX", u"abY", 2), 0);
  EXPECT_LT(ucancoll(u"abX", u"abY", 3), 0);
  EXPECT_EQ(ucanicmp(u"aB", u"Ab", 2), 0);
  EXPECT_EQ(ucanicoll(u"a", u"b", 0), 0);
}

TEST(Uca, NullIsEmpty) {
  char16_t buffer[4] = u"a";
  EXPECT_EQ(ucacmp(nullptr, nullptr), 0);
  EXPECT_EQ(ucaicmp(nullptr, nullptr), 0);
  EXPECT_LT(ucaicmp(nullptr, u"a"), 0);
  EXPECT_EQ(ucanicmp(nullptr, u"a", 1), 0);
  EXPECT_EQ(View(ucacat(buffer, nullptr)), u"a");
  EXPECT_EQ(View(ucacpy(buffer, nullptr)), u"");
  EXPECT_EQ(ucastr(static_cast<const char16_t*>(nullptr), u"a"), nullptr);
  EXPECT_EQ(ucareverse(nullptr), nullptr);
  EXPECT_EQ(ucatof(nullptr), 0.0);
  CAtoUCA(nullptr, buffer, 3);
  UCAtoCA(nullptr, nullptr, 3);
}

TEST(Uca, WritesNumbers) {
  char16_t buffer[16];
  EXPECT_EQ(View(itouca(255, buffer, 16)), u"ff");
  EXPECT_EQ(View(itouca(-1, buffer, 16)), u"ffffffff");
  EXPECT_EQ(View(itouca(-2147483647 - 1, buffer, 10)), u"-2147483648");
  EXPECT_EQ(View(itouca(-1, buffer, 8)), u"37777777777");
  EXPECT_EQ(itouca(255, buffer, 2), nullptr);
}

TEST(Uca, WidensAndNarrows) {
  char16_t units[40];
  std::fill_n(units, 40, u'X');
  CAtoUCA("a\xE9", units, 10);
  EXPECT_EQ(View(units, 3), u"a\xE9X");
  CAtoUCA("abcdefghijklmnopqrstuvw", units, 20);
  EXPECT_EQ(View(units, 21), u"abcdefghijklmnopqrstX");
  char bytes[40] = {};
  UCAtoCA(u"a\u00E9\u20AC\u0100bcdefghijklmnopqrstu", bytes, 22);
  EXPECT_STREQ(bytes, "a\xE9\?\?bcdefghijklmnopqrs");
  UCAtoCA(u"zz", bytes, 0);
  EXPECT_EQ(bytes[0], 'a');
}

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

TEST(UcaFormat, FormatsIntoArrays) {
  char16_t buffer[16];
  EXPECT_EQ(sucaprintf(buffer, u"%S-%s-%@", u"\x20AC", "b", CFSTR(u"c")), 5);
  EXPECT_EQ(std::u16string_view(buffer), u"\x20AC-b-c");
  EXPECT_EQ(sucaprintf(buffer, nullptr), -1);
  EXPECT_EQ(sucaprintf(buffer, u"%2$d", 1, 2), 1);
  const char16_t* const missing = u"%2$d";
  EXPECT_EQ(sucaprintf(buffer, missing, 1), -1);
}

TEST(UcaFormat, NeverWritesPastTheSize) {
  for (int size = 0; size <= 5; ++size) {
    char16_t buffer[8];
    std::fill_n(buffer, 8, u'X');
    const int result = snucaprintf(buffer, size, u"%s", "abc");
    EXPECT_EQ(result, size == 5 ? 3 : size) << size;
    EXPECT_EQ(buffer[size], u'X');
    if (size > 0) {
      EXPECT_EQ(std::u16string_view(buffer),
                std::u16string_view(u"abc").substr(0, static_cast<std::size_t>(size - 1)));
    }
  }
}

TEST(UcaFormat, WritesUnitsToStreams) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&bytes, &size);
  EXPECT_EQ(fucaprintf(stream, u"%C%d", 0x20AC, 7), 2);
  std::fclose(stream);
  EXPECT_EQ(std::string(bytes, size), std::string("\xAC\x20\x37\x00", 4));
  std::free(bytes);
  EXPECT_EQ(fucaprintf(nullptr, u"x"), -1);
}

TEST(UcaFormat, Scans) {
  int number = 0;
  wchar_t word[16] = {};
  EXPECT_EQ(sucascanf(u"42 text", u"%d %ls", &number, word), 2);
  EXPECT_EQ(number, 42);
  EXPECT_EQ(std::wstring_view(word), L"text");
  EXPECT_EQ(sucascanf(nullptr, u"%d", &number), 0);
}

}  // namespace
}  // namespace orvik::test
