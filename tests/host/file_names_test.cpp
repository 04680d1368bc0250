#include "host/file_names.h"

#include <gtest/gtest.h>

#include <string>

namespace orvik::host {
namespace {

TEST(FileNames, WellFormedTextIsPlainUtf8) {
  const std::u16string name = u"a\u00e9\u20ac\U0001F600/b";
  const std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80/b";
  EXPECT_EQ(FileNameFromBytes(bytes), name);
  EXPECT_EQ(FileNameToBytes(name), bytes);
}

TEST(FileNames, EveryByteStringComesBack) {
  // Lone bytes, overlong forms, surrogates in UTF-8, too large, cut sequences, all mixed with text.
  const std::string cases[] = {"caf\xE9",          "\xC0\x80",     "\xED\xA0\x80",
                               "\xF4\x90\x80\x80", "\xE2\x82",     "\xF0\x9F\x98",
                               "\x80\x81\xFE\xFF", "\xC3\xA9\xC3", "\xE2\x82\xACx\xE2"};
  for (const std::string& bytes : cases) {
    EXPECT_EQ(FileNameToBytes(FileNameFromBytes(bytes)), bytes) << testing::PrintToString(bytes);
  }
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      const std::string bytes{static_cast<char>(first), static_cast<char>(second), 'x'};
      ASSERT_EQ(FileNameToBytes(FileNameFromBytes(bytes)), bytes) << first << " " << second;
    }
  }
  EXPECT_EQ(FileNameFromBytes("caf\xE9"), std::u16string(u"caf") + char16_t{0xDCE9});
}

TEST(FileNames, LoneSurrogatesNameAFileThatCanBeListed) {
  for (const char16_t unit : {0xD800, 0xD83D, 0xDBFF, 0xDC00, 0xDC7F, 0xDD00, 0xDFFF}) {
    const std::u16string name{u'a', unit, u'x'};
    const std::optional<std::string> bytes = FileNameToBytes(name);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(bytes->size(), 5u);
    EXPECT_EQ(FileNameToBytes(FileNameFromBytes(*bytes)), bytes);
  }
  EXPECT_EQ(FileNameToBytes(std::u16string{0xD83D}), "\xED\xA0\xBD");
  EXPECT_FALSE(FileNameToBytes(std::u16string_view(u"a\0b", 3)));
  EXPECT_EQ(FileNameToBytes(u""), "");
}

}  // namespace
}  // namespace orvik::host
