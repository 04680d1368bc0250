// Strings, and the order of texts.
#include "platform/core_foundation/string.h"

#include <climits>

#include "platform/carbon/ascii_collation.h"
#include "platform/carbon/collation.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/scalars.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/test_environment.h"
#include "text/characters.h"

namespace orvik::test {
namespace {

using Text = Owned<NSString>;

Text Units(std::u16string_view units) {
  return Text(NSString::NewFromUnits(units));
}

TEST(String, TheWayATextIsKeptNeverShows) {
  const auto forms_of = [](const std::u16string& text) {
    return std::vector<NSString*>{NSString::NewFromUnits(text), NSString::NewMutable(text),
                                  NSString::NewNoCopy(text, false)};
  };
  const std::u16string texts[] = {u"",       u"a",       u"abcdefgh1234567", u"Gr\xFC\xDF",
                                  u"\x20AC", u"a\x20AC", u"\xD83D\xDE00",    {u'a', u'\0', u'b'}};
  for (const std::u16string& text : texts) {
    for (const std::u16string& other : texts) {
      const int order = text.compare(other);
      for (NSString* const one : forms_of(text)) {
        const Text a(one);
        EXPECT_EQ(a->ToUnits(), text);
        for (NSString* const two : forms_of(other)) {
          const Text b(two);
          EXPECT_EQ(a->isEqual(two), text == other);
          EXPECT_TRUE(text != other || a->hash() == b->hash());
          EXPECT_EQ(a->compare(two), order < 0 ? -1 : order > 0);
        }
      }
    }
  }
  EXPECT_TRUE(Units(u"abc")->isAscii() && Units(u"\xFF")->isLatin1());
  EXPECT_FALSE(Units(u"\xFF")->isAscii() || Units(u"\x100")->isLatin1());
  EXPECT_TRUE(Text(NSString::NewFromUtf8("\xC3\xBF"))->isLatin1());
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
  // A string over a caller's units is copied, too.
  std::u16string lent = u"abc";
  const Text own(Text(NSString::NewNoCopy(lent, false))->copy());
  lent[0] = u'X';
  EXPECT_EQ(own->ToUnits(), u"abc");
}

TEST(String, ChangesInABufferOfTheCallerAreCutAtItsEnd) {
  for (CFIndex first = -1; first <= 7; ++first) {
    for (CFIndex count = -1; count <= 9; ++count) {
      for (std::size_t size = 0; size <= 9; ++size) {
        const std::u16string_view units = std::u16string_view(u"123456789").substr(0, size);
        std::u16string expected = u"abcdef";
        if (first >= 0 && first <= 6 && count >= 0) {
          expected.replace(static_cast<std::size_t>(first), static_cast<std::size_t>(count), units);
          expected.resize(std::min<std::size_t>(expected.size(), 8));
        }
        char16_t buffer[9] = u"abcdef||";
        const Text string(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, 6, 8,
                                                                            kCFAllocatorNull));
        string->replaceCharacters(first, count, units);
        EXPECT_EQ(string->ToUnits(), expected) << first << ", " << count << ", " << size;
        EXPECT_EQ(buffer[8], 0);
      }
    }
  }
  char16_t buffer[2] = {};
  const std::tuple<char16_t*, CFIndex, CFIndex> kRefused[] = {
      {nullptr, 0, 2}, {buffer, -1, 2}, {buffer, 3, 2}, {buffer, 0, kMaximumStringLength + 1}};
  for (const auto& [units, length, capacity] : kRefused) {
    EXPECT_EQ(NSString::NewInBuffer(units, length, capacity), nullptr);
  }
  EXPECT_NE(Text(NSString::NewInBuffer(buffer, 2, 2)), nullptr);
  EXPECT_EQ(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, 1, 2, nullptr),
            nullptr);
}

