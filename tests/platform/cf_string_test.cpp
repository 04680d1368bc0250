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
  EXPECT_EQ(make("\xE9", kCFStringEncodingISOLatin1)->ToUnits(), u"\xE9");
  EXPECT_EQ(make("\xE9", kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(make("\xEF\xBB\xBFx", kCFStringEncodingUTF8, true)->ToUnits(), u"x");
  EXPECT_EQ(make("\xEF\xBB\xBFx", kCFStringEncodingUTF8)->ToUnits(), u"\xFEFFx");
  EXPECT_EQ(make("x", 0x12345), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, -1, kCFStringEncodingUTF8, false), nullptr);
}

TEST(CFString, CutsRangesThatLeaveTheString) {
  const Text string = Make(u"abc\x20AC");
  EXPECT_EQ(Text(CFStringCreateWithSubstring(nullptr, string.get(), {2, 100}))->ToUnits(),
            u"c\x20AC");
  EXPECT_EQ(Text(CFStringCreateWithSubstring(nullptr, string.get(), {100, 1}))->length(), 0);
  EXPECT_EQ(CFStringGetCharacterAtIndex(string.get(), 4), 0);
}

TEST(CFString, CStringsFitOrFail) {
  const Text string = Make(u"a\xE9");
  char buffer[8] = "XXXXXXX";
  EXPECT_TRUE(CFStringGetCString(string.get(), buffer, 4, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "a\xC3\xA9");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer, 3, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer, 8, kCFStringEncodingASCII));
  EXPECT_STREQ(CFStringGetCStringPtr(Make(u"ab").get(), kCFStringEncodingUTF8), "ab");
  EXPECT_EQ(CFStringGetCStringPtr(string.get(), kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(Make({u"a\0b", 3}).get(), kCFStringEncodingUTF8), nullptr);
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

TEST(CFString, FindsLiterally) {
  const Text string = Make(u"abcabc");
  EXPECT_EQ(CFStringFind(string.get(), CFSTR(u"bc"), 0).location, 1);
  EXPECT_EQ(CFStringFind(string.get(), CFSTR(u"bc"), kCFCompareBackwards).location, 4);
  EXPECT_EQ(CFStringFind(string.get(), CFSTR(u"BC"), 0).location, kCFNotFound);
  EXPECT_EQ(CFStringFind(string.get(), CFSTR(u""), 0).location, kCFNotFound);
  CFRange found{};
  EXPECT_TRUE(CFStringFindWithOptions(string.get(), CFSTR(u"bc"), {2, 100}, 0, &found));
  EXPECT_EQ(found.location, 4);
  EXPECT_FALSE(
      CFStringFindWithOptions(string.get(), CFSTR(u"bc"), {2, 4}, kCFCompareAnchored, nullptr));
  EXPECT_TRUE(CFStringFindWithOptions(string.get(), CFSTR(u"abc"), {2, 4},
                                      kCFCompareAnchored | kCFCompareBackwards, nullptr));
}

TEST(CFString, FindsFolded) {
  struct {
    const char16_t* where;
    const char16_t* text;
    CFStringCompareFlags options;
    CFIndex location;
    CFIndex length;
  } const cases[] = {
      {u"xSTRASSEx", u"stra\u00DFe", kCFCompareCaseInsensitive, 1, 7},
      {u"stra\u00DFe", u"SSE", kCFCompareCaseInsensitive, 4, 2},
      {u"\xDF", u"s", kCFCompareCaseInsensitive, kCFNotFound, 0},
      {u"\xDF", u"s", kCFCompareCaseInsensitive | kCFCompareBackwards, kCFNotFound, 0},
      {u"aAa", u"A", kCFCompareCaseInsensitive | kCFCompareBackwards, 2, 1},
      {u"cafe\x301 x", u"\xE9", kCFCompareNonliteral, 3, 2},
      {u"cafe\x301", u"e", kCFCompareNonliteral, kCFNotFound, 0},
      {u"CAF\xC9", u"e\x301", kCFCompareNonliteral | kCFCompareCaseInsensitive, 3, 1},
      {u"", u"a", kCFCompareCaseInsensitive, kCFNotFound, 0},
  };
  for (const auto& one : cases) {
    const CFRange found = CFStringFind(Make(one.where).get(), Make(one.text).get(), one.options);
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
  EXPECT_EQ(compare(u"a", u"A", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(compare(u"stra\u00DFe", u"STRASSE", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(compare(u"\x3A3", u"\x3C2", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(compare(u"a", u"", kCFCompareCaseInsensitive), kCFCompareGreaterThan);
  EXPECT_EQ(compare(u"a", u"B", kCFCompareCaseInsensitive), kCFCompareLessThan);
  EXPECT_EQ(compare(u"a\xE9", u"A", kCFCompareCaseInsensitive), kCFCompareGreaterThan);
  EXPECT_EQ(compare(u"\xE9", u"e\x301", 0), kCFCompareGreaterThan);
  EXPECT_EQ(compare(u"\xE9", u"e\x301", kCFCompareNonliteral), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompareWithOptions(CFSTR(u"xaby"), CFSTR(u"ab"), {1, 2}, 0), kCFCompareEqualTo);
}

TEST(CFString, Replaces) {
  const auto replace = [](std::u16string_view where, const char16_t* text, const char16_t* with,
                          CFRange range, CFStringCompareFlags options, CFIndex* count) {
    const Owned<NSString> string(NSString::NewMutable(where));
    *count = CFStringFindAndReplace(string.get(), CFSTR(text), CFSTR(with), range, options);
    return string->ToUnits();
  };
  CFIndex count = 0;
  EXPECT_EQ(replace(u"abab", u"ab", u"x", {0, 4}, 0, &count), u"xx");
  EXPECT_EQ(count, 2);
  EXPECT_EQ(replace(u"aaa", u"aa", u"b", {0, 3}, 0, &count), u"ba");
  EXPECT_EQ(replace(u"aaa", u"a", u"aa", {1, 1}, 0, &count), u"aaaa");
  EXPECT_EQ(count, 1);
  EXPECT_EQ(replace(u"abc", u"", u"x", {0, 3}, 0, &count), u"abc");
  EXPECT_EQ(count, 0);
  EXPECT_EQ(replace(u"AbaB", u"ab", u"", {0, 4}, kCFCompareCaseInsensitive, &count), u"");
  EXPECT_EQ(count, 2);
  EXPECT_EQ(replace(u"abab", u"ab", u"x", {0, 4}, kCFCompareAnchored, &count), u"xab");
}

TEST(CFString, FindsUnitsOfASet) {
  const Text string = Make(u"a.b\x20AC");
  const Owned<const NSCharacterSet> set(
      CFCharacterSetCreateWithCharactersInString(nullptr, CFSTR(u".\x20AC")));
  CFRange found{};
  EXPECT_TRUE(CFStringFindCharacterFromSet(string.get(), set.get(), Whole(string), 0, &found));
  EXPECT_EQ(found.location, 1);
  EXPECT_TRUE(CFStringFindCharacterFromSet(string.get(), set.get(), Whole(string),
                                           kCFCompareBackwards, &found));
  EXPECT_EQ(found.location, 3);
  EXPECT_FALSE(CFStringFindCharacterFromSet(string.get(), set.get(), Whole(string),
                                            kCFCompareAnchored, &found));
}

}  // namespace
}  // namespace orvik::test
