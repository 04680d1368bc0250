#include "text/transcoding.h"

#include <type_traits>

#include "tests/support/test_environment.h"
#include "text/transcoding_variants.h"

namespace orvik::test {
namespace {

template <class Source>
using Target = std::conditional_t<sizeof(Source) == 1, char16_t, char>;

template <class Source>
using Function = TranscodingStop (*)(const Source*&, const Source*, Target<Source>*&,
                                     Target<Source>*);

template <class Source>
struct Outcome {
  TranscodingStop stop;
  std::size_t taken;
  std::basic_string<Target<Source>> text;
  bool operator==(const Outcome&) const = default;
};

// The most that a unit can become.
template <class Source>
constexpr std::size_t kGrowth = sizeof(Source) == 1 ? 1 : 3;

// The buffers have exactly the size that is used, so that a byte too many is found. What is behind
// the reported end must be as it was.
template <class Source>
Outcome<Source> Convert(std::type_identity_t<Function<Source>> function,
                        const std::basic_string<Source>& text, std::size_t room) {
  const std::vector<Source> source(text.begin(), text.end());
  std::vector<Target<Source>> target(room);
  for (std::size_t i = 0; i < room; ++i) target[i] = static_cast<Target<Source>>(i * 7 + 1);
  const Source* s = source.data();
  Target<Source>* t = target.data();
  const TranscodingStop stop = function(s, s + source.size(), t, t + room);
  const auto written = static_cast<std::size_t>(t - target.data());
  for (std::size_t i = written; i < room; ++i) {
    EXPECT_EQ(target[i], static_cast<Target<Source>>(i * 7 + 1)) << i << " behind " << written;
  }
  return {stop, static_cast<std::size_t>(s - source.data()), {target.data(), written}};
}

template <class Source>
Outcome<Source> RunWhole(std::type_identity_t<Function<Source>> function,
                         const std::basic_string<Source>& text) {
  return Convert(function, text, kGrowth<Source> * text.size());
}

// The processor's best variant is the one that the callers get.
TranscodingStop ConvertByAvx2(const char*& s, const char* s_end, char16_t*& t, char16_t* t_end) {
  if (transcoding::HasAvx2()) transcoding::DecodeBlocksAvx2(s, s_end, t, t_end);
  return transcoding::DecodePlain(s, s_end, t, t_end);
}

TranscodingStop ConvertByAvx2(const char16_t*& s, const char16_t* s_end, char*& t, char* t_end) {
  if (transcoding::HasAvx2()) transcoding::EncodeBlocksAvx2(s, s_end, t, t_end);
  return transcoding::EncodePlain(s, s_end, t, t_end);
}

// Both variants do what the plain one does with room for everything, for the result and for less.
template <class Source>
Outcome<Source> ExpectSame(const std::basic_string<Source>& text, Function<Source> plain,
                           Function<Source> best) {
  const Outcome<Source> whole = RunWhole(plain, text);
  const std::size_t length = whole.text.size();
  for (const std::size_t room : {kGrowth<Source> * text.size(), length, length - length / 3}) {
    const Outcome<Source> expected = Convert(plain, text, room);
    for (const Function<Source> variant : {best, Function<Source>(ConvertByAvx2)}) {
      EXPECT_EQ(Convert(variant, text, room), expected) << testing::PrintToString(text) << room;
    }
  }
  return whole;
}

void ExpectAllAgree(const std::string& bytes) {
  const auto whole = ExpectSame<char>(bytes, transcoding::DecodePlain, DecodeUtf8);
  const bool is_whole = whole.stop == TranscodingStop::kDone;
  const std::ptrdiff_t units = is_whole ? static_cast<std::ptrdiff_t>(whole.text.size()) : -1;
  ASSERT_EQ(Utf16Length(bytes), units) << testing::PrintToString(bytes);
  ASSERT_EQ(transcoding::CountPlain(bytes.data(), bytes.data() + bytes.size()), units);
  if (transcoding::HasAvx2()) {
    const char* at = bytes.data();
    const std::size_t count = transcoding::CountBlocksAvx2(at, bytes.data() + bytes.size());
    const std::string counted(bytes.data(), at);
    ASSERT_EQ(RunWhole(transcoding::DecodePlain, counted).text.size(), count);
  }
}

void ExpectAllAgree(const std::u16string& units) {
  const auto whole = ExpectSame<char16_t>(units, transcoding::EncodePlain, EncodeUtf8);
  std::size_t expected = whole.text.size();
  for (std::size_t at = whole.taken; at != units.size();) {  // an unpaired one counts as one byte
    const auto next = RunWhole(transcoding::EncodePlain, units.substr(at + 1));
    expected += 1 + next.text.size();
    at += 1 + next.taken;
  }
  ASSERT_EQ(Utf8Length(units), expected) << testing::PrintToString(units);
  ASSERT_EQ(transcoding::MeasurePlain(units.data(), units.data() + units.size()), expected);
  if (transcoding::HasAvx2()) {
    const char16_t* at = units.data();
    const std::size_t measured = transcoding::MeasureBlocksAvx2(at, units.data() + units.size());
    const std::u16string part(units.data(), at);
    ASSERT_EQ(RunWhole(transcoding::EncodePlain, part).text.size(), measured);
  }
}

// The pieces of every kind of text.
const std::vector<std::vector<std::u16string>> kAlphabets = {
    {u"a"},
    {u"a", u"b", u"c", u"\xE9"},
    {u"\x416", u"\x7FF", u"\x80"},
    {u"\x4E2D", u"\x800", u"\xFFFF", u"\xD7FF", u"\xE000"},
    {u"\xD83D\xDE00", u"\xD800\xDC00", u"\xDBFF\xDFFF"},
    {u"a", u"a", u"\xE9", u"\x4E2D", u"\xD83D\xDE00"},
    {u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", u"\xE9", u"\x4E2D", u"\xD83D\xDE00"}};

std::u16string RandomText(std::mt19937& random, const std::vector<std::u16string>& alphabet) {
  std::u16string text;
  const std::size_t size = random() % 400;
  while (text.size() < size) {
    const std::u16string& piece = alphabet[random() % alphabet.size()];
    // Some stand in long stretches, which go in pairs of blocks.
    for (auto times = random() % 16 == 0 ? random() % 200 : 1; times > 0; --times) text += piece;
  }
  return text;
}

TEST(Transcoding, VariantsAgree) {
  std::mt19937 random(1);
  for (int round = 0; round < 5000; ++round) {
    std::u16string text = RandomText(random, kAlphabets[random() % kAlphabets.size()]);
    ExpectAllAgree(text);
    const auto whole = RunWhole(EncodeUtf8, text);
    ASSERT_EQ(whole.stop, TranscodingStop::kDone);
    std::string utf8 = whole.text;
    ExpectAllAgree(utf8);
    ASSERT_EQ(Convert(DecodeUtf8, utf8, text.size()).text, text);
    ASSERT_TRUE(IsValidUtf8(utf8));
    if (text.empty()) continue;
    // Damaged.
    utf8[random() % utf8.size()] = static_cast<char>(random());
    if (random() % 4 == 0) utf8.erase(random() % utf8.size(), 1);
    if (random() % 4 == 0) utf8.resize(random() % (utf8.size() + 1));
    ExpectAllAgree(utf8);
    text[random() % text.size()] = static_cast<char16_t>(0xD800 + random() % 0x800);
    if (random() % 4 == 0) text.resize(random() % (text.size() + 1));
    ExpectAllAgree(text);
  }
}

// A text that ends within a character differs from one that can never become well formed.
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
    EXPECT_EQ(RunWhole(transcoding::DecodePlain, bytes).stop, stop) << bytes;
    ExpectAllAgree(bytes);
  }
}

TEST(Transcoding, UnitsOrEverything) {
  EXPECT_EQ(OrOfUnits(u""), 0);
  for (std::size_t size = 1; size < 40; ++size) {
    for (std::size_t place = 0; place < size; ++place) {
      std::u16string text(size, u'a');
      text[place] = u'\x1234';
      EXPECT_EQ(OrOfUnits(text), size == 1 ? 0x1234 : u'a' | 0x1234) << size << " " << place;
    }
  }
}

}  // namespace
}  // namespace orvik::test
