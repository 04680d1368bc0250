#include "host/file_names.h"

#include <fcntl.h>

#include <string>

#include "host/paths.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

constexpr char kComposed[] = "caf\xC3\xA9";
constexpr char kDecomposed[] = "cafe\xCC\x81";

class NameSpellingTest : public EnvironmentTest {
 protected:
  std::string Found(const fs::path& path) const { return PathOnDisk((top_ / path).string()); }
  std::string Made(const fs::path& path) const { return (top_ / path).string(); }
};

TEST_F(NameSpellingTest, TheExactNameThenTheSingleEqualOneInEveryComponent) {
  const std::string composed = kComposed, decomposed = kDecomposed;
  MakeTree(top_, {decomposed + "/" + decomposed});
  const std::pair<std::string, std::string> cases[] = {
      {composed + "/" + composed, decomposed + "/" + decomposed},
      {composed + "/missing", decomposed + "/missing"},
      {"missing/" + composed, "missing/" + composed},
      {composed + "/" + composed + "/below", decomposed + "/" + decomposed + "/below"}};
  for (const auto& [asked, found] : cases) EXPECT_EQ(Found(asked), Made(found));
  MakeTree(top_, {composed + "/y"});
  EXPECT_EQ(Found(composed + "/y"), Made(composed + "/y"));
  const fs::path old = fs::current_path();
  fs::current_path(top_ / decomposed);
  EXPECT_EQ(PathOnDisk(composed), decomposed);
  EXPECT_EQ(PathOnDisk("./" + composed), "./" + decomposed);
  fs::current_path(old);
}

TEST_F(NameSpellingTest, OfSeveralEqualOnesEachHasItsOwnNameOnly) {
  // Two marks on one letter have five spellings.
  const char* const names[] = {"a\xCC\xA3\xCC\x82", "\xE1\xBA\xA1\xCC\x82", "\xE1\xBA\xAD"};
  WriteFile(top_ / names[0], "1");
  EXPECT_EQ(Found(names[2]), Made(names[0]));
  WriteFile(top_ / names[1], "2");
  for (const char* name : names) EXPECT_EQ(Found(name), Made(name));
}

TEST_F(NameSpellingTest, NamesOfMoreSpellingsThanCanBeTriedAreFoundInTheFolder) {
  const std::string composed = Repeated("\xC3\xA9", 20), decomposed = Repeated("e\xCC\x81", 20);
  const std::string mixed = decomposed.substr(0, 3) + composed.substr(2);
  WriteFile(top_ / mixed, "x");
  EXPECT_EQ(Found(composed), Made(mixed));
  EXPECT_EQ(Found(decomposed), Made(mixed));
  WriteFile(top_ / composed, "x");
  EXPECT_EQ(Found(decomposed), Made(decomposed));
}

TEST_F(NameSpellingTest, PathsBeyondTheKernelsLimit) {
  fs::create_directories(top_ / kDecomposed);
  const std::string deep = MakeDeepTree(Made(kDecomposed), 100, std::string(60, 'n'));
  std::string asked = deep + "/leaf";
  asked.replace(Made("").size(), std::string(kDecomposed).size(), kComposed);
  EXPECT_EQ(PathOnDisk(asked), deep + "/leaf");
}

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
}  // namespace orvik::test
