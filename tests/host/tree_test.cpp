// Copies and moves of trees into others, and their removal.
#include <atomic>
#include <thread>

#include "host/move_file.h"
#include "host/tree_merge.h"
#include "host/tree_removal.h"
#include "tests/support/file_trees.h"
#include "tests/support/volumes.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;
using Words = std::vector<std::string>;

constexpr char kComposed[] = "caf\xC3\xA9";
constexpr char kDecomposed[] = "cafe\xCC\x81";

class TreeMergeTest : public EnvironmentTest {
 protected:
  using Failures = std::map<std::string, int>;

  int Merge(const fs::path& from, const fs::path& to, Transfer transfer = Transfer::kCopy) {
    report_ = {};
    const int error = MergeTree((top_ / from).string(), (top_ / to).string(), transfer, &report_);
    failures_.clear();
    for (const TreeFailure& failure : report_.failures) failures_[failure.path] = failure.error;
    EXPECT_EQ(report_.failed, failures_.size());
    return error;
  }
  TreeOutcome report_;
  Failures failures_;
};

TEST_F(TreeMergeTest, SaysWhatFailedAndGoesOn) {
  MakeTree(top_, {"s/a=new", "s/sub/b", "s/taken/c", "s/sub/pipe|", "t/a=old", "t/taken"});
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(TreeIn(top_ / "t"), (Words{"a=new", "sub/", "sub/b=x", "taken=x"}));
  EXPECT_EQ(report_.done, 2u);
  EXPECT_EQ(failures_, (Failures{{"taken", ENOTDIR}, {"sub/pipe", EOPNOTSUPP}}));
  EXPECT_EQ(Merge("none", "u"), ENOENT);
  EXPECT_EQ(Merge("s/a", "u"), ENOTDIR);
  EXPECT_FALSE(Exists(top_ / "u"));
}

TEST_F(TreeMergeTest, NoFolderIsCopiedIntoItself) {
  MakeTree(top_, {"s/sub/file", "alias->s", "d/sub/inner/file", "e/sub->../d/sub/inner"});
  const Words before = TreeIn(top_);
  for (const char* target : {"s", "s/sub", "s/sub/new/deeper", "alias", "alias/new", "s/../s/x",
                             "none/../s/x", "none/../alias/x", "none/a/../../s"}) {
    for (const Transfer transfer : {Transfer::kCopy, Transfer::kMove}) {
      EXPECT_EQ(Merge("s", target, transfer), EINVAL) << target;
    }
  }
  EXPECT_EQ(TreeIn(top_), before);
  EXPECT_EQ(Merge("s/sub", "s"), 0);  // out of itself is no trouble
  EXPECT_NE(Merge("d", "e"), 0);
  EXPECT_FALSE(Exists(top_ / "d/sub/inner/inner"));
}

TEST_F(TreeMergeTest, FilesThatAreThereStayInAMove) {
  MakeTree(top_, {"s/a=new", "s/b", "s/pipe|", "t/a=old"});
  EXPECT_EQ(Merge("s", "t", Transfer::kMove), 0);
  EXPECT_EQ(report_.done, 2u);
  EXPECT_EQ(failures_, (Failures{{"a", EEXIST}}));
  EXPECT_EQ(TreeIn(top_), (Words{"s/", "s/a=new", "t/", "t/a=old", "t/b=x", "t/pipe|"}));
}

// The target has one spelling, the source another, or both.
TEST_F(TreeMergeTest, EntriesGoToTheirOtherSpelling) {
  const std::string composed = kComposed, decomposed = kDecomposed;
  for (const Transfer transfer : {Transfer::kCopy, Transfer::kMove}) {
    MakeTree(top_, {"s/" + composed + "/file=new", "s/f" + composed + "=new",
                    "t/" + decomposed + "/own", "t/f" + decomposed + "=old"});
    EXPECT_EQ(Merge("s", "t", transfer), 0);
    EXPECT_EQ(TreeIn(top_ / "t"),
              (Words{decomposed + "/", decomposed + "/file=new", decomposed + "/own=x",
                     "f" + decomposed + (transfer == Transfer::kCopy ? "=new" : "=old")}));
    fs::remove_all(top_ / "s");
    fs::remove_all(top_ / "t");
  }
  MakeTree(top_, {"s/" + composed + "=c", "s/" + decomposed + "=d", "t/" + composed + "=old"});
  for (const char* target : {"t", "u"}) {
    EXPECT_EQ(Merge("s", target), 0);
    EXPECT_EQ(TreeIn(top_ / target), (Words{decomposed + "=d", composed + "=c"}));
  }
}

// The source has two spellings of a name, the target a third; a link of the target leads to where
// another folder of the source goes.
TEST_F(TreeMergeTest, NoEntryOfACopyReplacesAnother) {
  const std::string composed = "\xE1\xBA\xA5", half = "\xC3\xA2\xCC\x81",
                    decomposed = "a\xCC\x82\xCC\x81";
  MakeTree(top_, {"s/" + composed + "=1", "s/" + half + "=2", "t/" + decomposed + "=old"});
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(report_.done, 1u);
  ASSERT_EQ(failures_.size(), 1u);
  EXPECT_EQ(failures_.begin()->second, EEXIST);
  const bool is_composed_missing = failures_.begin()->first == composed;
  EXPECT_EQ(TreeIn(top_ / "t"), (Words{decomposed + (is_composed_missing ? "=2" : "=1")}));

  MakeTree(top_, {"u/a/x=a", "u/b/x=b", "v/a/", "v/b->a"});
  EXPECT_EQ(Merge("u", "v"), 0);
  EXPECT_EQ(report_.done, 1u);
  ASSERT_EQ(failures_.size(), 1u);
  EXPECT_EQ(failures_.begin()->second, EEXIST);
  EXPECT_EQ(ReadFile(top_ / "v/a/x"), failures_.begin()->first == "a/x" ? "b" : "a");
}

