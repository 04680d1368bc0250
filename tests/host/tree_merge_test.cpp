#include "host/tree_merge.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/tree_removal.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;

constexpr char kComposed[] = "caf\xC3\xA9";
constexpr char kDecomposed[] = "cafe\xCC\x81";

class TreeMergeTest : public EnvironmentTest {
 protected:
  int Merge(const fs::path& from, const fs::path& to, Transfer transfer = Transfer::kCopy) {
    report_ = {};
    return MergeTree((top_ / from).string(), (top_ / to).string(), transfer, &report_);
  }
  TreeOutcome report_;
};

TEST_F(TreeMergeTest, SaysWhatFailedAndGoesOn) {
  WriteFile(top_ / "s/a", "new");
  WriteFile(top_ / "s/sub/b", "b");
  WriteFile(top_ / "s/taken/c", "c");
  mkfifo((top_ / "s/sub/pipe").c_str(), 0600);
  WriteFile(top_ / "t/a", "old");
  WriteFile(top_ / "t/taken", "a file");
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(ReadFile(top_ / "t/a"), "new");
  EXPECT_EQ(ReadFile(top_ / "t/sub/b"), "b");
  EXPECT_EQ(ReadFile(top_ / "t/taken"), "a file");
  EXPECT_EQ(report_.done, 2u);
  ASSERT_EQ(report_.failed, 2u);
  for (const TreeFailure& failure : report_.failures) {
    EXPECT_EQ(failure.error, failure.path == "taken" ? ENOTDIR : EOPNOTSUPP) << failure.path;
    EXPECT_TRUE(failure.path == "taken" || failure.path == "sub/pipe") << failure.path;
  }
  EXPECT_EQ(Merge("none", "u"), ENOENT);
  EXPECT_EQ(Merge("s/a", "u"), ENOTDIR);
  EXPECT_EQ(Merge("s", "s/sub/new"), EINVAL);
  EXPECT_FALSE(Stands(top_ / "u") || Stands(top_ / "s/sub/new"));
}

TEST_F(TreeMergeTest, FilesThatAreThereStayInAMove) {
  WriteFile(top_ / "s/a", "new");
  WriteFile(top_ / "s/b", "b");
  mkfifo((top_ / "s/pipe").c_str(), 0600);
  WriteFile(top_ / "t/a", "old");
  EXPECT_EQ(Merge("s", "t", Transfer::kMove), 0);
  EXPECT_EQ(report_.done, 2u);
  ASSERT_EQ(report_.failed, 1u);
  EXPECT_EQ(report_.failures[0].error, EEXIST);
  EXPECT_EQ(ReadFile(top_ / "s/a"), "new");
  EXPECT_EQ(ReadFile(top_ / "t/a"), "old");
  EXPECT_EQ(NamesIn(top_ / "t"), (std::vector<std::string>{"a", "b", "pipe"}));
}

// The target has one spelling, the source another, or both.
TEST_F(TreeMergeTest, EntriesGoToTheirOtherSpelling) {
  for (const Transfer transfer : {Transfer::kCopy, Transfer::kMove}) {
    const bool is_copy = transfer == Transfer::kCopy;
    WriteFile(top_ / "s" / kComposed / "file", "new");
    WriteFile(top_ / "s" / (std::string("f") + kComposed), "new");
    WriteFile(top_ / "t" / kDecomposed / "own", "own");
    WriteFile(top_ / "t" / (std::string("f") + kDecomposed), "old");
    EXPECT_EQ(Merge("s", "t", transfer), 0);
    EXPECT_EQ(NamesIn(top_ / "t").size(), 2u);
    EXPECT_EQ(ReadFile(top_ / "t" / kDecomposed / "file"), "new");
    EXPECT_EQ(ReadFile(top_ / "t" / (std::string("f") + kDecomposed)), is_copy ? "new" : "old");
    fs::remove_all(top_ / "s");
    fs::remove_all(top_ / "t");
  }
  WriteFile(top_ / "s" / kComposed, "composed");
  WriteFile(top_ / "s" / kDecomposed, "decomposed");
  WriteFile(top_ / "t" / kComposed, "old");
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(Merge("s", "u"), 0);
  for (const char* target : {"t", "u"}) {
    EXPECT_EQ(ReadFile(top_ / target / kComposed), "composed");
    EXPECT_EQ(ReadFile(top_ / target / kDecomposed), "decomposed");
  }
}

TEST_F(TreeMergeTest, LinksInTheTargetAreFollowedWhenTheyCanBeTrusted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's link";
  WriteFile(top_ / "s/ours/file", "x");
  WriteFile(top_ / "s/theirs/file", "x");
  for (const char* name : {"ours", "theirs"}) {
    fs::create_directories(top_ / "outside" / name);
    fs::create_directories(top_ / "t");
    fs::create_directory_symlink(top_ / "outside" / name, top_ / "t" / name);
  }
  ASSERT_EQ(lchown((top_ / "t/theirs").c_str(), 1234, 1234), 0);
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_TRUE(Stands(top_ / "outside/ours/file"));
  EXPECT_FALSE(Stands(top_ / "outside/theirs/file"));
  ASSERT_EQ(report_.failed, 1u);
  EXPECT_EQ(report_.failures[0].path, "theirs");
}

TEST_F(TreeMergeTest, AMoveToAnotherVolumeKeepsSecondNames) {
  char other[] = "/dev/shm/orvik-test-XXXXXX";
  if (mkdtemp(other) == nullptr) GTEST_SKIP() << "no memory file system";
  WriteFile(top_ / "s/a/first", "x");
  fs::create_directories(top_ / "s/b");
  fs::create_hard_link(top_ / "s/a/first", top_ / "s/b/second");
  fs::create_hard_link(top_ / "s/a/first", top_ / "s/third");
  EXPECT_EQ(MergeTree((top_ / "s").string(), std::string(other) + "/t", Transfer::kMove, &report_),
            0);
  EXPECT_EQ(report_.failed, 0u);
  const fs::path moved = fs::path(other) / "t";
  EXPECT_TRUE(fs::equivalent(moved / "a/first", moved / "b/second"));
  EXPECT_TRUE(fs::equivalent(moved / "a/first", moved / "third"));
  EXPECT_FALSE(Stands(top_ / "s/a/first") || Stands(top_ / "s/third"));
  RemoveTree(other, Obstacles::kTakeAway);
}

// 1,000 names of two spellings, of which the target holds the other ones: its names are read once.
TEST_F(TreeMergeTest, DeepTreesAndManyOtherSpellings) {
  fs::create_directories(top_ / "s");
  MakeDeepTree((top_ / "s").string(), 500, "level");
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(report_.done, 1u);
  EXPECT_EQ(report_.failed, 0u);
  for (int i = 0; i < 1000; ++i) {
    WriteFile(top_ / "many" / (kComposed + std::to_string(i)), "new");
    WriteFile(top_ / "target" / (kDecomposed + std::to_string(i)), "old");
  }
  EXPECT_EQ(Merge("many", "target"), 0);
  EXPECT_EQ(NamesIn(top_ / "target").size(), 1000u);
  EXPECT_EQ(ReadFile(top_ / "target" / (std::string(kDecomposed) + "17")), "new");
  for (const char* tree : {"s", "t"}) {
    EXPECT_EQ(RemoveTree((top_ / tree).string(), Obstacles::kTakeAway), 0);
  }
}

}  // namespace
}  // namespace orvik::test
