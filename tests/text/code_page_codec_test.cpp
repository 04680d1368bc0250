#include "text/code_page_codec.h"

#include <iconv.h>

#include <algorithm>
#include <map>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "text/code_page_table.h"

namespace orvik::test {
namespace {

// Another library's reading of the bytes; empty when they are no text.
std::optional<std::u16string> Oracle(const char* name, std::string bytes) {
  const iconv_t converter = iconv_open("UTF-16LE", name);
  EXPECT_NE(converter, reinterpret_cast<iconv_t>(-1)) << name;
  std::u16string text(bytes.size() + 8, u'\0');
  char* in = bytes.data();
  char* out = reinterpret_cast<char*>(text.data());
  std::size_t in_left = bytes.size();
  std::size_t out_left = 2 * text.size();
  const bool failed =
      iconv(converter, &in, &in_left, &out, &out_left) == static_cast<std::size_t>(-1) ||
      iconv(converter, nullptr, nullptr, &out, &out_left) == static_cast<std::size_t>(-1);
  iconv_close(converter);
  if (failed) return std::nullopt;
  text.resize(text.size() - out_left / 2);
  return text;
}

std::string Encoded(CodePage page, std::u16string_view text) {
  const auto needed = EncodeText(page, text, '?', nullptr, 0);
  if (!needed) return "unknown code page";
  std::string bytes(needed->bytes, '\0');
  const auto done = EncodeText(page, text, '?', bytes.data(), bytes.size());
  EXPECT_EQ(done->bytes, needed->bytes) << page;
  EXPECT_EQ(done->units, text.size()) << page;
  return bytes;
}

struct Page {
  CodePage page;
  const char* oracle;
};

constexpr Page kSingleBytePages[] = {
    {37, "IBM037"},         {437, "IBM437"},         {500, "IBM500"},
    {737, "CP737"},         {775, "CP775"},          {850, "IBM850"},
    {852, "IBM852"},        {855, "IBM855"},         {857, "IBM857"},
    {858, "CP858"},         {860, "IBM860"},         {861, "IBM861"},
    {862, "IBM862"},        {863, "IBM863"},         {864, "IBM864"},
    {865, "IBM865"},        {866, "IBM866"},         {869, "IBM869"},
    {870, "IBM870"},        {874, "CP874"},          {875, "CP875"},
    {1026, "IBM1026"},      {1047, "IBM1047"},       {1140, "IBM1140"},
    {1141, "IBM1141"},      {1142, "IBM1142"},       {1143, "IBM1143"},
    {1144, "IBM1144"},      {1145, "IBM1145"},       {1146, "IBM1146"},
    {1147, "IBM1147"},      {1148, "IBM1148"},       {1149, "IBM1149"},
    {1250, "CP1250"},       {1251, "CP1251"},        {1252, "CP1252"},
    {1253, "CP1253"},       {1254, "CP1254"},        {1255, "CP1255"},
    {1256, "CP1256"},       {1257, "CP1257"},        {1258, "CP1258"},
    {10000, "MACINTOSH"},   {10007, "MAC-CYRILLIC"}, {10029, "MAC-CENTRALEUROPE"},
    {20127, "ASCII"},       {20273, "IBM273"},       {20277, "IBM277"},
    {20278, "IBM278"},      {20280, "IBM280"},       {20284, "IBM284"},
    {20285, "IBM285"},      {20297, "IBM297"},       {20420, "IBM420"},
    {20424, "IBM424"},      {20866, "KOI8-R"},       {20871, "IBM871"},
    {21025, "CP1025"},      {21866, "KOI8-U"},       {28591, "ISO-8859-1"},
    {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},   {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"},  {28596, "ISO-8859-6"},   {28597, "ISO-8859-7"},
    {28598, "ISO-8859-8"},  {28599, "ISO-8859-9"},   {28603, "ISO-8859-13"},
    {28605, "ISO-8859-15"}, {38598, "ISO-8859-8"}};

// Bytes that the other library reads as another maker does.
const std::map<CodePage, std::string_view> kDiffering = {
    {870, "\xB0"},       {875, "\x6A\x74\xDD"}, {1026, "\x9D\xBC"},
    {10000, "\xC6\xF0"}, {10007, "\xFF"},       {20278, "\x71\xE0"},
    {20285, "\xA1"},     {20420, "\x45"},       {20424, "\x78\x8F\xB3\xBC"},
    {20871, "\x4A\xC0"}};

// The upper halves of pages that the other library lacks.
const std::map<CodePage, std::u16string_view> kUpperHalves = {
    {720,
     u"\x0080\x0081\x00E9\x00E2\x0084\x00E0\x0086\x00E7\x00EA\x00EB\x00E8\x00EF\x00EE\x008D"
     u"\x008E\x008F\x0090\x0651\x0652\x00F4\x00A4\x0640\x00FB\x00F9\x0621\x0622\x0623\x0624"
     u"\x00A3\x0625\x0626\x0627\x0628\x0629\x062A\x062B\x062C\x062D\x062E\x062F\x0630\x0631"
     u"\x0632\x0633\x0634\x0635\x00AB\x00BB\x2591\x2592\x2593\x2502\x2524\x2561\x2562\x2556"
     u"\x2555\x2563\x2551\x2557\x255D\x255C\x255B\x2510\x2514\x2534\x252C\x251C\x2500\x253C"
     u"\x255E\x255F\x255A\x2554\x2569\x2566\x2560\x2550\x256C\x2567\x2568\x2564\x2565\x2559"
     u"\x2558\x2552\x2553\x256B\x256A\x2518\x250C\x2588\x2584\x258C\x2590\x2580\x0636\x0637"
     u"\x0638\x0639\x063A\x0641\x00B5\x0642\x0643\x0644\x0645\x0646\x0647\x0648\x0649\x064A"
     u"\x2261\x064B\x064C\x064D\x064E\x064F\x0650\x2248\x00B0\x2219\x00B7\x221A\x207F\x00B2"
     u"\x25A0\x00A0"},
    {10006,
     u"\x00C4\x00B9\x00B2\x00C9\x00B3\x00D6\x00DC\x0385\x00E0\x00E2\x00E4\x0384\x00A8\x00E7"
     u"\x00E9\x00E8\x00EA\x00EB\x00A3\x2122\x00EE\x00EF\x2022\x00BD\x2030\x00F4\x00F6\x00A6"
     u"\x20AC\x00F9\x00FB\x00FC\x2020\x0393\x0394\x0398\x039B\x039E\x03A0\x00DF\x00AE\x00A9"
     u"\x03A3\x03AA\x00A7\x2260\x00B0\x00B7\x0391\x00B1\x2264\x2265\x00A5\x0392\x0395\x0396"
     u"\x0397\x0399\x039A\x039C\x03A6\x03AB\x03A8\x03A9\x03AC\x039D\x00AC\x039F\x03A1\x2248"
     u"\x03A4\x00AB\x00BB\x2026\x00A0\x03A5\x03A7\x0386\x0388\x0153\x2013\x2015\x201C\x201D"
     u"\x2018\x2019\x00F7\x0389\x038A\x038C\x038E\x03AD\x03AE\x03AF\x03CC\x038F\x03CD\x03B1"
     u"\x03B2\x03C8\x03B4\x03B5\x03C6\x03B3\x03B7\x03B9\x03BE\x03BA\x03BB\x03BC\x03BD\x03BF"
     u"\x03C0\x03CE\x03C1\x03C3\x03C4\x03B8\x03C9\x03C2\x03C7\x03C5\x03B6\x03CA\x03CB\x0390"
     u"\x03B0\x00AD"},
    {10081,
     u"\x00C4\x00C5\x00C7\x00C9\x00D1\x00D6\x00DC\x00E1\x00E0\x00E2\x00E4\x00E3\x00E5\x00E7"
     u"\x00E9\x00E8\x00EA\x00EB\x00ED\x00EC\x00EE\x00EF\x00F1\x00F3\x00F2\x00F4\x00F6\x00F5"
     u"\x00FA\x00F9\x00FB\x00FC\x2020\x00B0\x00A2\x00A3\x00A7\x2022\x00B6\x00DF\x00AE\x00A9"
     u"\x2122\x00B4\x00A8\x2260\x00C6\x00D8\x221E\x00B1\x2264\x2265\x00A5\x00B5\x2202\x2211"
     u"\x220F\x03C0\x222B\x00AA\x00BA\x03A9\x00E6\x00F8\x00BF\x00A1\x00AC\x221A\x0192\x2248"
     u"\x2206\x00AB\x00BB\x2026\x00A0\x00C0\x00C3\x00D5\x0152\x0153\x2013\x2014\x201C\x201D"
     u"\x2018\x2019\x00F7\x25CA\x00FF\x0178\x011E\x011F\x0130\x0131\x015E\x015F\x2021\x00B7"
     u"\x201A\x201E\x2030\x00C2\x00CA\x00C1\x00CB\x00C8\x00CD\x00CE\x00CF\x00CC\x00D3\x00D4"
     u"\xF8FF\x00D2\x00DA\x00DB\x00D9\xF8A0\x02C6\x02DC\x00AF\x02D8\x02D9\x02DA\x00B8\x02DD"
     u"\x02DB\x02C7"},
};

TEST(CodePageCodec, EveryByteOfEverySingleBytePage) {
  for (const Page& page : kSingleBytePages) {
    const auto found = kDiffering.find(page.page);
    const std::string_view differing = found == kDiffering.end() ? "" : found->second;
    for (int value = 0; value < 256; ++value) {
      const std::string byte(1, static_cast<char>(value));
      const std::optional<std::u16string> text = DecodeText(page.page, byte);
      const std::optional<std::u16string> expected = Oracle(page.oracle, byte);
      if (value != 0 && differing.find(byte) != std::string_view::npos) {
        EXPECT_NE(text, expected) << page.page << " agrees now at " << value;
      } else if (expected) {
        EXPECT_EQ(text, expected) << page.page << " at " << value;
      } else if (text) {
        // Windows reads unused bytes as control characters, as SUBSTITUTE in one page, and as units
        // of the private use area in another.
        const char16_t unit = (*text)[0];
        EXPECT_TRUE(unit == value || unit == 0x1A || (unit >= 0xF8C1 && unit <= 0xF8C8))
            << page.page << " at " << value;
      }
      if (text) {
        EXPECT_EQ(DecodeText(page.page, Encoded(page.page, *text)), text) << page.page;
      }
    }
  }
  for (const auto& [page, upper] : kUpperHalves) {
    for (std::size_t i = 0; i < 256; ++i) {
      const std::u16string expected(1, i < 128 ? static_cast<char16_t>(i) : upper[i - 128]);
      const std::string byte(1, static_cast<char>(i));
      EXPECT_EQ(DecodeText(page, byte), expected) << page << " at " << i;
      EXPECT_EQ(Encoded(page, expected), byte) << page << " at " << i;
    }
  }
}

// Every page of the table opens, and none of single bytes is left out above.
TEST(CodePageCodec, EveryPageIsKnownAndTested) {
  for (const CodePageEntry& entry : AllCodePages()) {
    EXPECT_TRUE(IsKnownCodePage(entry.page)) << entry.page;
    EXPECT_FALSE(DecodeText(entry.page, "1").value_or(u"").empty()) << entry.page;
    // No page of several bytes has a meaning for each single one.
    bool reads_all = true;
    for (int value = 0; value < 256; ++value) {
      const std::string byte(1, static_cast<char>(value));
      reads_all = reads_all && DecodeText(entry.page, byte).value_or(u"").size() == 1;
    }
    const bool is_tested =
        kUpperHalves.contains(entry.page) ||
        std::ranges::find(kSingleBytePages, entry.page, &Page::page) != std::end(kSingleBytePages);
    // Their other tables are another country's (half-width letters) or cannot be opened.
    const bool has_no_oracle = entry.page == 20290 || entry.page == 20838;
    EXPECT_TRUE(!reads_all || is_tested || has_no_oracle) << entry.page;
  }
  for (const CodePage page : {0u, 1u, 942u, 1363u, 5348u, 33722u, 65535u, 70000u}) {
    EXPECT_FALSE(IsKnownCodePage(page)) << page;
    EXPECT_FALSE(DecodeText(page, "a").has_value()) << page;
  }
}

TEST(CodePageCodec, PagesOfSeveralBytes) {
  const std::tuple<CodePage, const char*, std::u16string> cases[] = {
      {65000, "UTF-7", u"a\x4E2D+"},      {20936, "EUC-CN", u"\x4E2D\x6587"},
      {936, "CP936", u"\x4E2D\x20AC"},    {51949, "EUC-KR", u"\xD55C\xAD6D"},
      {949, "CP949", u"\xD55C\xAC02"},    {20949, "EUC-KR", u"\xD55C\xAD6D"},
      {950, "CP950", u"\x4E2D\x6587"},    {932, "CP932", u"\x65E5\xFF71\x2460"},
      {50225, "ISO-2022-KR", u"\xD55C"},  {50220, "ISO-2022-JP", u"a\x65E5\x672Cz"},
      {50227, "ISO-2022-CN", u"\x4E2D"},  {50221, "ISO-2022-JP", u"a\x65E5\x672Cz"},
      {20932, "EUC-JP", u"\x65E5\x672C"}, {50222, "ISO-2022-JP", u"a\x65E5\x672Cz"},
      {51932, "EUC-JP", u"\x65E5\xFF71"}, {54936, "GB18030", u"\x4E2D\xD83D\xDE00"},
      {51936, "EUC-CN", u"\x4E2D\x6587"}};
  for (const auto& [page, oracle, text] : cases) {
    const std::string bytes = Encoded(page, text);
    EXPECT_EQ(DecodeText(page, bytes), text) << page;
    EXPECT_EQ(Oracle(oracle, bytes), text) << page;
  }
  EXPECT_EQ(DecodeText(52936, "~{VPND~}"), u"\x4E2D\x6587");
  EXPECT_EQ(DecodeText(57002, "\xB3"), u"\x915");
}

TEST(CodePageCodec, WithoutALossByteTheTextEndsThere) {
  char bytes[8];
  for (const CodePage page : {kAsciiCodePage, 1252u, 932u, kUtf8CodePage}) {
    const auto done = EncodeText(page, u"ab\xD83Dz", '\0', bytes, sizeof bytes);
    EXPECT_EQ(done->units, 2u) << page;
    EXPECT_EQ(done->bytes, 2u) << page;
    EXPECT_EQ(EncodeText(page, u"ab\xD83Dz", '\0', nullptr, 0)->bytes, 2u) << page;
  }
}

TEST(CodePageCodec, WholeCharactersFill) {
  const std::tuple<CodePage, std::size_t, std::size_t> cases[] = {
      {kUtf8CodePage, 1, 4}, {1200, 2, 4}, {1201, 2, 4}, {12000, 4, 4},
      {12001, 4, 4},         {1252, 1, 1}, {932, 1, 1},  {54936, 1, 4}};
  for (const auto& [page, size_of_first, size_of_second] : cases) {
    for (std::size_t room = 0; room < 10; ++room) {
      char bytes[16];
      const auto done = EncodeText(page, u"a\xD83D\xDE00", '?', bytes, room);
      const std::size_t both = size_of_first + size_of_second;
      EXPECT_EQ(done->bytes, room >= both            ? both
                             : room >= size_of_first ? size_of_first
                                                     : 0)
          << page << " in " << room;
      EXPECT_EQ(done->units, room >= both ? 3u : room >= size_of_first ? 1u : 0u);
    }
  }
}

TEST(CodePageCodec, UnicodeForms) {
  const std::u16string text = u"a\xD83D\xDE00";
  const std::map<CodePage, std::string> forms = {
      {kUtf8CodePage, "a\xF0\x9F\x98\x80"},
      {1200, std::string("a\0\x3D\xD8\0\xDE", 6)},
      {1201, std::string("\0a\xD8\x3D\xDE\0", 6)},
      {12000, std::string("a\0\0\0\0\xF6\x01\0", 8)},
      {12001, std::string("\0\0\0a\0\x01\xF6\0", 8)},
  };
  for (const auto& [page, bytes] : forms) {
    EXPECT_EQ(Encoded(page, text), bytes) << page;
    EXPECT_EQ(DecodeText(page, bytes), text) << page;
    EXPECT_EQ(DecodeText(page, bytes.substr(0, bytes.size() - 1)), std::nullopt) << page;
  }
  EXPECT_EQ(DecodeText(12000, std::string("\0\xD8\0\0", 4)), std::nullopt);
  EXPECT_EQ(DecodeText(12001, std::string("\0\x11\0\0", 4)), std::nullopt);
}

}  // namespace
}  // namespace orvik::test
