#include "platform/core_foundation/string.h"

#include <climits>
#include <tuple>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using Text = Owned<NSString>;

Text Units(std::u16string_view units) {
  return Text(NSString::NewFromUnits(units));
}

// Every way to hold the same text.
std::vector<Text> FormsOf(const std::u16string& text) {
  std::vector<Text> forms;
  forms.push_back(Units(text));
  forms.emplace_back(NSString::NewMutable(text));
  forms.emplace_back(NSString::NewNoCopy(text, false));
  return forms;
}

TEST(String, TheWayATextIsKeptNeverShows) {
  const std::u16string texts[] = {
      u"",       u"a",       u"abc",          u"abcdefgh1234567", u"Gr\xFC\xDF",
      u"\x20AC", u"a\x20AC", u"\xD83D\xDE00", {u'a', u'\0', u'b'}};
  for (const std::u16string& text : texts) {
    const auto forms = FormsOf(text);
    for (const std::u16string& other : texts) {
      for (const auto& a : forms) {
        EXPECT_EQ(a->length(), static_cast<CFIndex>(text.size()));
        EXPECT_EQ(a->ToUnits(), text);
        for (const auto& b : FormsOf(other)) {
          EXPECT_EQ(a->isEqual(b.get()), text == other);
          if (text == other) {
            EXPECT_EQ(a->hash(), b->hash());
          }
          const int order = text.compare(other);
          EXPECT_EQ(a->compare(b.get()), order < 0 ? -1 : order > 0);
        }
      }
    }
  }
}

TEST(String, KeepsBytesWhereTheyAreEnough) {
  EXPECT_TRUE(Units(u"abc")->isAscii() && Units(u"\xFF")->isLatin1());
  EXPECT_FALSE(Units(u"\xFF")->isAscii() || Units(u"\x100")->isLatin1());
  EXPECT_TRUE(Text(NSString::NewFromUtf8("\xC3\xBF"))->isLatin1());
  EXPECT_STREQ(Units(u"0123456789abcdef")->latin1().data(), "0123456789abcdef");
}

TEST(String, ChangesStayWithinTheString) {
  const Text string(NSString::NewMutable(u"hello"));
  string->replaceCharacters(1, 3, u"u");
  string->append(string->wide());
  EXPECT_EQ(string->ToUnits(), u"huohuo");
  string->replaceCharacters(1, 100, string->wide().substr(0, 2));
  string->replaceCharacters(4, 0, u"beyond");
  EXPECT_EQ(string->ToUnits(), u"hhu");
  const Text copy(string->copy());
  string->append(u"!");
  EXPECT_EQ(copy->ToUnits(), u"hhu");
  EXPECT_FALSE(copy->isMutable());
  // Units that are not the string's own are copied, too.
  std::u16string lent = u"abc";
  const Text own(Text(NSString::NewNoCopy(lent, false))->copy());
  lent[0] = u'X';
  EXPECT_EQ(own->ToUnits(), u"abc");
}

TEST(String, ABufferOfTheCallersIsNeverLeft) {
  char16_t buffer[] = u"abcdXY";
  const Text string(NSString::NewInBuffer(buffer, 3, 4));
  string->replaceCharacters(1, 1, u"12345");
  EXPECT_EQ(string->ToUnits(), u"a123");
  EXPECT_EQ(std::u16string_view(buffer), u"a123XY");
  string->replaceCharacters(0, 1, u"--");
  EXPECT_EQ(string->ToUnits(), u"--12");
}

TEST(String, Numbers) {
  const std::tuple<const char16_t*, int, double> cases[] = {
      {u"", 0, 0},    {u"12", 12, 12},     {u" \t\n-7x", -7, -7},
      {u"+5", 5, 5},  {u".5", 0, 0.5},     {u"\u300042", 42, 42},
      {u"1e", 1, 1},  {u"0x10", 0, 0},     {u"2147483648", INT_MAX, 2147483648.0},
      {u"--5", 0, 0}, {u"\x0661", 0, 0},   {u"-99999999999999999999", INT_MIN, -1e20},
      {u"inf", 0, 0}, {u"3.75e2z", 3, 375}};
  for (const auto& [text, integer, real] : cases) {
    EXPECT_EQ(Units(text)->intValue(), integer) << testing::PrintToString(text);
    EXPECT_EQ(Units(text)->doubleValue(), real) << testing::PrintToString(text);
  }
}

TEST(String, MakesNewTexts) {
  const NSAutoreleasePool pool;
  const Text a = Units(u"ab");
  EXPECT_EQ(a->stringByAppendingString(Units(u"\x20AC").get())->ToUnits(), u"ab\x20AC");
  EXPECT_EQ(a->stringByAppendingString(Units(u"\xE9").get())->ToUnits(), u"ab\xE9");
  EXPECT_EQ(a->stringByAppendingString(nullptr)->ToUnits(), u"ab");
  EXPECT_EQ(NSString::stringWithUTF8String("\xFF"), nullptr);
  EXPECT_EQ(CFSTR(u"one"), CFSTR(u"one"));
  EXPECT_NE(CFSTR(u"one"), CFSTR(u"two"));
  EXPECT_EQ(Units(u"\xE9\x4E2D\xD83D")->ToUtf8(), "\xC3\xA9\xE4\xB8\xAD?");
}

TEST(CFString, CreatesFromBytesOfAnEncoding) {
  const auto make = [](const char* bytes, CFStringEncoding encoding) {
    return Owned<const NSString>(CFStringCreateWithCString(nullptr, bytes, encoding));
  };
  EXPECT_EQ(make("\xE9", kCFStringEncodingMacRoman)->ToUnits(), u"\xC8");
  EXPECT_EQ(make("\xE9", kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(make("\xEF\xBB\xBFx", kCFStringEncodingUTF8)->ToUnits(), u"\xFEFFx");
  EXPECT_EQ(make("x", 0x12345), nullptr);
  EXPECT_EQ(make(nullptr, kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(make("\xED\xA0\x80", kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(make("x\xF0\x9F\x98\x80", kCFStringEncodingUTF8)->ToUnits(), u"x\xD83D\xDE00");
}

TEST(CFString, GetsTheWholeCharactersOfARangeThatFit) {
  const Text string = Units(u"a\x20AC\xD83D\xDE00");
  const std::tuple<CFRange, CFStringEncoding, CFIndex, CFIndex, CFIndex> kCases[] = {
      {{0, 4}, kCFStringEncodingUTF8, 7, 2, 4},  {{0, 4}, kCFStringEncodingUTF8, 8, 4, 8},
      {{1, 9}, kCFStringEncodingASCII, 9, 3, 2}, {{-1, 1}, kCFStringEncodingUTF8, 9, 1, 1},
      {{9, 1}, kCFStringEncodingUTF8, 9, 0, 0},  {{0, 4}, 0x12345, 9, 0, 0}};
  for (const auto& [range, encoding, room, units, bytes] : kCases) {
    UInt8 buffer[16];
    CFIndex used = -1;
    EXPECT_EQ(CFStringGetBytes(string.get(), range, encoding, '?', false, buffer, room, &used),
              units);
    EXPECT_EQ(used, bytes);
  }
}

TEST(CFString, FormatsObjects) {
  const Owned<const NSString> text(CFStringCreateWithFormat(
      nullptr, nullptr, CFSTR(u"%@|%.1@|%@"), CFSTR(u"c\x20AC"), CFSTR(u"xyz"), nullptr));
  EXPECT_EQ(text->ToUnits(), u"c\x20AC|x|(null)");
}

}  // namespace
}  // namespace orvik::test
