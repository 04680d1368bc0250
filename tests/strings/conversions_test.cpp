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

auto FromUtf8(const Bytes& bytes, ConversionFlags flags = strictConversion, std::size_t room = 64) {
  return Converted(ConvertUTF8toUTF16, bytes, flags, room);
}

auto ToUtf8(const std::u16string& text, ConversionFlags flags = strictConversion,
            std::size_t room = 64) {
  return Converted(ConvertUTF16toUTF8, text, flags, room);
}

TEST(UnicodeConversions, AgreeWithTheRulesInAnyRoom) {
  EXPECT_EQ(FirstFault(20'000, 24, UnicodeConversionsFault), "");
}

TEST(UnicodeConversions, EveryCodePointGoesAroundAllThreeForms) {
  for (UTF32 value = 0; value <= 0x10FFFF; ++value) {
    const std::basic_string<UTF32> text(1, value);
    const auto utf8 = Converted(ConvertUTF32toUTF8, text, strictConversion, 4);
    const auto utf16 = Converted(ConvertUTF32toUTF16, text, strictConversion, 2);
    if (value >= 0xD800 && value <= 0xDFFF) {
      ASSERT_EQ(std::pair(utf8.result, utf16.result), std::pair(sourceIllegal, sourceIllegal));
      continue;
    }
    ASSERT_EQ(utf16.text, ByTheRules(utf8.text).text) << value;
    ASSERT_EQ(ToUtf8(utf16.text).text, utf8.text) << value;
    ASSERT_EQ(Converted(ConvertUTF8toUTF32, utf8.text, strictConversion, 1).text, text);
    ASSERT_EQ(Converted(ConvertUTF16toUTF32, utf16.text, strictConversion, 1).text, text);
  }
}

TEST(UnicodeConversions, UnpairedSurrogates) {
  using Stop = std::pair<ConversionResult, std::size_t>;
  const std::tuple<std::u16string, Stop, ConversionResult, const char*> cases[] = {
      {u"a\xD83D", {sourceExhausted, 1}, sourceExhausted, "a"},
      {u"a\xDE00", {sourceIllegal, 1}, conversionOK, "a\xED\xB8\x80"},
      {u"\xD83Dz", {sourceIllegal, 0}, conversionOK, "\xED\xA0\xBDz"},
      {u"\xDE00\xD83D", {sourceIllegal, 0}, sourceExhausted, "\xED\xB8\x80"},
      {u"\xD83D\xD83D\xDE00", {sourceIllegal, 0}, conversionOK, "\xED\xA0\xBD\xF0\x9F\x98\x80"}};
  for (const auto& [text, strict_stop, lenient_result, lenient_text] : cases) {
    const auto strict = ToUtf8(text), lenient = ToUtf8(text, lenientConversion);
    const auto wide = Converted(ConvertUTF16toUTF32, text, strictConversion, text.size());
    EXPECT_EQ(Stop(strict.result, strict.read), strict_stop) << lenient_text;
    EXPECT_EQ(Stop(wide.result, wide.read), strict_stop) << lenient_text;
    EXPECT_EQ(lenient.result, lenient_result) << lenient_text;
    EXPECT_EQ(lenient.text, ToBytes(lenient_text));
  }
}

TEST(UnicodeConversions, WhatTheTargetCannotCarry) {
  using Text32 = std::basic_string<UTF32>;
  const Bytes surrogate = ToBytes("\xED\xA0\x80z");
  for (const std::size_t room : {0, 2}) {
    const auto stop = room == 0 ? targetExhausted : sourceIllegal;
    EXPECT_EQ(FromUtf8(surrogate, strictConversion, room).result, stop);
    EXPECT_EQ(Converted(ConvertUTF8toUTF32, surrogate, strictConversion, room).result, stop);
  }
  EXPECT_EQ(FromUtf8(surrogate, lenientConversion).text, u"\uFFFDz");
  EXPECT_EQ(Converted(ConvertUTF8toUTF32, surrogate, lenientConversion, 2).text,
            (Text32{0xFFFD, 'z'}));

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
  // Those that no text may hold, and those of surrogates, which the routines judge themselves.
  for (const auto& [text, is_legal] : {std::pair("a", true),
                                       {"\xED\xA0\x80", true},
                                       {"\xED\xBF\xBF", true},
                                       {"\xF4\x8F\xBF\xBF", true},
                                       {"\xC1\xBF", false},
                                       {"\xE0\x9F\xBF", false},
                                       {"\xF0\x8F\xBF\xBF", false},
                                       {"\xF4\x90\x80\x80", false},
                                       {"\xF8\x88\x80\x80\x80", false},
                                       {"\xC2\x41", false},
                                       {"\xE2\x82", false},
                                       {"\x80", false},
                                       {"", false}}) {
    const Bytes bytes = ToBytes(text);
    EXPECT_EQ(isLegalUTF8Sequence(bytes.data(), bytes.data() + bytes.size()), is_legal) << text;
  }
}

using std::string_view;
using std::u16string_view;

TEST(Utf8Strings, RefuseOrReplaceWhatCannotBeConverted) {
  for (const char* malformed : {"\xFF", "a\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(MakeWideStringFromUTF8String(malformed).View(), u"") << malformed;
  }
  EXPECT_EQ(MakeUTF8StringFromUnicodeString(u"a\xD800z\xDC00").View(), "a?z?");
  EXPECT_EQ(MakeUTF8StringFromUnicodeString(u"\xDC00\xD800").View(), "??");
}

TEST(CheckedConversions, SayWhereUtf8IsMalformed) {
  const std::tuple<string_view, u16string_view, ConversionResult, std::size_t> cases[] = {
      {string_view("a\0\xC3\xA9", 4), u16string_view(u"a\0\u00E9", 3), conversionOK, 4},
      {"\xE4\xB8\x80\xF0\x9F\x98\x80!", u"\u4E00\U0001F600!", conversionOK, 8},
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
    if (!report) continue;
    CAtlStringA back;
    EXPECT_TRUE(Utf8FromWide(text, back) && back == source);
    EXPECT_EQ(MakeWideStringFromUTF8String(back), target);
    EXPECT_EQ(MakeWideStringFromASCIIString(back), target);
    EXPECT_EQ(MakeUTF8StringFromUnicodeString(text), source);
  }
}

TEST(CheckedConversions, SayWhichUnitHasNoCounterpart) {
  using Function = ConversionReport (*)(TextView<char16_t>, CAtlStringA&);
  const std::tuple<Function, u16string_view, string_view, ConversionResult, std::size_t> cases[] = {
      {Utf8FromWide, u"\xDC00", "old", sourceIllegal, 0},
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

std::string ToBytes(unsigned code_page, std::u16string_view text) {
  char bytes[40];
  const auto length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(code_page, 0, text.data(), length, bytes, 40, nullptr, nullptr);
  EXPECT_EQ(WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr),
            size);
  return std::string(bytes, bytes + size);
}

std::u16string FromBytes(unsigned code_page, std::string_view bytes) {
  char16_t units[40];
  const auto length = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(code_page, 0, bytes.data(), length, units, 40);
  EXPECT_EQ(MultiByteToWideChar(code_page, 0, bytes.data(), length, nullptr, 0), size);
  return std::u16string(units, units + size);
}

TEST(CodePages, TakesUnknownPagesAsUtf8) {
  for (const unsigned page : {CP_UTF8, CP_ACP, 99999u, 1363u, 33722u}) {
    EXPECT_EQ(ToBytes(page, u"\xE9\xD83D\xDE00"), "\xC3\xA9\xF0\x9F\x98\x80") << page;
    EXPECT_EQ(FromBytes(page, "\xC3\xA9\xF0\x9F\x98\x80"), u"\xE9\xD83D\xDE00") << page;
  }
  EXPECT_EQ(ToBytes(932, u"\x65E5") + ToBytes(1252, u"\x20AC"), "\x93\xFA\x80");
  EXPECT_EQ(FromBytes(932, "\x93\xFA") + FromBytes(1252, "\x80"), u"\x65E5\x20AC");
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
  for (const int length : {0, -2}) {
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", length, units, 4), 0);
  }
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xE2\x82\xAC", -1, units, 2), 2);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xF0\x9F\x98\x80", -1, units, 2), 2);
  EXPECT_EQ(units[1], 0xD83D);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", 3, units, 2), 2);
  // Bytes that are no text give nothing, wherever they stand.
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF", -1, nullptr, 0), 0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF", -1, units, 4), 0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xFF", -1, units, 2), 0);
  EXPECT_EQ(MultiByteToWideChar(932, 0, "\x93", -1, units, 4), 0);
}

TEST(CodePages, WhatCannotBeEncodedIsAQuestionMark) {
  EXPECT_EQ(ToBytes(CP_UTF8, u"a\xD83Dz\xDE00"), "a?z?");
  EXPECT_EQ(ToBytes(1252, u"\xAD\x200B\xD83D\xDE00"), "\xAD\?\?");
  BOOL used = TRUE;
  char bytes[4];
  WideCharToMultiByte(1252, 0, u"\x4E2D", 1, bytes, 4, "-", &used);
  EXPECT_EQ(bytes[0], '?');
  EXPECT_EQ(used, FALSE);
}

}  // namespace
}  // namespace orvik::test
