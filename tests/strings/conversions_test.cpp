// Arrays of units, and conversions: the Unicode routines, UTF-8 strings and code pages.
#include <climits>
#include <memory>

#include "platform/core_foundation/string.h"
#include "strings/atl_conversions.h"
#include "strings/code_pages.h"
#include "strings/uca.h"
#include "strings/unknown.h"
#include "strings/utf8_strings.h"
#include "tests/support/conversion.h"
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
  EXPECT_EQ((Converted(ConvertUTF32toUTF16, values, lenientConversion, 3)),
            (Conversion<UTF32, UTF16>{conversionOK, 3, u"\uFFFD\uFFFDz"}));
  EXPECT_EQ((Converted(ConvertUTF32toUTF8, values, lenientConversion, 7)),
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
  // The offset is the sum of the marks of all bytes.
  for (int trailing = 0; trailing < 6; ++trailing) {
    UTF32 marks = trailing == 0 ? 0 : firstByteMark[trailing + 1];
    EXPECT_EQ(marks, trailing == 0 ? 0u : 0xFF00u >> (trailing + 1) & 0xFF);
    for (int i = 0; i < trailing; ++i) marks = (marks << 6) + 0x80;
    EXPECT_EQ(offsetsFromUTF8[trailing], marks);
  }
  const auto is_legal = [](const char* text) {
    const Bytes bytes = ToBytes(text);
    return isLegalUTF8Sequence(bytes.data(), bytes.data() + bytes.size());
  };
  // The routines themselves check surrogates.
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
    // The functions that return strings give an empty one instead.
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
  for (const int length : {256, 257, 1000}) {
    EXPECT_EQ(MakeUTF8StringFromUnicodeString(CAtlString(u'\u4E00', length)).View(),
              Repeated("\xE4\xB8\x80", length));
  }
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
    used = TRUE;
    for (const auto& [given, set] :
         {std::pair<const char*, BOOL*>("-", nullptr), {nullptr, &used}}) {
      EXPECT_EQ(WideCharToMultiByte(page, 0, text.data(), length, narrow, 40, given, set), size);
    }
    EXPECT_EQ(used, TRUE) << "without a character of its own nothing is said";
  }
}

TEST(CodePages, Lengths) {
  char bytes[8] = "XXXXXXX";
  for (const auto& [target, room, count] : {std::tuple<char*, int, int>(nullptr, 0, 3),
                                            {nullptr, 1, 3},
                                            {bytes, 0, 3},
                                            {bytes, -1, 0}}) {
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9", -1, target, room, nullptr, nullptr), count);
  }
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9z", -1, bytes, 2, nullptr, nullptr), 1);
  EXPECT_EQ(bytes[1], 'X');
  for (const auto& [text, length] : {std::pair(u"a", 0), {u"a", -2}, {nullptr, -1}, {u"", -1}}) {
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, length, bytes, 8, nullptr, nullptr), 0);
  }
  char16_t units[4] = {};
  // Malformed bytes give 0, wherever they are.
  const std::tuple<unsigned, const char*, int, int, int> cases[] = {
      {CP_UTF8, "a", 0, 4, 0},      {CP_UTF8, "a", -2, 4, 0},
      {CP_UTF8, "a", -1, -1, 0},    {CP_UTF8, "ab\xE2\x82\xAC", -1, 2, 2},
      {1252, "abc", 3, 2, 2},       {CP_UTF8, "a\xFF", -1, 0, 0},
      {CP_UTF8, "a\xFF", -1, 4, 0}, {CP_UTF8, "ab\xFF", -1, 2, 0},
      {932, "\x93", -1, 4, 0},      {CP_UTF8, "a\xF0\x9F\x98\x80", -1, 2, 2}};
  for (const auto& [page, text, length, room, count] : cases) {
    EXPECT_EQ(MultiByteToWideChar(page, 0, text, length, room == 0 ? nullptr : units, room), count)
        << text;
  }
  EXPECT_EQ(units[1], 0xD83D);
}

using View = std::u16string_view;
using Texts = std::vector<std::u16string>;

TEST(Uca, CopiesAndAppends) {
  EXPECT_EQ((std::vector{ucalen(u""), ucalen(nullptr), ucalen(u"a\xD83D\xDE00"), ocslen(u"ab")}),
            (std::vector{0, 0, 3, 2}));
  char16_t buffer[8];
  for (const auto& [count, expected] :
       {std::pair<int, View>(5, {u"abc\0\0X", 6}), {2, u"abXXXX"}, {-1, u"XXXXXX"}}) {
    std::fill_n(buffer, 8, u'X');
    EXPECT_EQ(View(ucancpy(buffer, u"abc", count), 6), expected);
  }
  EXPECT_EQ((Texts{ucacpy(buffer, u"ab"), ucacat(buffer, u"cd"), ucancat(buffer, u"xyz", 2),
                   ucancat(buffer, u"xyz", 0), ucareverse(buffer), ocscpy(buffer, u"b"),
                   ocscat(buffer, u"c"), ucacat(buffer, nullptr), ucacpy(buffer, nullptr)}),
            (Texts{u"ab", u"abcd", u"abcdxy", u"abcdxy", u"yxdcba", u"b", u"bc", u"bc", u""}));
  EXPECT_EQ(ucareverse(nullptr), nullptr);
}

