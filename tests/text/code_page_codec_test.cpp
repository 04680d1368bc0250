#include "text/code_page_codec.h"

#include <iconv.h>

#include "tests/support/test_environment.h"
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

constexpr CodePage kSingleBytePages[] = {
    37,    437,   500,   737,   775,   850,   852,   855,   857,   858,   860,   861,
    862,   863,   864,   865,   866,   869,   870,   874,   875,   1026,  1047,  1140,
    1141,  1142,  1143,  1144,  1145,  1146,  1147,  1148,  1149,  1250,  1251,  1252,
    1253,  1254,  1255,  1256,  1257,  1258,  10000, 10007, 10029, 20127, 20273, 20277,
    20278, 20280, 20284, 20285, 20297, 20420, 20424, 20866, 20871, 21025, 21866, 28591,
    28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605, 38598};

std::string OracleName(CodePage page) {
  static const std::map<CodePage, const char*> kNames = {
      {10000, "MACINTOSH"}, {10007, "MAC-CYRILLIC"}, {10029, "MAC-CENTRALEUROPE"},
      {20127, "ASCII"},     {20277, "IBM277"},       {20866, "KOI8-R"},
      {21866, "KOI8-U"},    {38598, "ISO-8859-8"}};
  if (const auto found = kNames.find(page); found != kNames.end()) return found->second;
  if (page > 28590) return "ISO-8859-" + std::to_string(page - 28590);
  const std::string number = std::to_string(page > 20000 ? page - 20000 : page);
  return "CP" + std::string(number.size() < 3 ? "0" : "") + number;
}

// Bytes that the other library reads as another maker does.
const std::map<CodePage, std::string_view> kDiffering = {
    {870, "\xB0"},       {875, "\x6A\x74\xDD"}, {1026, "\x9D\xBC"},
    {10000, "\xC6\xF0"}, {10007, "\xFF"},       {20278, "\x71\xE0"},
    {20285, "\xA1"},     {20420, "\x45"},       {20424, "\x78\x8F\xB3\xBC"},
    {20871, "\x4A\xC0"}};

// Pages that the other library lacks and Python knows.
const std::map<CodePage, const char*> kPagesOfPython = {
    {720, "cp720"}, {10006, "mac_greek"}, {10081, "mac_turkish"}};

std::u16string AllBytesByPython(const char* page) {
  const CommandResult result = RunCommand(
      {"python3", "-c",
       "import sys\n"
       "sys.stdout.buffer.write(bytes(range(256)).decode(sys.argv[1]).encode('utf-16-le'))",
       page});
  EXPECT_EQ(result.out.size(), 512u) << result.err;
  std::u16string text(256, u'\0');
  std::memcpy(text.data(), result.out.data(), std::min<std::size_t>(result.out.size(), 512));
  return text;
}

TEST(CodePageCodec, EveryByteOfEverySingleBytePage) {
  for (const CodePage page : kSingleBytePages) {
    const std::string oracle = OracleName(page);
    const auto found = kDiffering.find(page);
    const std::string_view differing = found == kDiffering.end() ? "" : found->second;
    for (int value = 0; value < 256; ++value) {
      const std::string byte(1, static_cast<char>(value));
      const std::optional<std::u16string> text = DecodeText(page, byte);
      const std::optional<std::u16string> expected = Oracle(oracle.c_str(), byte);
      if (value != 0 && differing.find(byte) != std::string_view::npos) {
        EXPECT_NE(text, expected) << page << " agrees now at " << value;
      } else if (expected) {
        EXPECT_EQ(text, expected) << page << " at " << value;
      } else if (text) {
        // Windows reads unused bytes as control characters, as SUBSTITUTE in one page, and as units
        // of the private use area in another.
        const char16_t unit = (*text)[0];
        EXPECT_TRUE(unit == value || unit == 0x1A || (unit >= 0xF8C1 && unit <= 0xF8C8))
            << page << " at " << value;
      }
      if (text) {
        EXPECT_EQ(DecodeText(page, Encoded(page, *text)), text) << page;
      }
    }
  }
  for (const auto& [page, name] : kPagesOfPython) {
    const std::u16string all = AllBytesByPython(name);
    for (std::size_t i = 0; i < 256; ++i) {
      const std::string byte(1, static_cast<char>(i));
      EXPECT_EQ(DecodeText(page, byte), all.substr(i, 1)) << page << " at " << i;
      EXPECT_EQ(Encoded(page, all.substr(i, 1)), byte) << page << " at " << i;
    }
  }
}

// Every page of the table opens, and none of single bytes is left out above.
TEST(CodePageCodec, EveryPageIsKnownAndTested) {
  for (CodePage page = 0; page <= 65535; ++page) {
    if (FindCodePage(page) == nullptr) continue;
    EXPECT_TRUE(IsKnownCodePage(page)) << page;
    EXPECT_FALSE(DecodeText(page, "1").value_or(u"").empty()) << page;
    // No page of several bytes has a meaning for each single one.
    bool reads_all = true;
    for (int value = 0; value < 256; ++value) {
      const std::string byte(1, static_cast<char>(value));
      reads_all = reads_all && DecodeText(page, byte).value_or(u"").size() == 1;
    }
    const bool is_tested =
        std::ranges::find(kSingleBytePages, page) != std::end(kSingleBytePages) ||
        kPagesOfPython.contains(page);
    // Their other tables are another country's (half-width letters) or cannot be opened.
    const bool has_no_oracle = page == 20290 || page == 20838;
    EXPECT_TRUE(!reads_all || is_tested || has_no_oracle) << page;
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
