// Text as bytes: UTF-8, code pages and Base64.
#include "text/byte_encodings.h"
#include "text/code_page_codec.h"
#include "text/transcoding.h"

#include <iconv.h>

#include <numeric>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

// A text that ends within a character, or that can never become well formed.
TEST(Transcoding, EndsAndFaultsOfTheLastCharacter) {
  using enum TranscodingStop;
  const std::pair<std::string, TranscodingStop> kCases[] = {
      {"a\xC3", kSourceEnds},       {"a\xC3\x41", kIllegal},     {"a\xC1\xBF", kIllegal},
      {"a\xE0", kSourceEnds},       {"a\xE0\x9F", kIllegal},     {"a\xE0\xA0", kSourceEnds},
      {"a\xED\xA0", kIllegal},      {"a\xED\x9F\x41", kIllegal}, {"a\xED\x9F\xBF", kDone},
      {"a\xF0", kSourceEnds},       {"a\xF0\x8F", kIllegal},     {"a\xF0\x90", kSourceEnds},
      {"a\xF4\x90", kIllegal},      {"a\xF4\x8F\x41", kIllegal}, {"a\xF4\x8F\xBF", kSourceEnds},
      {"a\xF4\x8F\xBF\xBF", kDone}, {"a\xF5", kIllegal},         {"a\x80", kIllegal}};
  for (const auto& [bytes, stop] : kCases) {
    const char* source = bytes.data();
    char16_t units[8];
    char16_t* target = units;
    EXPECT_EQ(DecodeUtf8(source, source + bytes.size(), target, units + 8), stop) << bytes;
  }
}

TEST(Transcoding, OneUnitAmongOthers) {
  EXPECT_EQ(OrOfUnits(u""), 0);
  for (std::size_t size = 1; size < 70; ++size) {
    for (std::size_t place = 0; place < size; ++place) {
      SCOPED_TRACE(testing::Message() << place << " of " << size);
      std::vector<char16_t> units(size, u'a');
      units[place] = u'\x1234';
      const std::u16string_view text(units.data(), size);
      EXPECT_EQ(OrOfUnits(text), size == 1 ? 0x1234 : u'a' | 0x1234);
      EXPECT_EQ(AsciiPrefix(text), place);
      std::vector<char> bytes(size);
      NarrowLatin1(units.data(), bytes.data(), size);
      EXPECT_EQ(bytes[place], '?');
      units[place] = 0xFF;
      NarrowLatin1(units.data(), bytes.data(), size);
      EXPECT_EQ(AsciiPrefix(std::string_view(bytes.data(), size)), place);
      std::vector<char16_t> back(size);
      WidenLatin1(bytes.data(), back.data(), size);
      EXPECT_EQ(back, units);
    }
  }
}

// The text as another library decodes it; empty when it refuses the bytes.
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

// Bytes whose meaning in the other library is that of another vendor.
const std::map<CodePage, std::string_view> kDiffering = {
    {870, "\xB0"},       {875, "\x6A\x74\xDD"}, {1026, "\x9D\xBC"},
    {10000, "\xC6\xF0"}, {10007, "\xFF"},       {20278, "\x71\xE0"},
    {20285, "\xA1"},     {20420, "\x45"},       {20424, "\x78\x8F\xB3\xBC"},
    {20871, "\x4A\xC0"}};

// Pages that the other library lacks and Python has.
const std::map<CodePage, const char*> kPagesOfPython = {
    {720, "cp720"}, {10006, "mac_greek"}, {10081, "mac_turkish"}};

// Pages of several bytes, and two for which the other library has another country's table or none.
const std::set<CodePage> kOtherPages = {
    932,   936,   949,   950,   1200,  1201,  12000, 12001, 20290, 20838, 20932, 20936,
    20949, 50220, 50221, 50222, 50225, 50227, 51932, 51936, 51949, 52936, 54936, 57002,
    57003, 57004, 57005, 57006, 57007, 57008, 57009, 57010, 57011, 65000, 65001};

TEST(CodePageCodec, EveryByteOfEverySingleBytePage) {
  int known = 0;
  for (CodePage page = 0; page <= 70'000; ++page) {
    EXPECT_EQ(IsKnownCodePage(page), DecodeText(page, "").has_value()) << page;
    if (!IsKnownCodePage(page)) continue;
    ++known;
    if (kOtherPages.contains(page) || kPagesOfPython.contains(page)) continue;
    const std::string oracle = OracleName(page);
    const auto found = kDiffering.find(page);
    const std::string_view differing = found == kDiffering.end() ? "" : found->second;
    std::map<std::u16string, std::string> first_bytes;
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
      if (text) {  // the first of several bytes for one character
        EXPECT_EQ(Encoded(page, *text), first_bytes.emplace(*text, byte).first->second) << page;
      }
    }
  }
  EXPECT_EQ(known, 109);
  for (const auto& [page, name] : kPagesOfPython) {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    const std::u16string text = DecodeText(page, bytes).value_or(u"");
    const CommandResult python = RunCommand({"python3", "-c",
                                             "import sys;print(bytes(range(256)).decode("
                                             "sys.argv[1]).encode('utf-16-le').hex(),end='')",
                                             name});
    std::string hex;
    for (const char16_t unit : text) {
      for (const int shift : {4, 0, 12, 8}) hex += "0123456789abcdef"[unit >> shift & 15];
    }
    EXPECT_EQ(hex, python.out) << page << python.err;
    EXPECT_EQ(Encoded(page, text), bytes) << page;
  }
}