// The units of the views are never read.
TEST(String, ATextThatIsTooLongIsRefused) {
  const std::size_t length = static_cast<std::size_t>(kMaximumStringLength);
  const std::u16string_view units(u"x", length + 1);
  EXPECT_EQ(NSString::NewFromUnits(units), nullptr);
  EXPECT_EQ(NSString::NewMutable(units), nullptr);
  EXPECT_EQ(NSString::NewNoCopy(units, false), nullptr);
  EXPECT_EQ(NSString::NewFromAscii(std::string_view("x", length + 1)), nullptr);
  EXPECT_EQ(NSString::NewFromLatin1(std::string_view("x", length + 1)), nullptr);
  EXPECT_EQ(Text(NSString::NewNoCopy(units.substr(1), false))->length(), kMaximumStringLength);
  const Text string(NSString::NewMutable(u"ab"));
  string->replaceCharacters(0, 2, units);
  string->append(units.substr(2));
  EXPECT_EQ(string->ToUnits(), u"ab");
}

TEST(String, ALongStringSharesTheMemoryOfItsValue) {
  for (const char16_t unit : {u'x', u'\xE9', u'\x4E16'}) {
    for (const std::size_t length : {63u, 64u}) {
      const plist::Value value = std::u16string(length, unit);
      const Text string(NSString::NewFromValue(value));
      EXPECT_EQ(string->value().IsSharedWith(value), length == 64);
      EXPECT_EQ(string->ToUnits(), std::u16string(length, unit));
      EXPECT_EQ(string->isAscii(), unit < 0x80);
      EXPECT_EQ(string->isLatin1(), unit < 0x100);
      std::u16string part(3, u'|');
      CFStringGetCharacters(string.get(), CFRangeMake(static_cast<CFIndex>(length) - 2, 9),
                            part.data());
      EXPECT_EQ(part, std::u16string(2, unit) + u"|");
    }
  }
}

// The fuzz target number_text tests the integers.
TEST(String, Numbers) {
  const DecimalComma comma;
  const std::tuple<const char16_t*, int, double> cases[] = {
      {u"12", 12, 12},
      {u" \t\n-7x", -7, -7},
      {u".5", 0, 0.5},
      {u"\u300042", 42, 42},
      {u"1e", 1, 1},
      {u"0x10", 0, 0},
      {u"2147483648", INT_MAX, 2147483648.0},
      {u"\x0661", 0, 0},
      {u"-99999999999999999999", INT_MIN, -1e20},
      {u"inf", 0, 0},
      {u"3.75e2z", 3, 375},
      {u"1\x0130", 1, 1}};
  for (const auto& [text, integer, real] : cases) {
    EXPECT_EQ(Units(text)->intValue(), integer) << testing::PrintToString(text);
    EXPECT_EQ(Units(text)->doubleValue(), real) << testing::PrintToString(text);
  }
}

