// Conversions of texts: the routines of Unicode, UTF-8 strings and code pages.
#include "strings/code_pages.h"
#include "strings/utf8_strings.h"
#include "tests/properties/unicode_conversions.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using Bytes = std::basic_string<UTF8>;

Bytes ToBytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

auto ToUtf8(const std::u16string& text, ConversionFlags flags = strictConversion) {
  return Converted(ConvertUTF16toUTF8, text, flags, 64);
}

TEST(UnicodeConversions, AgreeWithTheRulesInAnyRoom) {
  EXPECT_EQ(FirstFault(20'000, 24, UnicodeConversionsFault), "");
}

TEST(UnicodeConversions, UnpairedSurrogates) {
  using Stop = std::pair<ConversionResult, std::size_t>;
  const std::tuple<std::u16string, Stop, ConversionResult, const char*> cases[] = {
      {u"a\xD83D", {sourceExhausted, 1}, sourceExhausted, "a"},
      {u"a\xDE00", {sourceIllegal, 1}, conversionOK, "a\xED\xB8\x80"},
      {u"\xD83D\xD83D\xDE00", {sourceIllegal, 0}, conversionOK, "\xED\xA0\xBD\xF0\x9F\x98\x80"}};
  for (const auto& [text, strict_stop, lenient_result, lenient_text] : cases) {
    const auto strict = ToUtf8(text), lenient = ToUtf8(text, lenientConversion);
    EXPECT_EQ(Stop(strict.result, strict.read), strict_stop) << lenient_text;
    EXPECT_EQ(lenient.result, lenient_result) << lenient_text;
    EXPECT_EQ(lenient.text, ToBytes(lenient_text));
  }
}

TEST(UnicodeConversions, WhatTheTargetCannotCarry) {
  using Text32 = std::basic_string<UTF32>;
  const Bytes surrogate = ToBytes("\xED\xA0\x80z");
  const auto to_utf32 = [&](ConversionFlags flags, std::size_t room) {
    return Converted(ConvertUTF8toUTF32, surrogate, flags, room);
  };
  EXPECT_EQ(to_utf32(strictConversion, 0).result, targetExhausted);
  EXPECT_EQ(to_utf32(strictConversion, 2).result, sourceIllegal);
  EXPECT_EQ(to_utf32(lenientConversion, 2).text, (Text32{0xFFFD, 'z'}));
  const Text32 values = {0x110000, 0xD800, 'z'};
  EXPECT_EQ((Converted(ConvertUTF32toUTF16, values, lenientConversion, 8)),
            (Conversion<UTF32, UTF16>{conversionOK, 3, u"\uFFFD\uFFFDz"}));
  EXPECT_EQ((Converted(ConvertUTF32toUTF8, values, lenientConversion, 16)),
            (Conversion<UTF32, UTF8>{sourceIllegal, 3, ToBytes("\xEF\xBF\xBD\xED\xA0\x80z")}));
  EXPECT_EQ((Converted(ConvertUTF32toUTF8, values, strictConversion, 16)),
            (Conversion<UTF32, UTF8>{sourceIllegal, 0, {}}));
}

TEST(UnicodeConversions, LegalSequences) {
  const int counts[] = {192, 32, 16, 8, 4, 4};
  for (char bytes = 0; bytes < 6; ++bytes) {
    EXPECT_EQ(std::count(trailingBytesForUTF8, trailingBytesForUTF8 + 256, bytes),
              counts[bytes + 0]);
  }
  const auto is_legal = [](const char* text) {
    const Bytes bytes = ToBytes(text);
    return isLegalUTF8Sequence(bytes.data(), bytes.data() + bytes.size());
  };
  // Surrogates are judged by the routines themselves.
  for (const char* text : {"a", "\xED\xA0\x80", "\xF4\x8F\xBF\xBF"})
    EXPECT_TRUE(is_legal(text)) << text;
  for (const char* text : {"\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                           "\xF8\x88\x80\x80\x80", "\xC2\x41", "\xE2\x82", "\x80", ""}) {
    EXPECT_FALSE(is_legal(text)) << text;
  }
}

using std::string_view;
using std::u16string_view;

TEST(CheckedConversions, SayWhereUtf8IsMalformed) {
  const std::tuple<string_view, u16string_view, ConversionResult, std::size_t> cases[] = {
      {string_view("a\0\xC3\xA9", 4), u16string_view(u"a\0\u00E9", 3), conversionOK, 4},
      {"\xE4\xB8\x80\xF0\x9F\x98\x80!", u"\u4E00\U0001F600!", conversionOK, 8},
      {{}, u"", conversionOK, 0},
      {"\xE4\xB8\x80\xED\xA0\x80", u"old", sourceIllegal, 3},
      {"ab\xE4\xB8", u"old", sourceExhausted, 2}};
  for (const auto& [source, target, status, position] : cases) {
    CAtlString text(u"old");
    const ConversionReport report = WideFromUtf8(source, text);
    EXPECT_EQ(std::pair(report.status, report.position), std::pair(status, position));
    EXPECT_EQ(text, target);
    // The makers of strings give an empty one instead.
    for (const auto make : {MakeWideStringFromUTF8String, MakeWideStringFromASCIIString}) {
      EXPECT_EQ(make(source), report ? target : u"");
    }
    if (!report) continue;
    CAtlStringA back;
    EXPECT_TRUE(Utf8FromWide(text, back) && back == source);
    EXPECT_EQ(MakeUTF8StringFromUnicodeString(text), source);
  }
}

TEST(CheckedConversions, SayWhichUnitHasNoCounterpart) {
  using Function = ConversionReport (*)(TextView<char16_t>, CAtlStringA&);
  const std::tuple<Function, u16string_view, string_view, ConversionResult, std::size_t> cases[] = {
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
    EXPECT_EQ(std::pair(report.status, report.position), std::pair(status, position));
    EXPECT_EQ(text, target);
  }
  EXPECT_EQ(MakeUTF8StringFromUnicodeString(u"a\xD800z\xDC00").View(), "a?z?");
}

TEST(CheckedConversions, ReportUnknownCodePagesAndLosses) {
  CAtlString wide(u"old");
  CAtlStringA narrow("old");
  EXPECT_FALSE(WideFromCodePage(4711, "x", wide) || CodePageFromWide(4711, u"x", narrow) ||
               IsValidCodePage(4711) || !IsValidCodePage(1252));
  EXPECT_EQ(WideFromCodePage(932, "\x83", wide)->status, sourceIllegal);
  EXPECT_EQ(WideFromCodePage(CP_UTF8, "ab\xFF", wide)->position, 2u);
  const auto lossy = CodePageFromWide(1252, u"a\u20AC\u4E00", narrow);
  EXPECT_TRUE(lossy->status == sourceIllegal && lossy->position == 2 && narrow == "old");
  EXPECT_TRUE(*WideFromCodePage(1252, "\x80", wide) && *CodePageFromWide(1252, wide, narrow));
  EXPECT_TRUE(wide == u16string_view(u"\u20AC") && narrow == "\x80");
}

TEST(CodePages, TakesUnknownPagesAsUtf8AndWritesQuestionMarks) {
  const std::tuple<unsigned, u16string_view, string_view> cases[] = {
      {CP_ACP, u"\xE9", "\xC3\xA9"},
      {99999, u"\xE9", "\xC3\xA9"},
      {CP_UTF8, u"a\xD83Dz\xDE00", "a?z?"},
      {1252, u"\xAD\x200B\xD83D\xDE00", "\xAD\?\?"}};
  for (const auto& [page, text, bytes] : cases) {
    char narrow[40];
    BOOL used = TRUE;
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(page, 0, text.data(), length, narrow, 40, "-", &used);
    EXPECT_EQ(string_view(narrow, narrow + size), bytes) << page;
    EXPECT_EQ(used, FALSE);
  }
}

TEST(CodePages, Lengths) {
  char bytes[8] = "XXXXXXX";
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9", -1, nullptr, 0, nullptr, nullptr), 3);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9z", -1, bytes, 2, nullptr, nullptr), 1);
  EXPECT_EQ(bytes[1], 'X');
  for (const auto& [text, length] : {std::pair(u"a", 0), {u"a", -2}, {nullptr, -1}, {u"", -1}}) {
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, length, bytes, 8, nullptr, nullptr), 0);
  }
  char16_t units[4] = {};
  // Bytes that are no text give nothing, wherever they stand.
  const std::tuple<unsigned, const char*, int, int, int> cases[] = {
      {CP_UTF8, "a", 0, 4, 0},
      {CP_UTF8, "a", -2, 4, 0},
      {CP_UTF8, "ab\xE2\x82\xAC", -1, 2, 2},
      {1252, "abc", 3, 2, 2},
      {CP_UTF8, "a\xFF", -1, 0, 0},
      {CP_UTF8, "a\xFF", -1, 4, 0},
      {CP_UTF8, "ab\xFF", -1, 2, 0},
      {932, "\x93", -1, 4, 0},
      {CP_UTF8, "a\xF0\x9F\x98\x80", -1, 2, 2}};
  for (const auto& [page, text, length, room, count] : cases) {
    EXPECT_EQ(MultiByteToWideChar(page, 0, text, length, room == 0 ? nullptr : units, room), count)
        << text;
  }
  EXPECT_EQ(units[1], 0xD83D);
}

}  // namespace
}  // namespace orvik::test