using UcaLocale = EnvironmentTest;

TEST_F(UcaLocale, MapsCaseWithinTheLength) {
  setenv("LC_ALL", "C", 1);
  char16_t text[] = u"stra\u00DFe", turkish[] = u"iI";
  EXPECT_EQ((Texts{ucaupr(text), ucalwr(text)}), (Texts{u"STRASS", u"strass"}));
  EXPECT_EQ(ucaupr(nullptr), nullptr);
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  EXPECT_EQ(View(ucalwr(turkish)), u"i\x131");
}

TEST(Uca, SearchesAndWritesNumbers) {
  char16_t text[] = u"abcabc", buffer[16];
  EXPECT_EQ((std::vector{ucastr(text, u"bc"), ucastr(text, u""), ucastr(text, nullptr),
                         ucastr(text, u"BC"), ucastr(static_cast<char16_t*>(nullptr), u"a")}),
            (std::vector<char16_t*>{text + 1, text, text, nullptr, nullptr}));
  EXPECT_TRUE(!isucdigit(u'\x661') && isucdigit(u'9'));
  EXPECT_EQ(ucatof(u"2.5") + ucatof(nullptr) + ucatoi(u" -12x"), -9.5);
  EXPECT_EQ((Texts{itouca(-1, buffer, 16), itouca(INT_MIN, buffer, 10), itouca(-1, buffer, 8)}),
            (Texts{u"ffffffff", u"-2147483648", u"37777777777"}));
  EXPECT_EQ(itouca(255, buffer, 2), nullptr);
}

TEST(Uca, ComparesByCollation) {
  const std::tuple<const char16_t*, const char16_t*, int, int> cases[] = {
      {u"a", u"A", -1, 0},
      {u"\xE9", u"e\x301", 0, 0},
      {u"a", u"\xFF41", 0, 0},
      {u"a-b", u"ab", -1, -1},
      {nullptr, u"a", -1, -1}};
  const auto sign = [](int order) { return (order > 0) - (order < 0); };
  for (const auto& [a, b, order, without_case] : cases) {
    EXPECT_EQ((std::vector{sign(ucacmp(a, b)), sign(ucacoll(a, b)), sign(ucaicmp(a, b)),
                           sign(ucaicoll(a, b))}),
              (std::vector{order, order, without_case, without_case}))
        << CAtlString(a) << CAtlString(b);
  }
  EXPECT_EQ((std::vector{ucancmp(u"abX", u"abY", 2), ucanicmp(u"aB", u"Ab", 2),
                         ucanicoll(u"a", u"b", 0), ucanicmp(nullptr, u"a", 1)}),
            std::vector(4, 0));
  EXPECT_LT(ucancoll(u"abX", u"abY", 3), 0);
}

TEST(Uca, WidensAndNarrows) {
  char16_t units[40];
  std::fill_n(units, 40, u'X');
  CAtoUCA("abcdefghijklmnopqrs\xE9vw", units, 20);
  EXPECT_EQ(View(units, 21), u"abcdefghijklmnopqrs\xE9X");
  CAtoUCA("a\xE9", units, 10);
  CAtoUCA(nullptr, units, 3);
  EXPECT_EQ(View(units, 3), u"a\xE9\x63");
  char bytes[40] = {};
  UCAtoCA(u"a\u00E9\u20AC\u0100bcdefghijklmnopqrstu", bytes, 22);
  UCAtoCA(u"zz", bytes, 0);
  UCAtoCA(nullptr, bytes, 3);
  EXPECT_STREQ(bytes, "a\xE9\?\?bcdefghijklmnopqrs");
}

TEST(UcaConversions, MakeArraysAndFillRoomOfTheCaller) {
  const std::unique_ptr<char16_t[]> units(makeUCAFromCA("a\xE9"));
  EXPECT_EQ(View(units.get()), u"a\xE9");
  const std::unique_ptr<char[]> bytes(makeCAFromUCA(u"a\x20AC"));
  EXPECT_STREQ(bytes.get(), "a?");
  EXPECT_TRUE(!makeCAFromUCA(u"") && !makeCAFromUCA(nullptr) && !makeUCAFromCA(nullptr) &&
              !makeWCA32FromUCA(nullptr) && !makeUCAFromWCA32(nullptr));
  wchar_t* wide = makeWCA32FromUCA(u"a\xD83D\xDE00z");
  EXPECT_EQ(std::wstring_view(wide), L"a\U0001F600z");
  const std::unique_ptr<char16_t[]> back(makeUCAFromWCA32(wide));
  EXPECT_EQ(View(back.get()), u"a\xD83D\xDE00") << "the room is used up";
  freeWCA32Str(wide);
  wchar_t room[] = L"XX";
  EXPECT_EQ((std::vector<int>{UCAtoWCA32(u"\xD83D\xDE00", room, 2), UCAtoWCA32(u"\xDE00", room, 1),
                              UCAtoWCA32(u"a", room, -3), WCA32toUCA(L"a\x1F600", back.get(), 2),
                              WCA32toUCA(L"b", back.get(), 0)}),
            (std::vector<int>{conversionOK, sourceIllegal, -3, targetExhausted, 0}));
  EXPECT_EQ(std::wstring_view(room), L"\U0001F600X");
}

