#include "text/transcoding.h"

#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "text/transcoding_variants.h"

namespace orvik::test {
namespace {

struct Decoded {
  TranscodingStop stop;
  std::size_t taken;
  std::u16string units;
  bool operator==(const Decoded&) const = default;
};

struct Encoded {
  TranscodingStop stop;
  std::size_t taken;
  std::string bytes;
  bool operator==(const Encoded&) const = default;
};

// The buffers have exactly the size that is used, so that a byte too many is found. What is behind
// the reported end must be as it was.
template <class Source, class Target, class Function>
auto Run(const Function& function, const std::basic_string<Source>& text, std::size_t room) {
  const std::vector<Source> source(text.begin(), text.end());
  std::vector<Target> target(room);
  for (std::size_t i = 0; i < room; ++i) target[i] = static_cast<Target>(i * 7 + 1);
  const Source* s = source.data();
  Target* t = target.data();
  const TranscodingStop stop = function(s, s + source.size(), t, t + room);
  const auto written = static_cast<std::size_t>(t - target.data());
  for (std::size_t i = written; i < room; ++i) {
    EXPECT_EQ(target[i], static_cast<Target>(i * 7 + 1)) << i << " behind " << written;
  }
  return std::tuple(stop, static_cast<std::size_t>(s - source.data()),
                    std::basic_string<Target>(target.data(), written));
}

template <class Function>
Decoded Decode(const Function& decode, const std::string& bytes, std::size_t room) {
  const auto [stop, taken, units] = Run<char, char16_t>(decode, bytes, room);
  return {stop, taken, units};
}

template <class Function>
Encoded Encode(const Function& encode, const std::u16string& units, std::size_t room) {
  const auto [stop, taken, bytes] = Run<char16_t, char>(encode, units, room);
  return {stop, taken, bytes};
}

// The processor's best variant is the one that the callers get.
TranscodingStop DecodeByAvx2(const char*& source, const char* source_end, char16_t*& target,
                             char16_t* target_end) {
  if (transcoding::HasAvx2()) {
    transcoding::DecodeBlocksAvx2(source, source_end, target, target_end);
  }
  return transcoding::DecodePlain(source, source_end, target, target_end);
}

TranscodingStop EncodeByAvx2(const char16_t*& source, const char16_t* source_end, char*& target,
                             char* target_end) {
  if (transcoding::HasAvx2()) {
    transcoding::EncodeBlocksAvx2(source, source_end, target, target_end);
  }
  return transcoding::EncodePlain(source, source_end, target, target_end);
}

void ExpectAllAgree(const std::string& bytes) {
  const Decoded whole = Decode(transcoding::DecodePlain, bytes, bytes.size());
  const std::size_t length = whole.units.size();
  for (const std::size_t room : {bytes.size(), length, length - length / 3}) {
    const Decoded plain = Decode(transcoding::DecodePlain, bytes, room);
    for (const auto variant : {DecodeUtf8, DecodeByAvx2}) {
      ASSERT_EQ(Decode(variant, bytes, room), plain)
          << testing::PrintToString(bytes) << " in " << room;
    }
  }
  ASSERT_EQ(Utf16Length(bytes),
            whole.stop == TranscodingStop::kDone ? static_cast<std::ptrdiff_t>(length) : -1)
      << testing::PrintToString(bytes);
  if (transcoding::HasAvx2()) {
    const char* at = bytes.data();
    const std::size_t count = transcoding::CountBlocksAvx2(at, bytes.data() + bytes.size());
    const std::string counted(bytes.data(), at);
    ASSERT_EQ(Decode(transcoding::DecodePlain, counted, counted.size()).units.size(), count);
  }
}

void ExpectAllAgree(const std::u16string& units) {
  const Encoded whole = Encode(transcoding::EncodePlain, units, 3 * units.size());
  const std::size_t length = whole.bytes.size();
  for (const std::size_t room : {3 * units.size(), length, length - length / 3}) {
    const Encoded plain = Encode(transcoding::EncodePlain, units, room);
    for (const auto variant : {EncodeUtf8, EncodeByAvx2}) {
      ASSERT_EQ(Encode(variant, units, room), plain)
          << testing::PrintToString(units) << " in " << room;
    }
  }
  std::size_t expected = length;
  std::size_t at_surrogate = whole.taken;
  while (at_surrogate != units.size()) {  // an unpaired one counts as one byte
    const std::u16string rest = units.substr(at_surrogate + 1);
    const Encoded next = Encode(transcoding::EncodePlain, rest, 3 * rest.size());
    expected += 1 + next.bytes.size();
    at_surrogate += 1 + next.taken;
  }
  ASSERT_EQ(Utf8Length(units), expected) << testing::PrintToString(units);
  if (transcoding::HasAvx2()) {
    const char16_t* at = units.data();
    const std::size_t measured = transcoding::MeasureBlocksAvx2(at, units.data() + units.size());
    const std::u16string part(units.data(), at);
    ASSERT_EQ(Encode(transcoding::EncodePlain, part, 3 * part.size()).bytes.size(), measured);
  }
}

// What every kind of text is made of.
const std::vector<std::vector<std::u16string>> kAlphabets = {
    {u"a"},
    {u"a", u"b", u"c", u"\xE9"},
    {u"\x416", u"\x7FF", u"\x80"},
    {u"\x4E2D", u"\x800", u"\xFFFF", u"\xD7FF", u"\xE000"},
    {u"\xD83D\xDE00", u"\xD800\xDC00", u"\xDBFF\xDFFF"},
    {u"a", u"a", u"\xE9", u"\x4E2D", u"\xD83D\xDE00"},
    {u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", u"\x4E2D", u"\xD83D\xDE00"}};

std::u16string RandomText(std::mt19937& random, const std::vector<std::u16string>& alphabet) {
  std::u16string text;
  const std::size_t size = random() % 300;
  while (text.size() < size) text += alphabet[random() % alphabet.size()];
  return text;
}

TEST(Transcoding, VariantsAgreeOnWellFormedText) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    const std::u16string text = RandomText(random, kAlphabets[random() % kAlphabets.size()]);
    ExpectAllAgree(text);
    const Encoded utf8 = Encode(EncodeUtf8, text, 3 * text.size());
    ASSERT_EQ(utf8.stop, TranscodingStop::kDone);
    ExpectAllAgree(utf8.bytes);
    ASSERT_EQ(Decode(DecodeUtf8, utf8.bytes, text.size()).units, text);
    ASSERT_TRUE(IsValidUtf8(utf8.bytes));
  }
}

TEST(Transcoding, VariantsAgreeOnDamagedText) {
  std::mt19937 random(2);
  for (int round = 0; round < 6000; ++round) {
    std::u16string text = RandomText(random, kAlphabets[random() % kAlphabets.size()]);
    if (text.empty()) continue;
    std::string utf8 = Encode(EncodeUtf8, text, 3 * text.size()).bytes;
    utf8[random() % utf8.size()] = static_cast<char>(random());
    if (random() % 4 == 0) utf8.erase(random() % utf8.size(), 1);
    if (random() % 4 == 0) utf8.resize(random() % (utf8.size() + 1));
    ExpectAllAgree(utf8);
    text[random() % text.size()] = static_cast<char16_t>(0xD800 + random() % 0x800);
    if (random() % 4 == 0) text.resize(random() % (text.size() + 1));
    ExpectAllAgree(text);
  }
}

// Every pair of a first and a second byte, with continuations behind, across the end of a block.
TEST(Transcoding, EveryTwoBytesAtTheEndOfABlock) {
  for (int first = 0x80; first < 0x100; ++first) {
    for (const int second :
         {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xE0, 0xF0, 0xFF}) {
      for (std::size_t place = 60; place < 66; ++place) {
        std::string bytes(place, 'a');
        bytes += static_cast<char>(first);
        bytes += static_cast<char>(second);
        bytes += "\x80\x80";
        bytes.resize(150, 'b');
        ExpectAllAgree(bytes);
      }
    }
  }
}

TEST(Transcoding, UnitsOrEverything) {
  for (std::size_t size = 0; size < 40; ++size) {
    EXPECT_EQ(OrOfUnits(std::u16string(size, u'a')), size == 0 ? 0 : u'a');
    for (std::size_t place = 0; place < size; ++place) {
      std::u16string text(size, u'a');
      text[place] = u'\x1234';
      EXPECT_EQ(OrOfUnits(text), size == 1 ? 0x1234 : u'a' | 0x1234) << size << " " << place;
    }
  }
}

TEST(Transcoding, SingleCharacters) {
  for (const char32_t character :
       {U'a', U'\x7F', U'\x80', U'\x7FF', U'\x800', U'\xFFFF', U'\x10000', U'\x10FFFF'}) {
    std::string bytes;
    std::u16string units;
    AppendCharacter(bytes, character);
    AppendCharacter(units, character);
    EXPECT_EQ(Decode(DecodeUtf8, bytes, 4).units, units);
    std::size_t position = 0;
    EXPECT_EQ(NextCharacter(bytes, position), character);
    EXPECT_EQ(position, bytes.size());
    EXPECT_EQ(CharacterLength(units), units.size());
  }
  std::size_t position = 0;
  EXPECT_EQ(NextCharacter("\xE4\xB8", position), U'\uFFFD');
  EXPECT_EQ(position, 1u);
}

}  // namespace
}  // namespace orvik::test
