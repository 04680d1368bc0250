// Searching, trimming, editing, formatting and tokenizing of the wide string.
#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"

namespace orvik {
namespace {

using std::u16string_view;

TEST(CAtlStringOperations, FindLiterally) {
  const CAtlString text(u"abcb\u00E9A\u0301");
  const struct {
    int result;
    int expected;
  } cases[] = {
      {text.Find(u'b', 2), 3},
      {text.Find(u'b', 4), -1},
      {text.Find('b'), 1},
      {text.Find('\xE9'), 4},
      {text.Find(u'b', INT_MIN), 1},
      {text.Find(u'\u0301', 7), -1},
      {text.Find(u"B"), -1},
      {text.Find(u"cb"), 2},
      {text.Find("b\xE9"), 3},
      {text.Find(CAtlString(u"b"), 2), 3},
      {text.Find(u"b", -3), 1},
      {text.Find(u"b", 99), -1},
      {text.Find(u"", 0), -1},
      {text.Find(static_cast<const char16_t*>(nullptr)), -1},
      {text.Find(u"A"), 5},        // a combining mark after it changes nothing
      {text.Find(u"\u00C1"), -1},  // nor do composed forms
      {text.FindOneOf(u"xc\u0301"), 2},
      {text.FindOneOf("\xE9"), 4},
      {text.FindOneOf(CAtlString(u"\u0301")), 6},
      {text.FindOneOf(u""), -1},
      {text.ReverseFind(u'b'), 3},
      {text.ReverseFind('a'), 0},
      {text.ReverseFind(u'z'), -1},
      {CAtlString().Find(u'a'), -1},
      {CAtlString(u"a\0b", 3).Find(u'b'), 2},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].result, cases[i].expected) << i;
  }
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

TEST(CAtlStringOperations, TrimsWhiteSpaceUnitsAndSets) {
  CAtlString text(u"\t \r\n\v\f a \u00A0 ");
  EXPECT_EQ(text.TrimLeft().View(), u"a \u00A0 ");
  EXPECT_EQ(text.Trim().View(), u"a \u00A0");  // a no-break space is none
  EXPECT_EQ(CAtlString(u" \t ").TrimLeft().View(), u"");
  EXPECT_EQ(CAtlString(u"a.,.,").TrimRight(u".,").View(), u"a");
  EXPECT_EQ(CAtlString(u"--a-").TrimLeft('-').TrimRight(u'-').View(), u"a");
  EXPECT_EQ(CAtlString(u"\u4E00ab").TrimLeft(CAtlString(u"a\u4E00")).View(), u"b");
  EXPECT_EQ(CAtlString(u"b\u00E9").TrimRight("\xE9").View(), u"b");
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
  EXPECT_EQ(text.Replace(u"y", u"z"), 0);
  EXPECT_EQ(text.Replace(u"", u"z"), 0);
  EXPECT_EQ(text.Replace(u'x', u'x'), 0);
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
  EXPECT_EQ(text.Mid(-2, 2).View(), u"ab");
  EXPECT_EQ(text.Left(2).View(), u"ab");
  EXPECT_EQ(text.Right(2).View(), u"bc");
  EXPECT_EQ(text.Right(-2).View(), u"");
  for (const CAtlString& whole :
       {text.Left(3), text.Right(10), text.Mid(0), text.Mid(-1, INT_MAX)}) {
    EXPECT_EQ(whole.GetString(), text.GetString());
  }
}

TEST(CAtlStringOperations, Tokenizes) {
  const struct {
    u16string_view text;
    const char16_t* set;
    int start;
    std::vector<std::pair<u16string_view, int>> tokens;
  } cases[] = {
      {u",a,,b,", u",", 0, {{u"a", 4}, {u"b", -1}}},
      {u",,,", u",", 0, {{u"", -1}}},
      {u"", u",", 0, {{u"", -1}}},
      {u"ab", u",", 2, {{u"", -1}}},
      {u"ab", u",", -1, {{u"", -1}}},
      {u"ab", u"", 0, {{u"ab", -1}}},
      {u"a;b,c", u",;", 0, {{u"a", 2}, {u"b", 4}, {u"c", -1}}},
      {u"a\u4E00\u4E01b", u"\u4E01\u4E00", 0, {{u"a", 3}, {u"b", -1}}},
      {u16string_view(u"a\0,b", 4), u",", 0, {{u16string_view(u"a\0", 2), 3}, {u"b", -1}}},
  };
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

void FormatList(CAtlString& text, const char16_t* format, ...) {
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
  FormatList(text, u"%@;", CFSTR(u"object"));
  EXPECT_EQ(text.View(), u"object;object;");
  text.AppendFormat(u"%s", text.GetString());
  EXPECT_EQ(text.View(), u"object;object;object;object;");
  const CAtlString shared = text;
  text.Format(u"%2$d %4$d", 1, 2, 3, 4);  // no carrying out of what leaves a gap
  text.Format(nullptr);
  EXPECT_EQ(text.GetString(), shared.GetString());
  text.Format(u"");
  EXPECT_EQ(text.View(), u"");
}

TEST(CAtlStringOperations, MapsCaseWithinItsLength) {
  CAtlString text(u"stra\u00DFe \u00E9");
  const CAtlString shared = text;
  EXPECT_EQ(text.MakeUpper().View(), u"STRASSE ");  // cut at the old length
  EXPECT_EQ(shared.View(), u"stra\u00DFe \u00E9");
  text = u"\u00C9A\u039F\u03A3";
  EXPECT_EQ(text.MakeLower().View(), u"\u00E9a\u03BF\u03C2");
  EXPECT_EQ(CAtlString().MakeUpper().MakeLower().GetString(), _afxPchNil);
  EXPECT_EQ(CAtlString(u"\xD83D\xDE00x").MakeReverse().View(), u"x\xDE00\xD83D");
}

}  // namespace
}  // namespace orvik
