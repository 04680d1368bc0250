#include "host/tree_removal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;
using Words = std::vector<std::string>;

class TreeRemovalTest : public EnvironmentTest {
 protected:
  int Empty(const fs::path& folder, TreeOutcome* report = nullptr) {
    return EmptyFolder(folder.string(), Obstacles::kTakeAway, report);
  }
  int Remove(const fs::path& path, TreeOutcome* report = nullptr) {
    return RemoveTree(path.string(), Obstacles::kTakeAway, report);
  }
};

TEST_F(TreeRemovalTest, RemovesEverythingButNothingOutside) {
  MakeTree(top_, {"outside/kept", "tree/a/b/file", "tree/a/caf\xE9\n*", "tree/empty/",
                  "tree/a/to_outside->../../outside", "tree/a/circle->..", "tree/pipe|",
                  "link->outside"});
  TreeOutcome report;
  EXPECT_EQ(Empty(top_ / "tree", &report), 0);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
  EXPECT_EQ(report.done, 8u);
  EXPECT_NE(Empty(top_ / "link"), 0);
  EXPECT_EQ(TreeIn(top_), (Words{"link->outside", "outside/", "outside/kept=x", "tree/"}));
  EXPECT_EQ(Remove(top_ / "link"), 0);
  EXPECT_EQ(Remove(top_ / "outside"), 0);
  EXPECT_FALSE(Exists(top_ / "link") || Exists(top_ / "outside"));
}

TEST_F(TreeRemovalTest, TheRootFolderAndDotsAreRefused) {
  WriteFile(top_ / "d/kept", "x");
  EXPECT_EQ(RemoveTree("/", Obstacles::kRespect), EBUSY);
  EXPECT_EQ(EmptyFolder("/proc/self/root/.", Obstacles::kRespect), EBUSY);
  for (const char* path : {"d/.", "d/e/..", "d/../d/./"}) {
    EXPECT_EQ(Remove(top_ / path), EINVAL) << path;
  }
  EXPECT_EQ(ReadFile(top_ / "d/kept"), "x");
}

TEST_F(TreeRemovalTest, LocksAreTakenAway) {
  WriteFile(top_ / "tree/inner/file", "x");
  for (const char* name : {"tree/inner/file", "tree/inner", "tree"}) {
    if (!Lock(top_ / name)) GTEST_SKIP() << "no right to lock";
  }
  EXPECT_EQ(RemoveTree((top_ / "tree").string(), Obstacles::kRespect), EPERM);
  EXPECT_EQ(Empty(top_ / "tree"), 0);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
  EXPECT_TRUE(IsLocked(top_ / "tree"));
  EXPECT_EQ(Remove(top_ / "tree"), 0);
}

TEST_F(TreeRemovalTest, ReadOnlyFoldersOfOurOwnAreEmptiedAndStayReadOnly) {
  WriteFile(top_ / "tree/a/b/file", "x");
  const WithoutRootRights without(env_.folder());
  for (const auto& [name, mode] : {std::pair{"tree/a/b", 0555}, {"tree/a", 0}, {"tree", 0500}}) {
    chmod((top_ / name).c_str(), static_cast<mode_t>(mode));
  }
  EXPECT_EQ(Empty(top_ / "tree"), 0);
  EXPECT_EQ(ModeOf(top_ / "tree"), 0500u);
  chmod((top_ / "tree").c_str(), 0700);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

// A folder of another user far down cannot be emptied; its way there stays, as it was, and all else
// goes.
TEST_F(TreeRemovalTest, GoesOnAfterAFailureAndReportsIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's folder";
  MakeTree(top_, {"tree/a/b/theirs/kept", "tree/a/b/x", "tree/a/y", "tree/z/z", "tree/file"});
  fs::permissions(top_ / "tree/a/b", fs::perms(0500));
  TreeOutcome report;
  {
    const WithoutRootRights without(env_.folder(), top_ / "tree/a/b/theirs");
    EXPECT_EQ(Remove(top_ / "tree", &report), EACCES);
  }
  ASSERT_EQ((std::vector{report.failed, report.failures.size()}), (std::vector{1ul, 1ul}));
  EXPECT_EQ(report.failures[0].path, "a/b/theirs/kept");
  EXPECT_EQ(report.failures[0].error, EACCES);
  EXPECT_EQ(report.done, 5u);
  EXPECT_EQ(TreeIn(top_ / "tree"), (Words{"a/", "a/b/", "a/b/theirs/", "a/b/theirs/kept=x"}));
  EXPECT_EQ(ModeOf(top_ / "tree/a/b"), 0500u);
}

TEST_F(TreeRemovalTest, AFolderThatCannotBeListedIsAFailure) {
  WriteFile(top_ / "tree/file", "x");
  const std::string tree = top_ / "tree";
  int error = 0;
  {
    const ResourceLimit none(RLIMIT_NOFILE, 0);
    error = EmptyFolder(tree, Obstacles::kTakeAway);
  }
  EXPECT_EQ(error, EMFILE);
  EXPECT_TRUE(fs::exists(top_ / "tree/file"));
}

// With one entry at the bottom that stays: the way back up costs no more than the way down.
TEST_F(TreeRemovalTest, TenThousandLevels) {
  char top[] = "/dev/shm/orvik-test-XXXXXX";
  if (mkdtemp(top) == nullptr) GTEST_SKIP() << "no memory file system";
  MakeDeepTree(top, 10'000, "a folder of the tree");
  const ResourceLimit few(RLIMIT_NOFILE, 64);
  TreeOutcome report;
  EXPECT_EQ(Remove(top, &report), 0);
  EXPECT_EQ(report.done, 10'002u);
  EXPECT_FALSE(Exists(top));
}

TEST_F(TreeRemovalTest, SomeoneElseRemovesAndAddsMeanwhile) {
  for (int i = 0; i < 40; ++i) {
    for (int k = 0; k < 20; ++k) {
      WriteFile(top_ / "tree" / std::to_string(i) / std::to_string(k), "");
    }
  }
  std::atomic<bool> done{false};
  std::thread other([&] {
    std::error_code error;
    for (int i = 39; i >= 0 && !done; --i) fs::remove_all(top_ / "tree" / std::to_string(i), error);
  });
  EXPECT_EQ(Empty(top_ / "tree"), 0);
  done = true;
  other.join();
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

// Another user swaps a folder for a link to the outside again and again.
TEST_F(TreeRemovalTest, NeverLeavesATreeThatIsChangedMeanwhile) {
  for (int i = 0; i < 50; ++i) WriteFile(top_ / "outside" / std::to_string(i), "kept");
  std::atomic<bool> done{false};
  for (int round = 0; round < 20; ++round) {
    for (int i = 0; i < 50; ++i) WriteFile(top_ / "tree/a/folder" / std::to_string(i), "");
    done = false;
    std::thread other([&] {
      std::error_code error;
      while (!done) {
        fs::rename(top_ / "tree/a/folder", top_ / "tree/a/aside", error);
        fs::create_directory_symlink(top_ / "outside", top_ / "tree/a/folder", error);
        fs::remove(top_ / "tree/a/folder", error);
        fs::rename(top_ / "tree/a/aside", top_ / "tree/a/folder", error);
      }
    });
    Remove(top_ / "tree");
    done = true;
    other.join();
    EXPECT_EQ(NamesIn(top_ / "outside").size(), 50u);
  }
}

}  // namespace
}  // namespace orvik::test
