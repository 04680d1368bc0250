#include "strings/unicode_conversions.h"

#include <iconv.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <random>
#include <tuple>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

template <class Source, class Target>
struct Outcome {
  ConversionResult result;
  std::size_t read;
  std::basic_string<Target> text;
  bool operator==(const Outcome&) const = default;
};

template <class Source, class Target>
using Routine = ConversionResult (*)(const Source**, const Source*, Target**, Target*,
                                     ConversionFlags);

template <class Source, class Target>
Outcome<Source, Target> Convert(Routine<Source, Target> routine,
                                std::basic_string_view<Source> text, ConversionFlags flags,
                                std::size_t room) {
  std::basic_string<Target> target(room, Target{});
  const Source* source = text.data();
  Target* at = target.data();
  const ConversionResult result =
      routine(&source, text.data() + text.size(), &at, target.data() + room, flags);
  target.resize(static_cast<std::size_t>(at - target.data()));
  return {result, static_cast<std::size_t>(source - text.data()), target};
}

using Bytes = std::basic_string<UTF8>;

Bytes ToBytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

auto FromUtf8(const Bytes& bytes, ConversionFlags flags = strictConversion, std::size_t room = 64) {
  return Convert<UTF8, UTF16>(ConvertUTF8toUTF16, bytes, flags, room);
}

auto ToUtf8(const std::u16string& text, ConversionFlags flags = strictConversion,
            std::size_t room = 64) {
  return Convert<UTF16, UTF8>(ConvertUTF16toUTF8, text, flags, room);
}

// What the rules say about the bytes, by another library's reading of them.
Outcome<UTF8, UTF16> ByTheRules(const Bytes& bytes) {
  Outcome<UTF8, UTF16> expected{conversionOK, 0, {}};
  const auto length = static_cast<int32_t>(bytes.size());
  for (int32_t i = 0, next = 0; i < length; i = next) {
    UChar32 value;
    U8_NEXT(bytes.data(), next, length, value);
    if (value < 0) {
      const int wanted = trailingBytesForUTF8[bytes[static_cast<std::size_t>(i)]] + 1;
      expected.result = length - i < wanted ? sourceExhausted : sourceIllegal;
      break;
    }
    expected.read = static_cast<std::size_t>(next);
    char16_t units[2];
    int32_t count = 0;
    U16_APPEND_UNSAFE(units, count, value);
    expected.text.append(units, static_cast<std::size_t>(count));
  }
  return expected;
}

void ExpectByTheRules(const Bytes& bytes) {
  ASSERT_EQ(FromUtf8(bytes, strictConversion, bytes.size() + 1), ByTheRules(bytes))
      << testing::PrintToString(bytes);
}

TEST(UnicodeConversions, EveryCodePointGoesAroundAllThreeForms) {
  using Text32 = std::basic_string<UTF32>;
  iconv_t oracle = iconv_open("UTF-8", "UTF-32LE");
  ASSERT_NE(oracle, reinterpret_cast<iconv_t>(-1));
  constexpr UTF32 kPiece = 0x800;
  for (UTF32 first = 0; first <= 0x10FFFF; first += kPiece) {
    Text32 text;
    for (UTF32 value = first; value < first + kPiece; ++value) text += value;
    const auto utf8 = Convert<UTF32, UTF8>(ConvertUTF32toUTF8, text, strictConversion, 4 * kPiece);
    const auto utf16 =
        Convert<UTF32, UTF16>(ConvertUTF32toUTF16, text, strictConversion, 2 * kPiece);
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
    const auto from_utf8 =
        Convert<UTF8, UTF32>(ConvertUTF8toUTF32, utf8.text, strictConversion, kPiece);
    const auto from_utf16 =
        Convert<UTF16, UTF32>(ConvertUTF16toUTF32, utf16.text, strictConversion, kPiece);
    ASSERT_TRUE(from_utf8.text == text && from_utf16.text == text) << first;
  }
  iconv_close(oracle);
}

