// The machine's folders, names on disk, texts of the kernel, and watches.
#include "host/system.h"
#include "host/file_names.h"
#include "host/file_watch.h"
#include "host/paths.h"
#include "host/proc.h"
#include "host/trust.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

using SystemRootTest = EnvironmentTest;

TEST_F(SystemRootTest, MovesThePathsOfTheSystemVolume) {
  const std::string root = env_.system_root().string();
  setenv("ORVIK_SYSTEM_ROOT", (root + "//").c_str(), 1);
  EXPECT_EQ(SystemRoot(), root);
  EXPECT_EQ(SystemPath("/Users/Shared"), root + "/Users/Shared");
  const std::pair<std::string, std::string> cases[] = {
      {"/Library/Receipts/x", root + "/Library/Receipts/x"},
      {"/Users/Shared", root + "/Users/Shared"},
      {"/Librarys/x", "/Librarys/x"},
      {"/tmp/Library", "/tmp/Library"},
      {"Library/x", "Library/x"},
      {root + "/Library/x", root + "/Library/x"}};
  for (const auto& [path, resolved] : cases) EXPECT_EQ(ResolvePath(path), resolved);
  setenv("ORVIK_SYSTEM_ROOT", "relative/", 1);
  EXPECT_EQ(SystemRoot(), (fs::current_path() / "relative").string());
  for (const char* value : {"", "/"}) {
    setenv("ORVIK_SYSTEM_ROOT", value, 1);
    EXPECT_EQ(SystemRoot(), "");
    EXPECT_EQ(ResolvePath("/Library/x"), "/Library/x");
  }
}

TEST_F(SystemRootTest, FindsHomeAndTemporaryFolder) {
  EXPECT_EQ(HomeFolder(), env_.home().string());
  EXPECT_EQ(TemporaryFolder(), env_.temp().string());
  unsetenv("HOME");
  unsetenv("TMPDIR");
  EXPECT_TRUE(HomeFolder().starts_with('/'));
  EXPECT_EQ(TemporaryFolder(), "/tmp");
}

TEST_F(SystemRootTest, MakesFoldersWithTheirParents) {
  const auto folder = env_.folder() / "a" / "b" / "c";
  EXPECT_EQ(MakeFolders(folder), 0);
  EXPECT_EQ(MakeFolders(folder), 0);
  EXPECT_TRUE(fs::is_directory(folder));
  WriteFile(folder / "file", "");
  EXPECT_EQ(MakeFolders(folder / "file"), ENOTDIR);
  EXPECT_EQ(MakeFolders(folder / "file" / "d"), ENOTDIR);
}

TEST(KernelTexts, AreReadWhateverNamesTheyHold) {
  EXPECT_EQ(StartTimeIn("77 (a) Z 1 (\n) R 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 42 1 0\n"), 42u);
  for (const char* cut : {"77 (sh) S 1 77", "77 (sh"}) EXPECT_EQ(StartTimeIn(cut), std::nullopt);
}

TEST(KernelTexts, FindAFieldOfAStatus) {
  EXPECT_EQ(StatusFieldIn("Name:\tTgid:\nTgid:\t77\nPid:\t78\n", "Tgid"), "77");
  EXPECT_EQ(StatusFieldIn("Name:\ta\nTgid 77\n", "Tgid"), "");
}

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

TEST(FileNames, AreUtf8AndEveryNameComesBack) {
  const std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80/b";
  EXPECT_EQ(FileNameFromBytes(bytes), u"a\u00e9\u20ac\U0001F600/b");
  EXPECT_EQ(FileNameFromBytes("caf\xE9"), std::u16string(u"caf") + char16_t{0xDCE9});
  EXPECT_EQ(FileNameToBytes(std::u16string{0xD83D}), "\xED\xA0\xBD");
}

class FileWatchTest : public EnvironmentTest {
 protected:
  // Events take a moment to arrive; none may be missed.
  static constexpr int kSoon = 10'000;

  // Whether a change is reported; waits until no other report comes for a moment.
  static bool Reports(FileWatch& watch) {
    const bool reported = watch.Wait(kSoon);
    while (watch.Wait(20)) {
    }
    return reported;
  }

  fs::path file_ = env_.folder() / "a" / "b" / "file";
};

TEST_F(FileWatchTest, FollowsAFileFromBeforeItsFoldersToAfterItsEnd) {
  FileWatch watch(file_);
  ASSERT_TRUE(watch.ok());
  EXPECT_FALSE(watch.Wait(0));
  const fs::path other = file_.parent_path() / "other";
  const auto expect_reports = [&] {
    for (const char* content : {"one", "two"}) {
      WriteFile(file_, content);
      EXPECT_TRUE(Reports(watch)) << content;
    }
  };
  expect_reports();
  WriteFile(other, "");
  EXPECT_FALSE(watch.Wait(20));
  fs::rename(other, file_);
  EXPECT_TRUE(Reports(watch));
  fs::remove_all(env_.folder() / "a");
  EXPECT_TRUE(Reports(watch));
  expect_reports();
  fs::rename(env_.folder() / "a", env_.folder() / "elsewhere");
  expect_reports();
}

TEST_F(FileWatchTest, TellsWhetherAFileCouldBeReplaced) {
  EXPECT_EQ(ReplaceAccess(file_), 0);
  WriteFile(file_, "one");
  EXPECT_EQ(ReplaceAccess(file_), 0);
  EXPECT_EQ(ReplaceAccess(file_ / "below"), ENOTDIR);
  if (geteuid() != 0) {
    fs::permissions(file_.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(ReplaceAccess(file_), EACCES);
    EXPECT_EQ(ReplaceAccess(file_.parent_path() / "new"), EACCES);
  }
}

}  // namespace
}  // namespace orvik::test