// The folders of a copy have further names, which mounts give them.
TEST_F(TreeMergeTest, SeesThroughMounts) {
  const bool tested = OnAVolume(At("volume"), "tmpfs", "size=1m,nr_inodes=500", [this] {
    const auto bind = [this](const char* folder, const char* place) {
      fs::create_directories(top_ / place);
      return mount((top_ / folder).c_str(), (top_ / place).c_str(), nullptr, MS_BIND, nullptr);
    };
    MakeTree(top_, {"volume/s/file", "volume/s/sub/deep/", "volume/s/inner/", "volume/other/in/"});
    ASSERT_EQ(bind("volume/s/sub", "sub"), 0);
    ASSERT_EQ(bind("volume/other", "volume/s/inner"), 0);
    const Words before = TreeIn(top_ / "volume");
    for (const char* target : {"sub", "sub/new", "sub/deep/new", "volume/other/in/new"}) {
      for (const Transfer transfer : {Transfer::kCopy, Transfer::kMove}) {
        EXPECT_EQ(Merge("volume/s", target, transfer), EINVAL) << target;
      }
    }
    EXPECT_EQ(CopyThenRemove(top_ / "volume/s", top_ / "sub/deep/new"), EINVAL);
    EXPECT_EQ(TreeIn(top_ / "volume"), before);
    EXPECT_EQ(Merge("sub", "volume/new"), 0);  // out of itself is no trouble

    MakeTree(top_, {"volume/one/s/a/first", "volume/one/s/b/", "volume/two/"});
    fs::create_hard_link(top_ / "volume/one/s/a/first", top_ / "volume/one/s/b/second");
    ASSERT_EQ(bind("volume/one", "one"), 0);
    ASSERT_EQ(bind("volume/two", "two"), 0);
    EXPECT_EQ(Merge("one/s", "two/t", Transfer::kMove), 0);
    EXPECT_EQ(failures_, Failures{});
    EXPECT_TRUE(fs::equivalent(top_ / "two/t/a/first", top_ / "two/t/b/second"));
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

TEST_F(TreeMergeTest, TwoProcessesCopyIntoOneNewFolder) {
  constexpr int kFiles = 300;
  for (int i = 0; i < kFiles; ++i) WriteFile(top_ / "s/sub" / std::to_string(i), "x");
  const std::vector<int> failed = InProcesses(2, [this](int) {
    Merge("s", "t");
    return failures_.empty() ? 0 : 1;
  });
  EXPECT_EQ(failed, (std::vector<int>{0, 0}));
  EXPECT_EQ(NamesIn(top_ / "t/sub").size(), std::size_t{kFiles});
}

TEST_F(TreeMergeTest, LinksInTheTargetAreFollowedWhenTheyCanBeTrusted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's link";
  MakeTree(top_, {"s/ours/file", "s/theirs/file", "outside/ours/", "outside/theirs/",
                  "t/ours->../outside/ours", "t/theirs->../outside/theirs"});
  ASSERT_EQ(lchown((top_ / "t/theirs").c_str(), 1234, 1234), 0);
  ASSERT_EQ(chmod((top_ / "t").c_str(), 01777), 0);
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(TreeIn(top_ / "outside"), (Words{"ours/", "ours/file=x", "theirs/"}));
  ASSERT_EQ(failures_.size(), 1u);
  EXPECT_EQ(failures_.begin()->first, "theirs");
}

// Enough files for the second thread.
TEST_F(TreeMergeTest, FailuresComeInTheOrderOfTheWalk) {
  constexpr int kFolders = 20, kFiles = 20;
  for (int i = 0; i < kFolders; ++i) {
    const fs::path folder = top_ / "s" / std::to_string(i);
    for (int k = 0; k < kFiles; ++k) WriteFile(folder / std::to_string(k), std::to_string(k));
    for (const char* pipe : {"pipe", "another"}) mkfifo((folder / pipe).c_str(), 0600);
  }
  std::vector<std::string> first;
  for (const char* target : {"t", "u", "v"}) {
    EXPECT_EQ(Merge("s", target), 0);
    EXPECT_EQ(report_.done, unsigned{kFolders * kFiles});
    EXPECT_EQ(report_.failed, unsigned{2 * kFolders});
    std::vector<std::string> paths;
    for (const TreeFailure& failure : report_.failures) paths.push_back(failure.path);
    if (first.empty()) first = paths;
    EXPECT_EQ(paths, first);
    for (int i = 0; i < kFolders; ++i) {
      const fs::path folder = top_ / target / std::to_string(i);
      for (int k = 0; k < kFiles; ++k) {
        ASSERT_EQ(ReadFile(folder / std::to_string(k)), std::to_string(k));
      }
    }
  }
}

// 1,000 names of two spellings, of which the target holds the other ones: its names are read once.
TEST_F(TreeMergeTest, DeepTreesAndManyOtherSpellings) {
  fs::create_directories(top_ / "s");
  MakeDeepTree((top_ / "s").string(), 500, "level");
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(report_.done, 1u);
  EXPECT_EQ(failures_, Failures{});
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
