#include "host/name_spelling.h"

#include <fcntl.h>

#include "host/at_path.h"
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
  WriteFile(top_ / kDecomposed / kDecomposed, "x");
  EXPECT_EQ(Found(fs::path(kComposed) / kComposed), Made(fs::path(kDecomposed) / kDecomposed));
  EXPECT_EQ(Found(fs::path(kComposed) / "missing"), Made(fs::path(kDecomposed) / "missing"));
  EXPECT_EQ(Found(fs::path("missing") / kComposed), Made(fs::path("missing") / kComposed));
  EXPECT_EQ(Found(fs::path(kComposed) / kComposed / "below"),
            Made(fs::path(kDecomposed) / kDecomposed / "below"));
  WriteFile(top_ / kComposed / "y", "x");
  EXPECT_EQ(Found(fs::path(kComposed) / "y"), Made(fs::path(kComposed) / "y"));
  const fs::path old = fs::current_path();
  fs::current_path(top_ / kDecomposed);
  EXPECT_EQ(PathOnDisk(kComposed), kDecomposed);
  EXPECT_EQ(PathOnDisk(std::string("./") + kComposed), std::string("./") + kDecomposed);
  fs::current_path(old);
}

TEST_F(NameSpellingTest, OfSeveralEqualOnesEachHasItsOwnNameOnly) {
  // Two marks on one letter have five spellings.
  const char* const kFirst = "a\xCC\xA3\xCC\x82";
  const char* const kSecond = "\xE1\xBA\xA1\xCC\x82";
  const char* const kThird = "\xE1\xBA\xAD";
  WriteFile(top_ / kFirst, "1");
  EXPECT_EQ(Found(kThird), Made(kFirst));
  WriteFile(top_ / kSecond, "2");
  EXPECT_EQ(Found(kFirst), Made(kFirst));
  EXPECT_EQ(Found(kSecond), Made(kSecond));
  EXPECT_EQ(Found(kThird), Made(kThird));
}

TEST_F(NameSpellingTest, NamesOfMoreSpellingsThanCanBeTriedAreFoundInTheFolder) {
  std::string composed, decomposed;
  for (int i = 0; i < 20; ++i) {
    composed += "\xC3\xA9";
    decomposed += "e\xCC\x81";
  }
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

}  // namespace
}  // namespace orvik::test
