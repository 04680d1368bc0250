#include "strings/utf8_strings.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "strings/code_pages.h"

namespace orvik {
namespace {

using std::string_view;
using std::u16string_view;

TEST(Utf8Strings, ConvertsBothWays) {
  const std::pair<string_view, u16string_view> cases[] = {
      {"", u""},
      {"plain", u"plain"},
      {"\xC3\xA9", u"\u00E9"},
      {"\xE4\xB8\x80\xF0\x9F\x98\x80!", u"\u4E00\U0001F600!"},
      {string_view("a\0b", 3), u16string_view(u"a\0b", 3)},
      {"\xEF\xBB\xBF", u"\uFEFF"},
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"\u007F\u0080\u07FF\u0800\uFFFF"}};
  for (const auto& [utf8, wide] : cases) {
    const CAtlString made = MakeWideStringFromUTF8String(CAtlStringA(utf8));
    EXPECT_EQ(made.View(), wide);
    EXPECT_EQ(made.GetString()[made.GetLength()], u'\0');
    EXPECT_EQ(MakeWideStringFromASCIIString(CAtlStringA(utf8)).View(), wide);
    const CAtlStringA back = MakeUTF8StringFromUnicodeString(CAtlString(wide));
    EXPECT_EQ(back.View(), utf8);
    EXPECT_EQ(back.GetAllocLength(), static_cast<int>(utf8.size()));
  }
}

TEST(Utf8Strings, ConvertsMixturesOfEveryWidth) {
  std::mt19937 random(11);
  const std::pair<u16string_view, string_view> pieces[] = {
      {u"aaaaaaaaaaaaaaaaaaaaaaa", "aaaaaaaaaaaaaaaaaaaaaaa"},
      {u"b", "b"},
      {u"\u00E9", "\xC3\xA9"},
      {u"\u4E00", "\xE4\xB8\x80"},
      {u"\U0001F600", "\xF0\x9F\x98\x80"}};
  const auto to_utf8 = [](u16string_view wide) {
    return std::string(MakeUTF8StringFromUnicodeString(CAtlString(wide)).View());
  };
  for (int round = 0; round < 1000; ++round) {
    std::u16string wide;
    std::string utf8;
    const unsigned kinds = 1 + random() % 5;
    for (unsigned count = random() % 400; count > 0; --count) {
      const auto& [wide_piece, utf8_piece] = pieces[4 - random() % kinds];
      wide += wide_piece;
      utf8 += utf8_piece;
    }
    ASSERT_EQ(to_utf8(wide), utf8);
    ASSERT_EQ(MakeWideStringFromUTF8String(CAtlStringA(utf8)).View(), wide);
    // One unpaired surrogate anywhere is one "?"; one stray byte refuses all.
    const std::size_t at = random() % (wide.size() + 1);
    if (at < wide.size() && (wide[at] & 0xFC00) == 0xDC00) continue;
    const std::string expected = to_utf8(wide.substr(0, at)) + "?" + to_utf8(wide.substr(at));
    ASSERT_EQ(to_utf8(wide.insert(at, 1, u'\xDC00')), expected);
    utf8.insert(random() % (utf8.size() + 1), 1, '\xFF');
    ASSERT_EQ(MakeWideStringFromUTF8String(CAtlStringA(utf8)).View(), u"");
  }
}

TEST(Utf8Strings, RefusesOrReplacesWhatCannotBeConverted) {
  for (const char* malformed : {"\xFF", "a\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(MakeWideStringFromUTF8String(malformed).View(), u"") << malformed;
  }
  EXPECT_EQ(MakeUTF8StringFromUnicodeString(u"a\xD800z\xDC00").View(), "a?z?");
  EXPECT_EQ(MakeUTF8StringFromUnicodeString(u"\xDC00\xD800").View(), "??");
}

TEST(CheckedConversions, SayWhereUtf8IsMalformed) {
  const std::tuple<string_view, u16string_view, ConversionResult, std::size_t> cases[] = {
      {string_view("a\0\xC3\xA9", 4), u16string_view(u"a\0\u00E9", 3), conversionOK, 4},
      {"\xF0\x9F\x98\x80", u"\U0001F600", conversionOK, 4},
      {{}, u"", conversionOK, 0},
      {"ab\xFF", u"old", sourceIllegal, 2},
      {"\xE4\xB8\x80\xED\xA0\x80", u"old", sourceIllegal, 3},
      {"ab\xE4\xB8", u"old", sourceExhausted, 2}};
  for (const auto& [source, target, status, position] : cases) {
    CAtlString text(u"old");
    const ConversionReport report = WideFromUtf8(source, text);
    EXPECT_EQ(report.status, status);
    EXPECT_EQ(report.position, position);
    EXPECT_EQ(text, target);
    CAtlStringA back;
    EXPECT_EQ(report && Utf8FromWide(text, back) && back == source, status == conversionOK);
  }
}

TEST(CheckedConversions, SayWhichUnitHasNoCounterpart) {
  const struct {
    ConversionReport (*convert)(TextView<char16_t>, CAtlStringA&);
    u16string_view source;
    string_view target;
    ConversionResult status;
    std::size_t position;
  } cases[] = {{Utf8FromWide, u"\xDC00", "old", sourceIllegal, 0},
               {Utf8FromWide, u"a\u00E9\xD800z", "old", sourceIllegal, 2},
               {Utf8FromWide, u"a\xD800", "old", sourceExhausted, 1},
               {Latin1FromWide, u"a\u00E9", "a\xE9", conversionOK, 2},
               {Latin1FromWide, u"\u00E9\u20AC", "old", sourceIllegal, 1},
               {MacRomanFromWide, u"a\u00C4", "a\x80", conversionOK, 2},
               {MacRomanFromWide, u"\u4E00", "old", sourceIllegal, 0},
               {MacRomanFromWide, u"", "", conversionOK, 0}};
  for (const auto& [convert, source, target, status, position] : cases) {
    CAtlStringA text("old");
    const ConversionReport report = convert(source, text);
    EXPECT_EQ(report.status, status);
    EXPECT_EQ(report.position, position);
    EXPECT_EQ(text, target);
  }
}

TEST(CheckedConversions, ReportUnknownCodePagesAndLosses) {
  CAtlString wide(u"old");
  CAtlStringA narrow("old");
  EXPECT_FALSE(WideFromCodePage(4711, "x", wide) || CodePageFromWide(4711, u"x", narrow));
  EXPECT_TRUE(IsValidCodePage(1252) && IsValidCodePage(CP_UTF8) && !IsValidCodePage(4711));
  EXPECT_EQ(WideFromCodePage(932, "\x83", wide)->status, sourceIllegal);
  EXPECT_EQ(WideFromCodePage(CP_UTF8, "ab\xFF", wide)->position, 2u);
  const auto lossy = CodePageFromWide(1252, u"a\u20AC\u4E00", narrow);
  EXPECT_TRUE(lossy && lossy->status == sourceIllegal && lossy->position == 2);
  EXPECT_TRUE(wide == u16string_view(u"old") && narrow == "old");
  EXPECT_TRUE(WideFromCodePage(1252, "\x80", wide)->status == conversionOK);
  EXPECT_TRUE(*CodePageFromWide(1252, wide, narrow));
  EXPECT_TRUE(wide == u16string_view(u"\u20AC") && narrow == "\x80");
}

}  // namespace
}  // namespace orvik