TEST(String, MakesNewTexts) {
  const NSAutoreleasePool pool;
  const Text a = Units(u"ab"), wide = Units(u"\x20AC"), narrow = Units(u"\xE9");
  EXPECT_EQ(a->stringByAppendingString(wide.get())->ToUnits(), u"ab\x20AC");
  EXPECT_EQ(a->stringByAppendingString(narrow.get())->ToUnits(), u"ab\xE9");
  EXPECT_EQ(a->stringByAppendingString(nullptr)->ToUnits(), u"ab");
  EXPECT_EQ(narrow->stringByAppendingString(narrow.get())->ToUnits(), u"\xE9\xE9");
  EXPECT_EQ(wide->stringByAppendingString(a.get())->ToUnits(),
            u"\x20AC"
            u"ab");
  EXPECT_EQ(a->stringByAppendingString(Units(u"").get()), a.get());
  for (const Text* each : {&a, &wide, &narrow}) {
    const Text changed((*each)->mutableCopy());
    EXPECT_TRUE(changed->isMutable() && changed->isEqualToString(each->get()));
    EXPECT_FALSE(changed->description()->isMutable());
    EXPECT_EQ(changed->description()->ToUnits(), changed->ToUnits());
  }
  EXPECT_EQ(a->description(), a.get());
  EXPECT_EQ(a->compare(nullptr), NSOrderedDescending);
  EXPECT_FALSE(a->isEqual(nullptr) || a->isEqualToString(nullptr) ||
               a->isEqual(NSNumber::numberWithBool(YES)));
  EXPECT_EQ(NSString::stringWithUTF8String(nullptr), nullptr);
  EXPECT_EQ(NSString::stringWithUTF8String("\xC3\xA9\xE2\x82\xAC")->ToUnits(), u"\xE9\x20AC");
  EXPECT_EQ(NSString::stringWithUTF8String("\xFF"), nullptr);
  EXPECT_EQ(CFSTR(u"one"), CFSTR(u"one"));
  EXPECT_EQ(Units(u"\xE9\x4E2D\xD83D")->ToUtf8(), "\xC3\xA9\xE4\xB8\xAD?");
  const Owned<const NSString> text(CFStringCreateWithFormat(
      nullptr, nullptr, CFSTR(u"%@|%.1@|%@"), CFSTR(u"c\x20AC"), CFSTR(u"xyz"), nullptr));
  EXPECT_EQ(text->ToUnits(), u"c\x20AC|x|(null)");
}

TEST(CFString, CreatesFromUnitsAndMapsTheirCase) {
  const auto text = [](CFStringRef string) {
    const Owned<const NSString> made(string);
    return made == nullptr ? u"none" : made->ToUnits();
  };
  EXPECT_EQ(text(CFStringCreateWithCharacters(nullptr, u"abc", 2)), u"ab");
  EXPECT_EQ(text(CFStringCreateWithCharacters(nullptr, nullptr, 0)), u"");
  EXPECT_EQ(text(CFStringCreateWithCharacters(nullptr, nullptr, 1)), u"none");
  EXPECT_EQ(text(CFStringCreateWithCharacters(nullptr, u"abc", -1)), u"none");
  EXPECT_EQ(text(CFStringCreateWithCharactersNoCopy(nullptr, u"abc", 2, kCFAllocatorNull)), u"ab");
  EXPECT_EQ(text(CFStringCreateWithCharactersNoCopy(nullptr, nullptr, 1, kCFAllocatorNull)),
            u"none");
  EXPECT_EQ(text(CFStringCreateWithCharactersNoCopy(nullptr, u"abc", -1, kCFAllocatorNull)),
            u"none");
  // The string frees the units.
  auto* const units = static_cast<char16_t*>(std::calloc(3, sizeof(char16_t)));
  EXPECT_EQ(text(CFStringCreateWithCharactersNoCopy(nullptr, units, 2, nullptr)),
            std::u16string(2, u'\0'));
  EXPECT_EQ(text(CFStringCreateCopy(nullptr, CFSTR(u"x"))), u"x");
  EXPECT_EQ(CFStringCreateCopy(nullptr, nullptr), nullptr);
  EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(CFStringGetLength(nullptr), 0);
  EXPECT_EQ(CFStringGetLength(CFSTR(u"xy")), 2);
  const ScopedVariable turkish("LC_ALL", "tr_TR.UTF-8");
  const Owned<const NSLocale> locale(CFLocaleCopyCurrent());
  const Text string(NSString::NewMutable(u"iI"));
  CFStringUppercase(string.get(), locale.get());
  EXPECT_EQ(string->ToUnits(), u"\x130I");
  CFStringLowercase(string.get(), locale.get());
  EXPECT_EQ(string->ToUnits(), u"i\x131");
  CFStringUppercase(string.get(), nullptr);
  EXPECT_EQ(string->ToUnits(), u"II");
}