TEST(AtlConversions, TakeAsciiAlone) {
  char16_t units[8];
  char bytes[8];
  EXPECT_EQ((Texts{AtlA2WHelper(units, "abc", 2), AtlA2WHelper(units, "abc", 7),
                   AtlA2WHelper(units, "a\xE9", 2), AtlA2WHelper(units, nullptr, 2)}),
            (Texts{u"ab", u"abc", u"", u""}));
  EXPECT_STREQ(AtlW2AHelper(bytes, u"abc", 2), "ab");
  EXPECT_STREQ(AtlW2AHelper(bytes, u"abc", 7), "abc");
  EXPECT_STREQ(AtlW2AHelper(bytes, u"\xE9", 1), "");
  EXPECT_STREQ(AtlW2AHelper(bytes, nullptr, 1), "");
  EXPECT_TRUE(!AtlW2AHelper(nullptr, u"a", 1) && !AtlA2WHelper(nullptr, "a", 1));
  const std::unique_ptr<char16_t, decltype(&free)> filled(A2WBSTR("ab", 4), free),
      text(A2BSTR("xyz"), free);
  EXPECT_EQ(View(filled.get(), 5), View(u"ab\0\0\0", 5));
  EXPECT_EQ(View(text.get()), u"xyz");
  EXPECT_TRUE(!A2WBSTR("\xE9") && !A2WBSTR(nullptr) && !A2WBSTR("a", -1));
}

TEST(UcaFormat, FormatsIntoArrays) {
  char16_t buffer[16];
  EXPECT_EQ(sucaprintf(buffer, u"%S-%s-%@", u"\x20AC", "b", CFSTR(u"c")), 5);
  EXPECT_EQ(View(buffer), u"\x20AC-b-c");
  const char16_t* const missing = u"%2$d";
  EXPECT_EQ(sucaprintf(buffer, nullptr), -1);
  EXPECT_EQ(sucaprintf(buffer, missing, 1), -1);
  for (const auto& [size, result, text] : {std::tuple<int, int, View>(0, 0, u"XXXX"),
                                           {1, 1, {u"\0XXX", 4}},
                                           {3, 3, {u"ab\0X", 4}},
                                           {4, 4, {u"abc\0", 4}},
                                           {5, 3, {u"abc\0", 4}}}) {
    std::fill_n(buffer, 8, u'X');
    EXPECT_EQ(snucaprintf(buffer, size, u"%s", "abc"), result) << size;
    EXPECT_EQ(View(buffer, 4), text) << size;
  }
}

TEST(UcaFormat, WritesUnitsToStreamsAndScans) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(ucaprintf(u"%C%d", 0x20AC, 7) + fucaprintf(stdout, u"%s", "a"), 3);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string("\xAC\x20\x37\0a\0", 6));
  EXPECT_EQ(fucaprintf(nullptr, u"x"), -1);
  int number = 0;
  wchar_t word[16] = {};
  EXPECT_EQ(sucascanf(u"42 text", u"%d %ls", &number, word), 2);
  EXPECT_EQ(number, 42);
  EXPECT_EQ(std::wstring_view(word), L"text");
  EXPECT_EQ(sucascanf(nullptr, u"%d", &number) + sucascanf(u"1", nullptr, &number), 0);
}

class Counted : public IUnknown {
 public:
  HRESULT QueryInterface(const _GUID& interface_id, void** object) override {
    *object = this;  // even on failure, like a bad object
    count += interface_id == IID_IUnknown ? 1 : 0;
    return interface_id == IID_IUnknown ? S_OK : E_NOINTERFACE;
  }
  unsigned long AddRef() override { return ++count; }
  unsigned long Release() override { return --count; }
  unsigned long count = 1;
};

TEST(Unknown, SlotsHoldOneReference) {
  Counted first, second;
  IUnknown* slot = nullptr;
  const auto counts = [&] { return std::pair(first.count, second.count); };
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(AtlComPtrAssign(&slot, &first), &first);
    EXPECT_EQ(counts(), std::pair(2ul, 1ul));
  }
  EXPECT_EQ(AtlComQIPtrAssign(&slot, &second, IID_IUnknown), &second);
  EXPECT_EQ(counts(), std::pair(1ul, 2ul));
  EXPECT_EQ(AtlComQIPtrAssign(&slot, &first, _GUID{}), nullptr);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(counts(), std::pair(1ul, 1ul));
  EXPECT_EQ(AtlComPtrAssign(&slot, nullptr), nullptr);
  EXPECT_EQ(StringFromCLSID(IID_IUnknown, nullptr), E_POINTER);
}

}  // namespace
}  // namespace orvik::test