TEST(MacRoman, HasTheUnitsOfItsCodePage) {
  for (int byte = 0; byte < 256; ++byte) {
    const char16_t unit = UnitOfMacRoman(static_cast<unsigned char>(byte));
    EXPECT_EQ(DecodeText(10000, std::string(1, static_cast<char>(byte))), std::u16string(1, unit));
    EXPECT_EQ(MacRomanOfUnit(unit), byte);
  }
  for (const char16_t unit : {u'\x80', u'\x4E00', u'\xFFFF'}) EXPECT_EQ(MacRomanOfUnit(unit), -1);
}

TEST(CodePageCodec, OtherPages) {
  const std::tuple<CodePage, const char*, std::u16string> cases[] = {
      {65000, "UTF-7", u"a\x4E2D+"},      {20936, "EUC-CN", u"\x4E2D\x6587"},
      {936, "CP936", u"\x4E2D\x20AC"},    {949, "CP949", u"\xD55C\xAC02"},
      {950, "CP950", u"\x4E2D\x6587"},    {932, "CP932", u"\x65E5\xFF71\x2460"},
      {20949, "EUC-KR", u"\xD55C"},       {50225, "ISO-2022-KR", u"\xD55C"},
      {50227, "ISO-2022-CN", u"\x4E2D"},  {50221, "ISO-2022-JP", u"a\x65E5\x672Cz"},
      {51932, "EUC-JP", u"\x65E5\xFF71"}, {54936, "GB18030", u"\x4E2D\xD83D\xDE00"}};
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
    EXPECT_EQ(Encoded(page, u"ab\xD83Dz\xDE00"), "ab?z?") << page;
  }
}

TEST(CodePageCodec, WholeCharactersFill) {
  const std::tuple<CodePage, std::string, std::size_t> cases[] = {
      {kUtf8CodePage, "a\xF0\x9F\x98\x80", 1},
      {1200, std::string("a\0\x3D\xD8\0\xDE", 6), 2},
      {1201, std::string("\0a\xD8\x3D\xDE\0", 6), 2},
      {12000, std::string("a\0\0\0\0\xF6\x01\0", 8), 4},
      {12001, std::string("\0\0\0a\0\x01\xF6\0", 8), 4},
      {1252, "a?", 1},
      {54936, "a\x94\x39\xFC\x36", 1}};
  const std::u16string text = u"a\xD83D\xDE00";
  for (const auto& [page, bytes, first] : cases) {
    EXPECT_EQ(Encoded(page, text), bytes) << page;
    EXPECT_EQ(DecodeText(page, bytes), page == 1252 ? u"a?" : text) << page;
    EXPECT_EQ(DecodeText(page, bytes.substr(0, bytes.size() - 1)).has_value(), page == 1252);
    for (std::size_t room = 0; room < 10; ++room) {
      char target[16];
      const auto done = EncodeText(page, text, '?', target, room);
      const std::size_t units = room >= bytes.size() ? 3 : room >= first ? 1 : 0;
      EXPECT_EQ(done->units, units) << page << " in " << room;
      EXPECT_EQ(done->bytes, units == 3 ? bytes.size() : units * first) << page << " in " << room;
    }
  }
  EXPECT_EQ(DecodeText(12000, std::string("\0\xD8\0\0", 4)), std::nullopt);
  EXPECT_EQ(DecodeText(12001, std::string("\0\x11\0\0", 4)), std::nullopt);
}

TEST(Base64Codec, DecodesLooseText) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"", ""},      {"T", std::nullopt},     {"=", ""},      {"TWFu", "Man"},
      {"TQ", "M"},   {"TWFuT", std::nullopt}, {"!!!", ""},    {"TWFu=TWFu", "Man"},
      {"TWE", "Ma"}, {"T-W*F\x80u", "Man"},   {"TWE=", "Ma"}, {"\n\tTW Fu\n", "Man"}};
  for (const auto& [text, bytes] : cases) EXPECT_EQ(DecodeLooseBase64(text), bytes) << text;
}

TEST(Base64Fault, NamesTheFirstWrongCharacter) {
  const std::pair<const char*, std::size_t> kCases[] = {{"***", 0},   {"AA-_", 2}, {"AAH", 3},
                                                        {"AA=A", 2},  {"AB==", 1}, {"AA==AA==", 2},
                                                        {"AAA A", 3}, {"A===", 1}};
  for (const auto& [text, place] : kCases) EXPECT_EQ(Base64Fault(text), place) << text;
  for (const char* text : {"", "AA==", "AAA=", "+/+/"}) EXPECT_EQ(Base64Fault(text), std::nullopt);
}

TEST(PercentEncoding, KeepsLettersDigitsAndGivenBytes) {
  EXPECT_EQ(PercentEncoded("/09:@AZ[`az{-_\xFF", "-"), "%2F09%3A%40AZ%5B%60az%7B-%5F%FF");
}

}  // namespace
}  // namespace orvik::test