TEST(CFString, CreatesFromBytesOfAnEncoding) {
  const auto make = [](const char* bytes, CFStringEncoding encoding) {
    const Owned<const NSString> made(CFStringCreateWithCString(nullptr, bytes, encoding));
    return made == nullptr ? u"none" : made->ToUnits();
  };
  EXPECT_EQ(make("\xE9", kCFStringEncodingMacRoman), u"\xC8");
  EXPECT_EQ(make("\xEF\xBB\xBFx", kCFStringEncodingUTF8), u"\xFEFFx");
  EXPECT_EQ(make("\xE9", kCFStringEncodingASCII), u"none");
  EXPECT_EQ(make("x", 0x12345), u"none");
  EXPECT_EQ(make(nullptr, kCFStringEncodingUTF8), u"none");
}

TEST(CFString, GetsTheWholeCharactersOfARangeThatFit) {
  const Text string = Units(u"a\x20AC\xD83D\xDE00");
  const std::tuple<CFStringEncoding, CFRange, CFIndex, CFIndex, std::string> kCases[] = {
      {kCFStringEncodingUTF8, {0, 4}, 7, 2, "a\xE2\x82\xAC"},
      {kCFStringEncodingUTF8, {0, 4}, 8, 4, "a\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {kCFStringEncodingUTF8, {-1, 1}, 9, 1, "a"},
      {kCFStringEncodingUTF8, {9, 1}, 9, 0, ""},
      {kCFStringEncodingASCII, {0, 2}, 3, 2, "a?"},
      {kCFStringEncodingMacRoman, {0, 2}, 3, 2, "a\xDB"},
      {0x12345, {0, 2}, 3, 0, ""}};
  for (const auto& [encoding, range, room, units, bytes] : kCases) {
    std::string buffer(16, '|');
    const auto get = [&, &range = range, &encoding = encoding, &room = room](CFIndex* used) {
      return CFStringGetBytes(string.get(), range, encoding, '?', false,
                              reinterpret_cast<UInt8*>(buffer.data()), room, used);
    };
    CFIndex used = 0;
    EXPECT_EQ(get(&used), units);
    EXPECT_EQ(used, static_cast<CFIndex>(bytes.size()));
    EXPECT_EQ(get(nullptr), units);
    EXPECT_EQ(buffer, bytes + std::string(16 - bytes.size(), '|'));
  }
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(string.get(), CFRangeMake(0, 4), kCFStringEncodingUTF8, 0, false,
                             nullptr, 0, &used),
            4);
  EXPECT_EQ(used, 8);
}

using Collation = EnvironmentTest;

int Order(UCCollateOptions options, std::u16string_view a, std::u16string_view b) {
  SInt32 order = 99;
  Boolean equal = 99;
  EXPECT_EQ(UCCompareTextDefault(options, a.data(), a.size(), b.data(), b.size(), &equal, &order),
            0);
  EXPECT_EQ(equal != 0, order == 0);
  return order;
}

TEST_F(Collation, IgnoresWhatTheOptionsName) {
  const std::tuple<UCCollateOptions, const char16_t*, const char16_t*, bool> cases[] = {
      {0x8006, u"a", u"A", false},           {0x8008, u"a", u"A", true},
      {0x8006, u"a", u"\xFF41", true},       {0x8008, u"a", u"\xFF21", false},
      {0x800E, u"a", u"\xFF21", true},       {0x800E, u"\xFF8A\xFF9E", u"\x30D0", true},
      {0x800E, u"\x304B", u"\x30AB", false}, {0x8006, u"a b", u"ab", false},
      {0x0006, u"a-b", u"ab", true},         {0x8006, u"", u"", true},
      {0x8006, u"\x3000", u" ", true},       {0x8006, u"\xFF01", u"!", true},
      {0x8006, u"\xFFEE", u"\x25CB", true},  {0x8002, u"a", u"\xFF41", false},
      {0x8002, u"\xE9", u"e\x301", true},    {0x8006, u"\xFF41", u"A", false},
      {0x800A, u"A", u"\xFF41", false},      {0x800E, u"\x3A3\x3B1", u"\x3C3\x391", true}};
  for (const auto& [options, a, b, equal] : cases) {
    EXPECT_EQ(Order(options, a, b) == 0, equal) << options << testing::PrintToString(a);
  }
  EXPECT_LT(Order(0x8006, u"", u"a"), 0);
}

