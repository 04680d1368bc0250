// Searching, trimming, editing, formatting and tokenizing of the wide string.
#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/core_foundation/number.h"
#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "tests/strings/texts.h"

namespace orvik {
namespace {

using std::u16string_view;
using test::TextsOf;

TEST(CAtlStringOperations, FindLiterally) {
  const CAtlString text(u"abcb\u00E9A\u0301");
  const auto null = static_cast<const char16_t*>(nullptr);
  EXPECT_EQ((std::vector{text.Find(u'b', 2), text.Find(u'b', 4), text.Find('b'), text.Find('\xE9'),
                         text.Find(u'b', INT_MIN), text.Find(u'\u0301', 7), CAtlString().Find(u'a'),
                         CAtlString(u"a\0b", 3).Find(u'b')}),
            (std::vector{3, -1, 1, 4, 1, -1, -1, 2}));
  EXPECT_EQ((std::vector{text.Find(u"B"), text.Find(u"cb"), text.Find("b\xE9"),
                         text.Find(CAtlString(u"b"), 2), text.Find(u"b", -3), text.Find(u"b", 99),
                         text.Find(u"", 0), text.Find(null)}),
            (std::vector{-1, 2, 3, 3, 1, -1, -1, -1}));
  EXPECT_EQ(text.Find(u"A"), 5);        // a combining mark after it changes nothing
  EXPECT_EQ(text.Find(u"\u00C1"), -1);  // nor do composed forms
  EXPECT_EQ((std::vector{text.FindOneOf(u"xc\u0301"), text.FindOneOf("\xE9"),
                         text.FindOneOf(CAtlString(u"\u0301")), text.FindOneOf(u"")}),
            (std::vector{2, 4, 6, -1}));
  EXPECT_EQ((std::vector{text.ReverseFind(u'b'), text.ReverseFind('a'), text.ReverseFind(u'z')}),
            (std::vector{3, 0, -1}));
}

TEST(CAtlStringOperations, FindsAtEveryOffsetOfALongText) {
  for (int length = 1; length < 140; ++length) {
    CAtlString text(u'x', length);
    text.SetAt(length - 1, u'y');
    EXPECT_EQ(text.Find(u'y'), length - 1);
    EXPECT_EQ(text.Find(u"xy"), length < 2 ? -1 : length - 2);
  }
}

TEST(CAtlStringOperations, FindsWhatNearlyRepeatsWithoutDelay) {
  CAtlString text(u'a', 400'000);
  const CAtlString sought = CAtlString(u'a', 50'000) + u'b' + CAtlString(u'a', 50'000);
  EXPECT_EQ(text.Find(sought), -1);
  EXPECT_EQ((text + sought).Find(sought), 400'000);
  EXPECT_EQ((sought + text).Find(sought), 0);
  EXPECT_EQ((text + u"ab" + text).Find(sought), 350'001);
}

using Texts = std::vector<std::u16string>;

TEST(CAtlStringOperations, TrimsWhiteSpaceUnitsAndSets) {
  CAtlString text(u"\t \r\n\v\f a \u00A0 ");  // a no-break space is no white space
  EXPECT_EQ(TextsOf({text.TrimLeft(), text.Trim(), CAtlString(u" \t ").TrimLeft(),
                     CAtlString(u"a.,.,").TrimRight(u".,"),
                     CAtlString(u"--a-").TrimLeft('-').TrimRight(u'-'),
                     CAtlString(u"\u4E00ab").TrimLeft(CAtlString(u"a\u4E00")),
                     CAtlString(u"b\u00E9").TrimRight("\xE9")}),
            (Texts{u"a \u00A0 ", u"a \u00A0", u"", u"a", u"a", u"b", u"b"}));
  const CAtlString shared(u"abc");
  CAtlString same = shared;
  same.TrimLeft(u"").TrimRight(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(same.GetString(), shared.GetString());
  EXPECT_EQ(same.TrimLeft(same).View(), u"");
  EXPECT_EQ(shared.View(), u"abc");
}

TEST(CAtlStringOperations, ReplacesTextAndUnits) {
  CAtlString text(u"abab");
  EXPECT_EQ(text.Replace(u"ab", u"x"), 2);
  EXPECT_EQ(text.View(), u"xx");
  EXPECT_EQ(text.GetAllocLength(), 2);
  const CAtlString shared = text;
  EXPECT_EQ(text.Replace(u"y", u"z") + text.Replace(u"", u"z") + text.Replace(u'x', u'x'), 0);
  EXPECT_EQ(text.GetString(), shared.GetString());
  EXPECT_EQ(text.Replace(u'y', u'z'), 0);  // made private all the same
  EXPECT_NE(text.GetString(), shared.GetString());
  EXPECT_EQ(text.Replace(u"x", text), 2);
  EXPECT_EQ(text.View(), u"xxxx");
  EXPECT_EQ(text.Replace(u"xxx", nullptr), 1);
  EXPECT_EQ(text.View(), u"x");
  EXPECT_EQ(text.Replace(text, u""), 1);
  EXPECT_EQ(text.View(), u"");
  CAtlString overlapping(u"aaaaa");
  EXPECT_EQ(overlapping.Replace(u"aa", u"ba"), 2);
  EXPECT_EQ(overlapping.View(), u"babaa");
}

TEST(CAtlStringOperations, CutsPieces) {
  const CAtlString text(u"abc");
  EXPECT_EQ(TextsOf({text.Mid(-2, 2), text.Left(2), text.Right(2), text.Right(-2)}),
            (Texts{u"ab", u"ab", u"bc", u""}));
  for (const CAtlString& whole :
       {text.Left(3), text.Right(10), text.Mid(0), text.Mid(-1, INT_MAX)}) {
    EXPECT_EQ(whole.GetString(), text.GetString());
  }
}

TEST(CAtlStringOperations, Tokenizes) {
  using Tokens = std::vector<std::pair<u16string_view, int>>;
  const std::tuple<u16string_view, const char16_t*, int, Tokens> cases[] = {
      {u",a,,b,", u",", 0, {{u"a", 4}, {u"b", -1}}},
      {u",,,", u",", 0, {{u"", -1}}},
      {u"", u",", 0, {{u"", -1}}},
      {u"ab", u",", 2, {{u"", -1}}},
      {u"ab", u",", -1, {{u"", -1}}},
      {u"ab", u"", 0, {{u"ab", -1}}},
      {u"a;b,c", u",;", 0, {{u"a", 2}, {u"b", 4}, {u"c", -1}}},
      {u"a\u4E00\u4E01b", u"\u4E01\u4E00", 0, {{u"a", 3}, {u"b", -1}}},
      {u16string_view(u"a\0,b", 4), u",", 0, {{u16string_view(u"a\0", 2), 3}, {u"b", -1}}}};
  for (const auto& [text, set, start, tokens] : cases) {
    const CAtlString string(text);
    int position = start;
    for (const auto& [token, next] : tokens) {
      EXPECT_EQ(string.Tokenize(set, position).View(), token);
      EXPECT_EQ(position, next);
    }
  }
  int position = 0;
  EXPECT_EQ(CAtlString(u"abc").Tokenize(nullptr, position).View(), u"abc");
}

void FormatListOfC(CAtlString& text, const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  text.FormatV(format, arguments);
  va_end(arguments);
  va_start(arguments, format);
  text.AppendFormat(format, arguments);
  va_end(arguments);
}

TEST(CAtlStringOperations, Formats) {
  CAtlString text(u"own");
  text.Format(u"%s-%S %d", text.GetString(), u"\u20AC", 42);
  EXPECT_EQ(text.View(), u"own-\u20AC 42");
  EXPECT_EQ(text.GetAllocLength(), text.GetLength() + 1);
  text.Format(u"%%s");  // the "%s" in it is replaced like any other
  EXPECT_EQ(text.View(), u"%S");
  text.AppendFormat(u" %d", 0);
  text.AppendFormat(u" %s", static_cast<const char16_t*>(nullptr));
  text.AppendFormat(u" %.1f", 0.5);
  EXPECT_EQ(text.View(), u"%S 0 (null) 0.5");
  FormatListOfC(text, u"%@;", CFSTR(u"object"));
  EXPECT_EQ(text.View(), u"object;object;");
  text.AppendFormat(u"%s", text.GetString());
  EXPECT_EQ(text.View(), u"object;object;object;object;");
  const CAtlString shared = text;
  FormatListOfC(text, u"%2$d %4$d", 1, 2, 3, 4);  // a list of C must not leave a gap
  text.Format(nullptr);
  EXPECT_EQ(text.GetString(), shared.GetString());
  text.Format(u"");
  EXPECT_EQ(text.View(), u"");
}

template <typename... Arguments>
concept FormatsWide = requires(CAtlString text, const char16_t* format, Arguments... arguments) {
  text.Format(format, arguments...);
  text.AppendFormat(format, arguments...);
};
struct Other {};
static_assert(
    FormatsWide<CAtlString, CAtlStringA, std::string, char, bool, const int*, CFStringRef>);
// A literal format whose arguments do not fit does not compile; this is what it asks.
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
  const CAtlString wide(u"w\u20AC");
  const CAtlStringA narrow("\x80n");  // Mac OS Roman
  const std::pair<std::vector<const char16_t*>, u16string_view> cases[] = {
      {{u"[%s|%s]", u"[%S|%S]", u"[%hs|%ls]", u"[%@|%@]"}, u"[w\u20AC|\u00C4n]"},
      {{u"[%5s|%-4s]"}, u"[   w\u20AC|\u00C4n  ]"},
      {{u"[%2$s|%1$s|%2$.1S]"}, u"[\u00C4n|w\u20AC|\u00C4]"},
      {{u"[%2$s]"}, u"[\u00C4n]"},
      {{u"[%s]"}, u"[w\u20AC]"},
      // A text is neither a precision nor a number, there is no third argument, no mixture.
      {{u"[%.1s|%.*s]", u"[%d]", u"[%s|%s|%s]", u"[%3$s]", u"[%1$s|%s]"}, u"unchanged"}};
  for (const auto& [formats, expected] : cases) {
    for (const char16_t* const format : formats) {
      CAtlString text(u"unchanged");
      text.Format(format, wide, narrow);
      EXPECT_EQ(text.View(), expected) << CAtlString(format);
      CAtlStringA bytes;
      bytes.Format(CAtlStringA(format), CAtlStringA("w"), CAtlString(u"\u00C4n"));
      EXPECT_EQ(bytes.IsEmpty(), expected == u"unchanged") << CAtlString(format);
    }
  }
  CAtlString text;
  text.Format(u"%s %s %s", std::u16string(u"a\0b", 3), std::string_view(), nullptr);
  EXPECT_EQ(text.View(), u16string_view(u"a\0b  (null)", 11));
  text.Format(u"%d %u %x %hhd %lld %c%C %p", 5'000'000'000, -1, -1L, 257, short{-7}, 'c', u'\u20AC',
              static_cast<void*>(nullptr));
  EXPECT_EQ(text.View(), u"5000000000 4294967295 ffffffffffffffff 1 -7 c\u20AC 0x0");
  text.Format(u"%*d|%.*f|%g|%Lf", 4, 1, 2, 0.25f, 0.5L, 1.5);
  EXPECT_EQ(text.View(), u"   1|0.25|0.5|1.500000");
  char16_t buffer[] = u"%d";
  text.Format(buffer, true);
  text.AppendFormat(text, 1);  // a format of no conversions
  text.AppendFormat(CAtlString(u"%s"), text);
  EXPECT_EQ(text.View(), u"1111");
}

TEST(CAtlStringOperations, MapsCaseWithinItsLength) {
  CAtlString text(u"stra\u00DFe \u00E9");
  const CAtlString shared = text;
  EXPECT_EQ(text.Uppercased().View(), u"STRASSE \u00C9");
  EXPECT_EQ(text.MakeUpper().View(), u"STRASSE ");  // cut at the old length
  EXPECT_EQ(shared.View(), u"stra\u00DFe \u00E9");
  text = u"\u00C9A\u039F\u03A3";
  EXPECT_EQ(text.Lowercased().View(), u"\u00E9a\u03BF\u03C2");
  EXPECT_EQ(text.MakeLower().View(), u"\u00E9a\u03BF\u03C2");
  EXPECT_EQ(CAtlString().MakeUpper().MakeLower().GetString(), _afxPchNil);
  EXPECT_EQ(CAtlString(u"\xD83D\xDE00x").MakeReverse().View(), u"x\xDE00\xD83D");
}

TEST(CAtlStringOperations, SeesStartsEndsAndContents) {
  const CAtlString text(u"a\0bc", 4);
  EXPECT_TRUE(text.StartsWith(u"a") && text.StartsWith(text) && text.StartsWith(u""));
  EXPECT_FALSE(text.StartsWith(u"b") || text.StartsWith(text + u"d") || text.EndsWith(u"b"));
  EXPECT_TRUE(text.EndsWith(std::u16string(u"bc")) && text.EndsWith(CAtlString()));
  EXPECT_TRUE(text.Contains(u'\0') && text.Contains(u16string_view(u"\0b", 2)));
  EXPECT_FALSE(text.Contains(u"ab") || text.Contains(u'd') || CAtlString().Contains(u'a'));
  EXPECT_TRUE(CAtlStringA("a\0bc", 4).Contains("bc"));  // behind the 0 byte, too
}

TEST(CAtlStringOperations, ReadsNumbersThatAreTheWholeText) {
  const struct {
    const char* text;
    std::optional<std::int64_t> integer;
    std::optional<double> real;
  } cases[] = {
      {"0", 0, 0.0},
      {"-12", -12, -12.0},
      {"9223372036854775807", INT64_MAX, 9223372036854775807.0},
      {"9223372036854775808", std::nullopt, 9223372036854775808.0},
      {"1e-3", std::nullopt, 0.001},
      {".5", std::nullopt, 0.5},
      {"1e999", std::nullopt, std::nullopt},
      {"", std::nullopt, std::nullopt},
      {" 1", std::nullopt, std::nullopt},
      {"1 ", std::nullopt, std::nullopt},
      {"+1", std::nullopt, std::nullopt},
      {"1,5", std::nullopt, std::nullopt},
      {"-", std::nullopt, std::nullopt},
      {"1\xE9", std::nullopt, std::nullopt},
  };
  for (const auto& [text, integer, real] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(CAtlString(text).ToInteger(), integer);
    EXPECT_EQ(CAtlStringA(text).ToInteger(), integer);
    EXPECT_EQ(CAtlString(text).ToReal(), real);
    EXPECT_EQ(CAtlStringA(text).ToReal(), real);
  }
  EXPECT_EQ(CAtlString(u"fF").ToInteger(16), 255);
  EXPECT_EQ(CAtlString(u"1").ToInteger(1), std::nullopt);
  EXPECT_EQ(CAtlString(u"1").ToInteger(37), std::nullopt);
  EXPECT_EQ(CAtlString(u"\u0661").ToInteger(), std::nullopt);  // a digit of another script
  EXPECT_EQ(CAtlString(u'1', 5000).ToReal(), std::nullopt);
}

}  // namespace
}  // namespace orvik
