// Searching, trimming, editing, formatting and tokenizing of the wide string; the narrow string.
#include <climits>
#include <cstdarg>
#include <iterator>
#include <span>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using std::u16string_view;

TEST(CAtlStringOperations, FindsUnitsOfEitherWidthLiterally) {
  const CAtlString text(u"abcb\u00E9A\u0301");  // the composed A is different
  EXPECT_EQ((std::vector{text.Find('b'), text.Find('\xE9'), text.Find("b\xE9"), text.Find(u""),
                         text.Find(static_cast<const char16_t*>(nullptr)), text.Find(u"A"),
                         text.Find(u"\u00C1"), CAtlString(u"a\0b", 3).Find(u'b'),
                         text.FindOneOf("\xE9"), text.ReverseFind('a'), text.Find(u'b', INT_MIN)}),
            (std::vector{1, 4, 3, -1, -1, 5, -1, 2, 4, 0, 1}));
}

TEST(CAtlStringOperations, FindsWhatNearlyRepeatsWithoutDelay) {
  const auto check = [](const auto text) {
    const auto end = decltype(text)(text.Left(50'000)), sought = end + 'b' + end;
    EXPECT_EQ(text.Find(sought), -1);
    EXPECT_EQ((text + "ab" + text).Find(sought), 350'001);
  };
  check(CAtlString(u'a', 400'000));
  check(CAtlStringA('a', 400'000));
}

using Texts = std::vector<std::u16string>;

TEST(CAtlStringOperations, TrimsWhiteSpaceUnitsAndSets) {
  CAtlString text(u"\t \r\n\v\f a \u00A0 ");  // a no-break space is not trimmed
  EXPECT_EQ(TextsOf({text.TrimLeft(), text.Trim(), CAtlString(u" \t ").TrimLeft(),
                     CAtlString(u"--a-").TrimLeft('-'), CAtlString(u"b\u00E9").TrimRight("\xE9")}),
            (Texts{u"a \u00A0 ", u"a \u00A0", u"", u"a-", u"b"}));
  const CAtlString shared(u"abc");
  CAtlString same = shared;
  same.TrimLeft(u"").TrimRight(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(same.GetString(), shared.GetString());
  EXPECT_EQ(same.TrimLeft(same).View(), u"");
}

TEST(CAtlStringOperations, ReplacesInAFreshBlockOrNot) {
  CAtlString text(u"abab");
  EXPECT_EQ(text.Replace(u"ab", u"x"), 2);
  EXPECT_EQ(text.GetAllocLength(), 2);
  const CAtlString shared = text;
  EXPECT_EQ(text.Replace(u"y", u"z") + text.Replace(u"", u"z") + text.Replace(u'x', u'x'), 0);
  EXPECT_EQ(text.GetString(), shared.GetString());
  EXPECT_EQ(text.Replace(u'y', u'z'), 0);  // makes the block private even so
  EXPECT_NE(text.GetString(), shared.GetString());
  EXPECT_EQ(text.Replace(u"x", text), 2);
  EXPECT_EQ(text.View(), u"xxxx");
  EXPECT_EQ(text.Replace(u"xxx", nullptr) + text.Replace(text, u""), 2);
  EXPECT_EQ(text.View(), u"");
}

TEST(CAtlStringOperations, TheWholeContentSharesTheBlock) {
  const CAtlString text(u"abc");
  for (const CAtlString& whole :
       {text.Left(3), text.Right(10), text.Mid(0), text.Mid(-1, INT_MAX)}) {
    EXPECT_EQ(whole.GetString(), text.GetString());
  }
}

// fuzz/string_edits_fuzzer.cpp covers all other sets and positions.
TEST(CAtlStringOperations, TokenizesOverZeroUnitsAndWithoutASet) {
  int ended = -1, whole = 0, inner = 0, narrow = 0;
  EXPECT_EQ(
      TextsOf({CAtlString(u"ab").Tokenize(u",", ended), CAtlString(u"ab").Tokenize(nullptr, whole),
               CAtlString(u"a\0,b", 4).Tokenize(u",", inner)}),
      (Texts{u"", u"ab", std::u16string(u"a\0", 2)}));
  EXPECT_EQ((std::vector{ended, whole, inner}), (std::vector{-1, -1, 3}));
  EXPECT_EQ(CAtlStringA(",a,,b,").Tokenize(u",", narrow).View(), "a");
}

void FormatListOfC(CAtlString& text, const char16_t* format, ...) {
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  text.FormatV(format, arguments);
  text.AppendFormat(format, again);
  va_end(again);
  va_end(arguments);
}

TEST(CAtlStringOperations, FormatsWithItsOwnTextAndKeepsItAfterAFailure) {
  CAtlString text(u"own");
  text.Format(u"%s-%S %d", text.GetString(), u"\u20AC", 42);
  EXPECT_EQ(text.View(), u"own-\u20AC 42");
  EXPECT_EQ(text.GetAllocLength(), text.GetLength() + 1);
  text.Format(u"%%s");  // the "%s" in it is replaced, too
  EXPECT_EQ(text.View(), u"%S");
  FormatListOfC(text, u"%@;", CFSTR(u"object"));
  text.AppendFormat(u"%s", text.GetString());
  EXPECT_EQ(text.View(), u"object;object;object;object;");
  const CAtlString shared = text;
  FormatListOfC(text, u"%2$d %4$d", 1, 2, 3, 4);  // a va_list must not leave a gap
  text.Format(nullptr);
  EXPECT_EQ(text.GetString(), shared.GetString());
  text.Format(u"");
  EXPECT_TRUE(text.IsEmpty());

  CAtlStringA bytes("own");
  bytes.Format("%s\xE9%S %d%%", bytes.GetString(), u"\u00C8", 42);
  bytes.AppendFormat(" %@", CFSTR(u"object"));
  EXPECT_EQ(bytes.View(), "own\xE9\xE9 42% object");
  const CAtlStringA same = bytes;
  bytes.AppendFormat("%S", u"\u4E00");  // not in Mac OS Roman
  EXPECT_EQ(bytes.GetString(), same.GetString());
}

template <typename... Arguments>
concept FormatsWide = requires(CAtlString text, const char16_t* format, Arguments... arguments) {
  text.Format(format, arguments...);
  text.AppendFormat(format, arguments...);
};
struct Other {};
static_assert(
    FormatsWide<CAtlString, CAtlStringA, std::string, char, bool, const int*, CFStringRef>);
// A literal format that does not fit its arguments does not compile; this is the condition.
template <typename... Arguments>
constexpr bool kFits(u16string_view format) {
  constexpr FormatType kTypes[] = {FormatTypeOf<Arguments>()...};
  return FormatFits(format, std::span<const FormatType>(kTypes));
}
static_assert(kFits<CFStringRef>(u"%@") && kFits<const NSNumber*>(u"%@") && kFits<void*>(u"%p") &&
              kFits<Other*>(u"%p"));
static_assert(!kFits<void*>(u"%@") && !kFits<CFTypeRef>(u"%@") && !kFits<Other*>(u"%@") &&
              !kFits<class Unknown*>(u"%@") && !kFits<int*>(u"%@"));
static_assert(!FormatsWide<Other> && !FormatsWide<std::vector<int>> && !FormatsWide<int, Other>);

TEST(CAtlStringOperations, FormatsByTheTypesOfTheArguments) {
  // Refused: a text as precision or number, a missing argument, numbered and plain arguments
  // together.
  const std::pair<const char16_t*, u16string_view> cases[] = {
      {u"[%@|%ls]", u"[w\u20AC|\u00C4n]"}, {u"[%2$5s|%1$-4s]", u"[   \u00C4n|w\u20AC  ]"},
      {u"[%.1s|%.*s]", u"unchanged"},      {u"[%d]", u"unchanged"},
      {u"[%3$s]", u"unchanged"},           {u"[%1$s|%s]", u"unchanged"}};
  for (const auto& [format, expected] : cases) {
    CAtlString text(u"unchanged");
    text.Format(format, CAtlString(u"w\u20AC"), CAtlStringA("\x80n"));
    EXPECT_EQ(text.View(), expected);
    CAtlStringA bytes;
    bytes.Format(CAtlStringA(format), CAtlStringA("w"), CAtlString(u"\u00C4n"));
    EXPECT_EQ(bytes.IsEmpty(), expected == u"unchanged") << CAtlString(format);
  }
  CAtlString text;
  text.Format(u"%s %s %s", std::u16string(u"a\0b", 3), std::string_view(), nullptr);
  EXPECT_EQ(text.View(), u16string_view(u"a\0b  (null)", 11));
  text.Format(u"%d %u %x %hhd %lld %c%C %p %*d|%.*f|%Lf", 5'000'000'000, -1, -1LL, 257, short{-7},
              'c', u'\u20AC', static_cast<void*>(nullptr), 4, 1, 2, 0.25f, 1.5);
  EXPECT_EQ(text.View(),
            u"5000000000 4294967295 ffffffffffffffff 1 -7 c\u20AC 0x0    1|0.25|1.500000");
  char16_t buffer[] = u"%d";
  text.Format(buffer, true);
  text.AppendFormat(text, 1);  // a format without conversions
  EXPECT_EQ(text.View(), u"11");
}

TEST(CAtlStringOperations, MapsCaseWithinItsLength) {
  CAtlString text(u"stra\u00DFe \u00E9");
  const CAtlString shared = text;
  EXPECT_EQ(text.Uppercased().View(), u"STRASSE \u00C9");
  EXPECT_EQ(text.MakeUpper().View(), u"STRASSE ");  // cut at the old length
  EXPECT_EQ(shared.View(), u"stra\u00DFe \u00E9");
  text = u"\u00C9A\u039F\u03A3";
  EXPECT_EQ(text.Lowercased().View(), u"\u00E9a\u03BF\u03C2");
  const CAtlString mixed = text;
  EXPECT_EQ(text.MakeLower().View(), u"\u00E9a\u03BF\u03C2");
  EXPECT_EQ(mixed.View(), u"\u00C9A\u039F\u03A3");
  CAtlStringA bytes("\xC9z");
  const CAtlStringA same = bytes;
  EXPECT_EQ(bytes.MakeUpper().View(), "\xC9Z");
  EXPECT_EQ(same.View(), "\xC9z");
  const CAtlStringA upper = bytes;
  EXPECT_EQ(bytes.MakeLower().View(), same.View());
  EXPECT_EQ(upper.View(), "\xC9Z");
}

TEST(CAtlStringOperations, SeesStartsEndsAndContents) {
  const CAtlString text(u"a\0bc", 4);
  EXPECT_TRUE(text.StartsWith(u"a") && text.StartsWith(text) && text.EndsWith(u"bc") &&
              text.Contains(u'\0') && text.Contains(u16string_view(u"\0b", 2)));
  EXPECT_FALSE(text.StartsWith(u"b") || text.EndsWith(u"b") || text.Contains(u"ab") ||
               text.Contains(u'd'));
}

TEST(CAtlStringOperations, ReadsNumbersThatAreTheWholeText) {
  using Integer = std::optional<std::int64_t>;
  using Real = std::optional<double>;
  const std::tuple<const char*, Integer, Real> cases[] = {
      {"-12", -12, -12.0},
      {"9223372036854775807", INT64_MAX, 9223372036854775807.0},
      {"1e-3", Integer(), 1e-3},
      {"9223372036854775808", Integer(), 9223372036854775808.0},
      {"1e999", {}, {}},
      {"", {}, {}},
      {" 1", {}, {}},
      {"1 ", {}, {}},
      {"+1", {}, {}},
      {"1\xE9", {}, {}}};
  for (const auto& [text, integer, real] : cases) {
    EXPECT_EQ(CAtlString(text).ToInteger(), integer) << text;
    EXPECT_EQ(CAtlStringA(text).ToInteger(), integer) << text;
    EXPECT_EQ(CAtlString(text).ToReal(), real) << text;
    EXPECT_EQ(CAtlStringA(text).ToReal(), real) << text;
  }
  EXPECT_EQ(CAtlString(u"fF").ToInteger(16), 255);
  EXPECT_FALSE(CAtlString(u"1").ToInteger(1) || CAtlString(u"1").ToInteger(37) ||
               CAtlString(u"\u0661").ToInteger() || CAtlString(u'1', 5000).ToReal());
}

using NarrowTexts = std::vector<std::string>;

TEST(CAtlStringA, NarrowsAndWidensAsLatin1) {
  const CAtlString wide(u"\u20AC\u00E9\u0100z");
  CAtlStringA text(wide);
  EXPECT_EQ(TextsOf({text, CAtlStringA(wide.GetString(), 2), CAtlStringA(u'\u20AC', 2),
                     text = u'\u00E9', text = wide.GetString(), text = u"", text = wide}),
            (NarrowTexts{"?\xE9?z", "?\xE9", "??", "\xE9", "?\xE9?z", "", "?\xE9?z"}));
  text += u'\u20AC';
  text += u"\u00E9";
  text += text;
  EXPECT_EQ(text.View(), "?\xE9?z?\xE9?\xE9?z?\xE9");
  const CAtlString assigned = CAtlStringA("\xE9\x80\xFF");
  EXPECT_EQ(assigned.View(), u"\u00E9\u0080\u00FF");
}

TEST(CAtlStringA, MeetsPlatformStringsAsMacRoman) {
  const Owned<const NSString> platform(
      CAtlStringA("\xE9\x80\0x", 4).CreateCFStringRef(kCFAllocatorDefault));
  EXPECT_EQ(CAtlString(platform.get()).View(), u"\u00C8\u00C4");  // up to the 0 byte
  EXPECT_EQ(CAtlStringA(platform.get()).View(), "\xE9\x80");
  const CAtlString wide(u"\u4E00A\U0001F600\u00C4");  // missing in Mac OS Roman: "?"
  const Owned<const NSString> lacking(wide.CreateCFStringRef(kCFAllocatorDefault));
  CAtlStringA text;
  text = lacking.get();
  EXPECT_EQ(text.View(), "?A?\x80");
  EXPECT_LE(text.GetAllocLength(), wide.GetLength());
}

TEST(CAtlStringA, ComparesAsMacRoman) {
  // U+00C4 is the byte 0x80, U+00A0 the byte 0xCA.
  const CAtlStringA a("a"), umlaut("\x80");
  EXPECT_EQ((std::vector{umlaut.Compare("\xCA"), umlaut.Compare(u"\u00C4"), a.Compare("ab"),
                         a.Compare("A"), a.Collate(CAtlStringA("A")),
                         umlaut.CompareNoCase(u"\u00E4"), a.CompareNoCase(CAtlStringA("A")),
                         a.Collate("A", false), a.CollateNoCase(u"A")}),
            (std::vector{1, 0, -1, 1, 1, 0, 0, 0, 0}));
  EXPECT_TRUE(umlaut > CAtlStringA("\xCA") && umlaut == u"\u00C4" && u"\u00C4" == umlaut);
  EXPECT_TRUE(CAtlStringA() == static_cast<const char*>(nullptr));
  EXPECT_TRUE("a" < CAtlStringA("b") && CAtlStringA("b") >= u"a" && CAtlStringA("a") != "b");
}

TEST(CAtlStringA, SearchesUpToAZeroByte) {
  const CAtlStringA text("abc\0abd", 7), digits("123x4");
  EXPECT_EQ((std::vector{text.Find("bc"), text.Find("bd"), text.Find("bd", 4), text.Find("", 7),
                         text.Find(CAtlStringA("c\0x", 3)), text.FindOneOf("dc"),
                         text.FindOneOf(CAtlStringA("d")), text.Find('d'), text.ReverseFind('b')}),
            (std::vector{1, -1, 5, -1, 2, 2, -1, 6, 5}));  // a single byte is found anywhere
  EXPECT_EQ(TextsOf({text.SpanExcluding("d"), digits.SpanIncluding("0123456789"),
                     digits.SpanIncluding(""), digits.SpanExcluding(nullptr)}),
            (NarrowTexts{"abc", "123", "", "123x4"}));
}

TEST(CAtlStringA, TrimsByTheCLibraryAndReplacesWithOneSpareByte) {
  EXPECT_EQ(CAtlStringA("\t\v a\xA0 \r").Trim().View(), "a\xA0");
  CAtlStringA text("abab");
  EXPECT_EQ(text.Replace("ab", "xyz"), 2);
  EXPECT_EQ(text.GetAllocLength(), 7);
}

}  // namespace
}  // namespace orvik::test