TEST_F(Collation, FollowsTheLocale) {
  for (const auto& [locale, order] :
       {std::pair("de_DE.UTF-8", -1), std::pair("sv_SE.UTF-8", 1), std::pair("de_DE", -1)}) {
    setenv("LC_COLLATE", locale, 1);
    EXPECT_EQ(Order(0x8006, u"\xE4", u"z"), order) << locale;
    EXPECT_EQ(Order(0x800E, u"I", u"i"), 0) << locale;
  }
  // Case is folded by the rules of the language.
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  EXPECT_EQ(Order(0x800E, u"I", u"\x131"), 0);
  EXPECT_NE(Order(0x800E, u"I", u"i"), 0);
}

TEST_F(Collation, AnUnknownLocaleIsTheRootAndEmptyTextsComeFirst) {
  setenv("LC_ALL", std::string(300, 'x').c_str(), 1);
  EXPECT_LT(Order(0x8006, u"abc", u"xyz"), 0);
  EXPECT_LT(Order(0x800E, u"\xE4", u"z"), 0);
  SInt32 order = 99;
  EXPECT_EQ(UCCreateCollator(nullptr, 0, 0, nullptr), paramErr);
  EXPECT_EQ(UCDisposeCollator(nullptr), paramErr);
  EXPECT_EQ(UCCompareText(nullptr, u"a", 1, u"b", 1, nullptr, &order), paramErr);
  CollatorRef collator = nullptr;
  ASSERT_EQ(UCCreateCollator(nullptr, 0, 0, &collator), 0);
  EXPECT_EQ(UCCompareText(collator, nullptr, 1, u"b", 1, nullptr, &order), paramErr);
  EXPECT_EQ(UCCompareText(collator, u"a", 1, nullptr, 1, nullptr, &order), paramErr);
  EXPECT_EQ(UCCompareText(collator, u"a", UniCharCount{1} << 31, u"b", 1, nullptr, &order),
            paramErr);
  EXPECT_EQ(order, 99);
  EXPECT_EQ(UCCompareText(collator, nullptr, 0, u"b", 1, nullptr, &order), 0);
  EXPECT_LT(order, 0);
  EXPECT_EQ(UCCompareText(collator, u"a", 1, u"a", 1, nullptr, nullptr), 0);
  EXPECT_EQ(UCDisposeCollator(&collator), 0);
  EXPECT_EQ(collator, nullptr);
}

using Collator = std::unique_ptr<UCollator, decltype(&ucol_close)>;

Collator Open(const char* locale) {
  UErrorCode status = U_ZERO_ERROR;
  Collator collator(ucol_open(locale, &status), ucol_close);
  EXPECT_TRUE(U_SUCCESS(status)) << locale;
  return collator;
}

TEST(AsciiCollation, IsMadeWhenItPaysOffForCharactersThatCountAlone) {
  for (const char* locale : {"cs", "da", "hu", "en@colNumeric=yes"}) {
    EXPECT_FALSE(carbon::AsciiCollation(Open(locale).get(), UCOL_TERTIARY).IsValid()) << locale;
  }
  const Collator collator = Open("");
  const carbon::LazyAsciiCollation lazy(collator.get(), UCOL_TERTIARY);
  for (unsigned i = 0; i <= carbon::LazyAsciiCollation::kPaysOff; ++i) {
    ASSERT_EQ(lazy.Get(), nullptr) << i;
  }
  ASSERT_NE(lazy.Get(), nullptr);
}

}  // namespace
}  // namespace orvik::test