TEST(UnicodeConversions, AllSequencesOfTwoOrThreeBytes) {
  const std::string thirds("\0\x41\x7F\x80\xA0\xBF\xC0\xC2\xE0\xED\xF4\xFF", 12);
  for (int a = 0; a < 0x100; ++a) {
    for (int b = 0; b < 0x100; ++b) {
      const Bytes two = {static_cast<UTF8>(a), static_cast<UTF8>(b)};
      ExpectByTheRules(two);
      for (const char c : thirds) ExpectByTheRules(two + static_cast<UTF8>(c));
    }
  }
}

TEST(UnicodeConversions, RandomBytesAtEveryAlignment) {
  std::mt19937 random(7);
  const char* pieces[] = {
      "a",    "0123456789abcdef", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80",
      "\xC3", "\xED\xA0\x80",     "\xF5\x80", "\xE2\x82",     "\xF0\x9F"};
  for (int round = 0; round < 20000; ++round) {
    Bytes bytes;
    const auto count = random() % 12;
    for (unsigned i = 0; i < count; ++i) bytes += ToBytes(pieces[random() % (round % 2 ? 5 : 11)]);
    ExpectByTheRules(bytes);
  }
}

TEST(UnicodeConversions, StopsBeforeWhatDoesNotFit) {
  const Bytes bytes = ToBytes("abcdefghijklmnopqrstu\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
  const auto whole = ByTheRules(bytes);
  for (std::size_t room = 0; room <= whole.text.size(); ++room) {
    const auto outcome = FromUtf8(bytes, strictConversion, room);
    const bool splits = room > 0 && room < whole.text.size() && U16_IS_LEAD(whole.text[room - 1]);
    EXPECT_EQ(outcome.text, whole.text.substr(0, splits ? room - 1 : room));
    EXPECT_EQ(outcome.result, room == whole.text.size() ? conversionOK : targetExhausted);
    EXPECT_EQ(ByTheRules(bytes.substr(0, outcome.read)).text, outcome.text);
  }
  for (std::size_t room = 0; room <= bytes.size(); ++room) {
    const auto outcome = ToUtf8(whole.text, strictConversion, room);
    EXPECT_EQ(outcome.result, room == bytes.size() ? conversionOK : targetExhausted);
    EXPECT_EQ(outcome.text, bytes.substr(0, outcome.text.size()));
    EXPECT_EQ(ToUtf8(whole.text.substr(0, outcome.read)).text, outcome.text);
    EXPECT_LT(room - outcome.text.size(), 4u);
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
    const auto wide =
        Convert<UTF16, UTF32>(ConvertUTF16toUTF32, text, strictConversion, text.size());
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
    return Convert<UTF8, UTF32>(ConvertUTF8toUTF32, surrogate, flags, room);
  };
  EXPECT_EQ(FromUtf8(surrogate).result, sourceIllegal);
  EXPECT_EQ(FromUtf8(surrogate, lenientConversion).text, u"\uFFFDz");
  EXPECT_EQ(to_utf32(lenientConversion, 2).text, (Text32{0xFFFD, 'z'}));
  EXPECT_EQ(FromUtf8(surrogate, strictConversion, 0).result, targetExhausted);
  EXPECT_EQ(to_utf32(strictConversion, 0).result, targetExhausted);

  const Text32 values = {0x110000, 0xD800, 'z'};
  const auto to_utf8 = [&](ConversionFlags flags) {
    return Convert<UTF32, UTF8>(ConvertUTF32toUTF8, values, flags, 16);
  };
  EXPECT_EQ((Convert<UTF32, UTF16>(ConvertUTF32toUTF16, values, lenientConversion, 8)),
            (Outcome<UTF32, UTF16>{conversionOK, 3, u"\uFFFD\uFFFDz"}));
  EXPECT_EQ(to_utf8(lenientConversion),
            (Outcome<UTF32, UTF8>{sourceIllegal, 3, ToBytes("\xEF\xBF\xBD\xED\xA0\x80z")}));
  EXPECT_EQ(to_utf8(strictConversion), (Outcome<UTF32, UTF8>{sourceIllegal, 0, {}}));
}

TEST(UnicodeConversions, LegalSequences) {
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

}  // namespace
}  // namespace orvik::test
