#include "text/transcoding.h"

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

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

}  // namespace
}  // namespace orvik::test
