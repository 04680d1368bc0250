// Conversions of texts: the routines of Unicode, UTF-8 strings and code pages.
#include <iconv.h>

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
  using Text32 = std::basic_string<UTF32>;
  iconv_t oracle = iconv_open("UTF-8", "UTF-32LE");
  ASSERT_NE(oracle, reinterpret_cast<iconv_t>(-1));
  constexpr UTF32 kPiece = 0x800;
  for (UTF32 first = 0; first <= 0x10FFFF; first += kPiece) {
    Text32 text;
    for (UTF32 value = first; value < first + kPiece; ++value) text += value;
    const auto utf8 = Converted(ConvertUTF32toUTF8, text, strictConversion, 4 * kPiece);
    const auto utf16 = Converted(ConvertUTF32toUTF16, text, strictConversion, 2 * kPiece);
    if (first == 0xD800) {
      ASSERT_EQ(utf8.result, sourceIllegal);
      ASSERT_EQ(utf16.result, sourceIllegal);
      ASSERT_EQ(utf8.read + utf16.read, 0u);
      continue;
    }
    std::string expected(4 * kPiece, '\0');
    char* in = reinterpret_cast<char*>(text.data());
    char* out = expected.data();
    size_t in_left = text.size() * sizeof(UTF32);
    size_t out_left = expected.size();
    ASSERT_NE(iconv(oracle, &in, &in_left, &out, &out_left), static_cast<size_t>(-1)) << first;
    expected.resize(expected.size() - out_left);
    ASSERT_EQ(utf8.text, ToBytes(expected)) << first;
    ASSERT_EQ(ToUtf8(utf16.text, strictConversion, expected.size()).text, utf8.text) << first;
    ASSERT_EQ(FromUtf8(utf8.text, strictConversion, 2 * kPiece).text, utf16.text) << first;
    const auto from_utf8 = Converted(ConvertUTF8toUTF32, utf8.text, strictConversion, kPiece);
    const auto from_utf16 = Converted(ConvertUTF16toUTF32, utf16.text, strictConversion, kPiece);
    ASSERT_TRUE(from_utf8.text == text && from_utf16.text == text) << first;
  }
  iconv_close(oracle);
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
  const auto to_utf32 = [&](ConversionFlags flags, std::size_t room) {
    return Converted(ConvertUTF8toUTF32, surrogate, flags, room);
  };
  EXPECT_EQ(FromUtf8(surrogate).result, sourceIllegal);
  EXPECT_EQ(FromUtf8(surrogate, lenientConversion).text, u"\uFFFDz");
  EXPECT_EQ(to_utf32(lenientConversion, 2).text, (Text32{0xFFFD, 'z'}));
  EXPECT_EQ(FromUtf8(surrogate, strictConversion, 0).result, targetExhausted);
  EXPECT_EQ(to_utf32(strictConversion, 0).result, targetExhausted);

  const Text32 values = {0x110000, 0xD800, 'z'};
  const auto to_utf8 = [&](ConversionFlags flags) {
    return Converted(ConvertUTF32toUTF8, values, flags, 16);
  };
  EXPECT_EQ((Converted(ConvertUTF32toUTF16, values, lenientConversion, 8)),
            (Conversion<UTF32, UTF16>{conversionOK, 3, u"\uFFFD\uFFFDz"}));
  EXPECT_EQ(to_utf8(lenientConversion),
            (Conversion<UTF32, UTF8>{sourceIllegal, 3, ToBytes("\xEF\xBF\xBD\xED\xA0\x80z")}));
  EXPECT_EQ(to_utf8(strictConversion), (Conversion<UTF32, UTF8>{sourceIllegal, 0, {}}));
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
  for (const char* text : {"a", "\xC2\x80", "\xE0\xA0\x80", "\xED\xA0\x80", "\xED\xBF\xBF",
                           "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(is_legal(text)) << text;
  }
  for (const char* text :
       {"\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
        "\xF5\x80\x80\x80", "\xC2", "\xE2\x82", "\xC2\x41", "\xF8\x88\x80\x80\x80", "\xFF", ""}) {
    EXPECT_FALSE(is_legal(text)) << text;
  }
}

using std::string_view;
using std::u16string_view;

TEST(Utf8Strings, ConvertsBothWays) {
  const std::pair<string_view, u16string_view> cases[] = {
      {"", u""},
      {"\xE4\xB8\x80\xF0\x9F\x98\x80!", u"\u4E00\U0001F600!"},
      {string_view("a\0b", 3), u16string_view(u"a\0b", 3)},
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

std::string ToBytes(unsigned code_page, std::u16string_view text) {
  const auto length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  EXPECT_EQ(
      WideCharToMultiByte(code_page, 0, text.data(), length, bytes.data(), size, nullptr, nullptr),
      size);
  return bytes;
}

std::u16string FromBytes(unsigned code_page, std::string_view bytes) {
  const auto length = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(code_page, 0, bytes.data(), length, nullptr, 0);
  std::u16string text(static_cast<std::size_t>(size), u'\0');
  EXPECT_EQ(MultiByteToWideChar(code_page, 0, bytes.data(), length, text.data(), size), size);
  return text;
}

TEST(CodePages, TakesUnknownPagesAsUtf8) {
  const std::tuple<unsigned, std::u16string_view, std::string> cases[] = {
      {CP_UTF8, u"\xE9\x4E2D\xD83D\xDE00", "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80"},
      {CP_ACP, u"\xE9", "\xC3\xA9"},
      {1252, u"\xE9\x20AC", "\xE9\x80"},
      {932, u"\x65E5", "\x93\xFA"},
      {1201, u"\xE9", std::string("\0\xE9", 2)},
      {99999, u"\xE9", "\xC3\xA9"},
      {1363, u"\xE9", "\xC3\xA9"},  // numbers of another maker
      {33722, u"\xE9", "\xC3\xA9"}};
  for (const auto& [code_page, text, bytes] : cases) {
    EXPECT_EQ(ToBytes(code_page, text), bytes) << code_page;
    EXPECT_EQ(FromBytes(code_page, bytes), text) << code_page;
  }
}

TEST(CodePages, Lengths) {
  char bytes[8] = "XXXXXXX";
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9", -1, nullptr, 0, nullptr, nullptr), 3);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9z", -1, bytes, 2, nullptr, nullptr), 1);
  EXPECT_EQ(bytes[1], 'X');
  for (const int length : {0, -2}) {
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a", length, bytes, 8, nullptr, nullptr), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", length, nullptr, 0), 0);
  }
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, nullptr, -1, bytes, 8, nullptr, nullptr), 0);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"", -1, bytes, 8, nullptr, nullptr), 0);
  char16_t units[4] = {};
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xE2\x82\xAC", -1, units, 2), 2);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xF0\x9F\x98\x80", -1, units, 2), 2);
  EXPECT_EQ(units[1], 0xD83D);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", 3, units, 2), 2);
}

TEST(CodePages, BadBytesGiveNothing) {
  char16_t units[4] = {};
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
