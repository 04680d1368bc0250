#include "platform/core_foundation/string.h"

#include "platform/core_foundation/owned.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using Text = Owned<const NSString>;

Text Make(std::u16string_view units) {
  return Text(NSString::NewFromUnits(units));
}

CFRange Whole(const Text& string) {
  return CFRangeMake(0, string->length());
}

TEST(CFString, ConstantsAreOneObject) {
  EXPECT_EQ(CFSTR(u"one"), CFSTR(u"one"));
  EXPECT_NE(CFSTR(u"one"), CFSTR(u"two"));
}

TEST(CFString, CreatesFromBytes) {
  const auto make = [](std::string_view bytes, CFStringEncoding encoding, bool external = false) {
    return Text(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                        static_cast<CFIndex>(bytes.size()), encoding, external));
  };
  EXPECT_EQ(make("\xE9", kCFStringEncodingMacRoman)->ToUnits(), u"\xC8");
  EXPECT_EQ(make("\xE9", kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(make("\xEF\xBB\xBFx", kCFStringEncodingUTF8, true)->ToUnits(), u"x");
  EXPECT_EQ(make("\xEF\xBB\xBFx", kCFStringEncodingUTF8)->ToUnits(), u"\xFEFFx");
  EXPECT_EQ(make("x", 0x12345), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, -1, kCFStringEncodingUTF8, false), nullptr);
}

TEST(CFString, CStringsFitOrFail) {
  const Text string = Make(u"a\xE9");
  char buffer[8] = "XXXXXXX";
  EXPECT_TRUE(CFStringGetCString(string.get(), buffer, 4, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "a\xC3\xA9");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer, 3, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer, 8, kCFStringEncodingASCII));
}

TEST(CFString, GetsWholeCharactersOnly) {
  const Text string = Make(u"a\x20AC\xD83D\xDE00");
  UInt8 buffer[16];
  for (CFIndex room = 0; room <= 9; ++room) {
    CFIndex used = -1;
    const CFIndex units = CFStringGetBytes(string.get(), Whole(string), kCFStringEncodingUTF8, '?',
                                           false, buffer, room, &used);
    EXPECT_EQ(used, room >= 8 ? 8 : room >= 4 ? 4 : room >= 1 ? 1 : 0) << room;
    EXPECT_EQ(units, room >= 8 ? 4 : room >= 4 ? 2 : room >= 1 ? 1 : 0) << room;
  }
  CFIndex used = 0;
  EXPECT_EQ(
      CFStringGetBytes(string.get(), {1, 3}, kCFStringEncodingASCII, '?', false, nullptr, 0, &used),
      3);
  EXPECT_EQ(used, 2);
}

TEST(CFString, FormatsObjects) {
  const Text text(CFStringCreateWithFormat(nullptr, nullptr, CFSTR(u"%@|%.1@|%@"),
                                           CFSTR(u"c\x20AC"), CFSTR(u"xyz"), nullptr));
  EXPECT_EQ(text->ToUnits(), u"c\x20AC|x|(null)");
}

TEST(CFString, Finds) {
  struct {
    const char16_t* where;
    const char16_t* text;
    CFRange range;
    CFStringCompareFlags options;
    CFIndex location;  // -1: not found
    CFIndex length;
  } const cases[] = {
      {u"abcabc", u"bc", {0, 6}, 0, 1, 2},
      {u"abcabc", u"bc", {2, 100}, 0, 4, 2},
      {u"abcabc", u"BC", {0, 6}, 0, -1, 0},
      {u"abcabc", u"", {0, 6}, 0, -1, 0},
      {u"abcabc", u"bc", {100, 1}, 0, -1, 0},
      {u"xSTRASSEx", u"stra\u00DFe", {0, 9}, kCFCompareCaseInsensitive, 1, 7},
      {u"stra\u00DFe", u"SSE", {0, 6}, kCFCompareCaseInsensitive, 4, 2},
      {u"\xDF", u"s", {0, 1}, kCFCompareCaseInsensitive, -1, 0},
      {u"", u"a", {0, 0}, kCFCompareCaseInsensitive, -1, 0},
      {u"aAa", u"A", {1, 2}, kCFCompareCaseInsensitive, 1, 1},
  };
  for (const auto& one : cases) {
    CFRange found{-1, 0};
    EXPECT_EQ(CFStringFindWithOptions(Make(one.where).get(), Make(one.text).get(), one.range,
                                      one.options, &found) != 0,
              one.location >= 0);
    EXPECT_EQ(found.location, one.location) << testing::PrintToString(one.where);
    EXPECT_EQ(found.length, one.length);
  }
}

TEST(CFString, ComparesByTheOptions) {
  const auto compare = [](std::u16string_view a, std::u16string_view b,
                          CFStringCompareFlags options) {
    return CFStringCompare(Make(a).get(), Make(b).get(), options);
  };
  EXPECT_EQ(compare(u"a", u"A", 0), kCFCompareGreaterThan);
  EXPECT_EQ(compare(u"\xE9", u"e\x301", 0), kCFCompareGreaterThan);
  EXPECT_EQ(compare(u"\x3A3", u"\x3C2", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(compare(u"a", u"B", kCFCompareCaseInsensitive), kCFCompareLessThan);
}

}  // namespace
}  // namespace orvik::test
