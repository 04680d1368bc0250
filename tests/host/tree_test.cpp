// Copies and moves of trees into others, and their removal.
#include <climits>
#include <numeric>
#include <regex>

#include "host/copy_crew.h"
#include "host/folder_nesting.h"
#include "host/move_file.h"
#include "host/paths.h"
#include "host/tree_merge.h"
#include "host/tree_removal.h"
#include "host/tree_walk.h"
#include "tests/support/file_trees.h"
#include "tests/support/volumes.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;

constexpr char kComposed[] = "caf\xC3\xA9";
constexpr char kDecomposed[] = "cafe\xCC\x81";

// Records all calls, and stops the operation at the call number `stop_at`.
class StoppingMonitor final : public Monitor {
 public:
  explicit StoppingMonitor(int stop_at = INT_MAX) : left_(stop_at) {}
  bool WantsTotals() const override { return true; }
  void Expect(std::uint64_t entries, std::uint64_t bytes) override { expected = {entries, bytes}; }
  bool Begin(std::string path) override {
    begun.insert(std::move(path));
    return --left_ > 0;
  }
  bool Advance(std::uint64_t entries, std::uint64_t bytes) override {
    done.first += entries;
    done.second += bytes;
    return --left_ > 0;
  }
  bool IsStopped() const override { return left_ <= 0; }

  std::pair<std::uint64_t, std::uint64_t> expected, done;  // entries, bytes
  std::set<std::string> begun;

 private:
  int left_;
};

class TreeMergeTest : public EnvironmentTest {
 protected:
  int Merge(const fs::path& from, const fs::path& to, Transfer transfer = Transfer::kCopy,
            Monitor* monitor = nullptr) {
    report_ = {};
    return MergeTree((top_ / from).string(), (top_ / to).string(), transfer, &report_, monitor);
  }
  // The path and error of each failure, in the order of the paths.
  std::string Failures() const {
    std::set<std::string> failures;
    for (const auto& [path, error, side] : report_.failures) {
      EXPECT_TRUE(Exists(top_ / "s" / path));
      failures.insert(path + " " + strerrorname_np(error) + "; ");
    }
    EXPECT_EQ(report_.failed, failures.size());
    return std::accumulate(failures.begin(), failures.end(), std::string());
  }
  TreeOutcome report_;
};

TEST_F(TreeMergeTest, MergesSaysWhatFailedAndGoesOn) {
  constexpr Transfer kCopy = Transfer::kCopy, kMove = Transfer::kMove;
  // "C" and "D" stand for two spellings of one name.
  const std::tuple<const char*, Transfer, unsigned, const char*, const char*> cases[] = {
      {"s/a=new s/sub/b s/taken/c s/sub/pipe| t/a=old t/taken", kCopy, 2,
       "sub/pipe EOPNOTSUPP; taken ENOTDIR; ", "a=new sub/ sub/b=x taken=x"},
      {"s/a=new s/b s/pipe| t/a=old", kMove, 2, "a EEXIST; ", "a=old b=x pipe|"},
      {"s/C/file=new s/fC=new t/D/own t/fD=old", kCopy, 2, "", "D/ D/file=new D/own=x fD=new"},
      {"s/C/file=new s/fC=new t/D/own t/fD=old", kMove, 1, "fC EEXIST; ",
       "D/ D/file=new D/own=x fD=old"},
      {"s/C=c s/D=d t/C=old", kCopy, 2, "", "D=d C=c"},
      {"s/C=c s/D=d", kCopy, 2, "", "D=d C=c"}};
  const auto spelled = [](std::string text) {
    text = std::regex_replace(text, std::regex("C(?=[/= ])"), kComposed);
    return std::regex_replace(text, std::regex("D(?=[/= ])"), kDecomposed);
  };
  for (const auto& [before, transfer, done, failures, target] : cases) {
    SCOPED_TRACE(before);
    for (const char* tree : {"s", "t"}) fs::remove_all(top_ / tree);
    Plant(top_, spelled(before));
    EXPECT_EQ(Merge("s", "t", transfer), 0);
    EXPECT_EQ(report_.done, done);
    EXPECT_EQ(Failures(), spelled(failures));
    EXPECT_EQ(TreeText(top_ / "t"), spelled(target));
  }
  EXPECT_EQ(Merge("s", "deep/er/t"), 0);
  EXPECT_EQ(TreeText(top_ / "deep/er/t"), TreeText(top_ / "s"));
  WriteFile(top_ / "file", "x");
  EXPECT_EQ(Merge("none", "u"), ENOENT);
  EXPECT_EQ(Merge("file", "u"), ENOTDIR);
  EXPECT_FALSE(Exists(top_ / "u"));
}

// After the stop no folder is made, removed or given its name, and a closed folder gets its mode
// back.
TEST_F(TreeMergeTest, AMonitorStopsBetweenFoldersToo) {
  Plant(top_, "s/a s/d/ empty/");
  StoppingMonitor after_a_file(3);  // it begins, its bytes, it is done
  EXPECT_EQ(Merge("s", "t", Transfer::kCopy, &after_a_file), ECANCELED);
  EXPECT_EQ(TreeText(top_ / "t"), "a=x");
  StoppingMonitor at_once(0);
  EXPECT_EQ(CopyThenRemove(top_ / "empty", top_ / "moved", {.monitor = &at_once}), ECANCELED);
  EXPECT_TRUE(Exists(top_ / "empty") && !Exists(top_ / "moved"));
  Plant(top_, "r/a r/closed/c r/closed/sub/d");
  const WithoutRootRights without(env_.folder());
  fs::permissions(top_ / "r/closed", fs::perms(0500));
  for (int stop_at = 1; Exists(top_ / "r"); ++stop_at) {
    StoppingMonitor monitor(stop_at);
    const int error = RemoveTree(top_ / "r", Obstacles::kOverride, nullptr, &monitor);
    EXPECT_EQ(error, Exists(top_ / "r") ? ECANCELED : 0);
    EXPECT_TRUE(!Exists(top_ / "r/closed") || ModeOf(top_ / "r/closed") == 0500u) << stop_at;
  }
}

TEST_F(TreeMergeTest, AMonitorIsToldOfEveryEntry) {
  constexpr unsigned kSparse = 3 << 20, kLarge = 300'000;
  MakeTree(top_,
           {"s/a=1", "s/d/b=" + std::string(kLarge, 'b'), "s/d/link->a", "s/d/e/", "s/pipe|"});
  fs::resize_file(At("s/a"), kSparse);
  const auto remove = [this](const char* name, Monitor* monitor) {
    return RemoveTree((top_ / name).string(), Obstacles::kOverride, nullptr, monitor);
  };
  using Names = std::set<std::string>;
  const Names all = {"a", "d/b", "d/link", "pipe"};
  using Operation = std::function<int(Monitor*)>;
  const std::tuple<Operation, unsigned, unsigned, Names> cases[] = {
      {[&](Monitor* m) { return Merge("s", "t", Transfer::kCopy, m); }, 4, kSparse + kLarge, all},
      {[&](Monitor* m) { return Merge("s", "m", Transfer::kMove, m); }, 4, kSparse + kLarge, all},
      {[&](Monitor* m) { return CopyThenRemove(top_ / "m", top_ / "u", {.monitor = m}); }, 4,
       kSparse + kLarge, all},
      {[&](Monitor* m) { return CopyThenRemove(top_ / "u/a", top_ / "f", {.monitor = m}); },
       1,
       kSparse,
       {""}},
      {[&](Monitor* m) { return remove("f", m); }, 1, 0, {""}},
      {[&](Monitor* m) { return remove("u", m); }, 6, 0, {"", "d/b", "d/link", "pipe"}},
      {[&](Monitor* m) { return EmptyFolder(At("t"), Obstacles::kOverride, nullptr, m); },
       5,
       0,
       {"a", "d/b", "d/link"}}};
  for (const auto& [operation, entries, bytes, names] : cases) {
    StoppingMonitor monitor;
    EXPECT_EQ(operation(&monitor), 0);
    EXPECT_EQ(monitor.expected, std::pair(std::uint64_t{entries}, std::uint64_t{bytes}));
    EXPECT_EQ(monitor.done, monitor.expected);
    EXPECT_EQ(monitor.begun, names);
  }
  EXPECT_EQ(TreeText(top_), "s/ s/d/ s/d/e/ t/");
}

TEST_F(TreeMergeTest, SizesCountAFileOfTwoNamesOnce) {
  const std::string large(100'000, 'x');
  MakeTree(top_, {"s/a=" + large, "s/d/b=123", "s/d/link->a", "s/d/e/", "s/f/g=4567"});
  fs::create_hard_link(top_ / "s/a", top_ / "s/d/second");
  const TreeSize size = SizeOfTree(OpenPath(At("s"), kOpenFolder), nullptr);
  EXPECT_EQ((std::vector{size.folders, size.others, size.bytes}),
            (std::vector<std::uint64_t>{3, 5, 200'007}));
  const auto own = [this](const char* name) {
    return static_cast<std::uint64_t>(StatOf(At(name)).st_blocks) * 512;
  };
  EXPECT_EQ(size.allocated, own("s/a") + own("s/d") + own("s/d/b") + own("s/d/link") +
                                own("s/d/e") + own("s/f") + own("s/f/g"));
  EXPECT_EQ(DiskUsage(At("s")), size.allocated + own("s"));
  EXPECT_EQ(DiskUsage(At("s/a")), own("s/a"));
  EXPECT_EQ(DiskUsage(At("none")), 0u);
}

TEST_F(TreeMergeTest, NoFolderIsCopiedIntoItself) {
  Plant(top_, "s/sub/file alias->s d/sub/inner/file e/sub->../d/sub/inner");
  const std::string before = TreeText(top_);
  for (const char* target : {"s", "s/sub/new/deeper", "alias", "alias/new", "s/../s/x",
                             "none/../s/x", "none/a/../../s"}) {
    for (const Transfer transfer : {Transfer::kCopy, Transfer::kMove}) {
      EXPECT_EQ(Merge("s", target, transfer), EINVAL) << target;
    }
  }
  EXPECT_EQ(TreeText(top_), before);
  const auto above = FoldersAbove(OpenPath(At("d/sub/inner"), kOpenPlace).get());
  for (const fs::path& folder : {At("d/sub/inner"), At("d"), fs::path("/")}) {
    EXPECT_TRUE(above.contains({StatOf(folder).st_dev, StatOf(folder).st_ino})) << folder;
  }
  EXPECT_EQ(Merge("s/sub", "s"), 0);  // into the folder above is allowed
  EXPECT_NE(Merge("d", "e"), 0);
  EXPECT_FALSE(Exists(top_ / "d/sub/inner/inner"));
}

// The source has two spellings of a name, the target a third. A link of the target leads to the
// target of another source folder.
TEST_F(TreeMergeTest, NoEntryOfACopyReplacesAnother) {
  const std::string composed = "\xE1\xBA\xA5", half = "\xC3\xA2\xCC\x81",
                    decomposed = "a\xCC\x82\xCC\x81";
  Plant(top_, "s/" + composed + "=1 s/" + half + "=2 t/" + decomposed + "=old");
  Plant(top_, "u/a/x=a u/b/x=b v/a/ v/b->a");
  const std::tuple<const char*, const char*, std::string, std::string, std::string> cases[] = {
      {"s", "t", composed, decomposed + "=2", decomposed + "=1"},
      {"u", "v", "a/x", "a/ a/x=b b->a", "a/ a/x=a b->a"}};
  for (const auto& [from, to, one, without_one, with_one] : cases) {
    EXPECT_EQ(Merge(from, to), 0);
    EXPECT_EQ(report_.done, 1u);
    ASSERT_EQ(report_.failures.size(), 1u);
    EXPECT_EQ(report_.failures[0].error, EEXIST);
    EXPECT_EQ(TreeText(top_ / to), report_.failures[0].path == one ? without_one : with_one);
  }
}

// Bind mounts give the folders of a copy further names.
TEST_F(TreeMergeTest, SeesThroughMounts) {
  OnAVolume(At("volume"), "tmpfs", "size=1m,nr_inodes=500", [this] {
    const auto bind = [this](const char* folder, const char* place) {
      fs::create_directories(top_ / place);
      ASSERT_EQ(mount(At(folder).c_str(), At(place).c_str(), nullptr, MS_BIND, nullptr), 0);
    };
    Plant(top_, "volume/s/file volume/s/sub/deep/ volume/s/inner/ volume/other/in/");
    bind("volume/s/sub", "sub");
    bind("volume/other", "volume/s/inner");
    const std::string before = TreeText(top_ / "volume");
    for (const char* target : {"sub", "sub/new", "sub/deep/new", "volume/other/in/new"}) {
      for (const Transfer transfer : {Transfer::kCopy, Transfer::kMove}) {
        EXPECT_EQ(Merge("volume/s", target, transfer), EINVAL) << target;
      }
    }
    EXPECT_EQ(CopyThenRemove(top_ / "volume/s", top_ / "sub/deep/new"), EINVAL);
    EXPECT_EQ(TreeText(top_ / "volume"), before);
    EXPECT_EQ(Merge("sub", "volume/new"), 0);  // into the folder above is allowed

    Plant(top_, "volume/one/s/a/first volume/one/s/b/ volume/two/");
    fs::create_hard_link(top_ / "volume/one/s/a/first", top_ / "volume/one/s/b/second");
    bind("volume/one", "one");
    bind("volume/two", "two");
    EXPECT_EQ(Merge("one/s", "two/t", Transfer::kMove), 0);
    EXPECT_EQ(Failures(), "");
    EXPECT_TRUE(fs::equivalent(top_ / "two/t/a/first", top_ / "two/t/b/second"));
  });
}

TEST_F(TreeMergeTest, LinksInTheTargetAreFollowedWhenTheyCanBeTrusted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's link";
  Plant(top_,
        "s/ours/file s/theirs/file outside/ours/ outside/theirs/ t/ours->../outside/ours "
        "t/theirs->../outside/theirs");
  ASSERT_EQ(lchown((top_ / "t/theirs").c_str(), 1234, 1234), 0);
  ASSERT_EQ(chmod((top_ / "t").c_str(), 01777), 0);
  EXPECT_EQ(Merge("s", "t"), 0);
  EXPECT_EQ(TreeText(top_ / "outside"), "ours/ ours/file=x theirs/");
  EXPECT_EQ(Failures(), "theirs EACCES; ");
}

// Enough files for the second thread.
TEST_F(TreeMergeTest, FailuresComeInTheOrderOfTheWalk) {
  constexpr unsigned kFolders = 20, kFiles = 20;
  for (unsigned i = 0; i < kFolders; ++i) {
    const fs::path folder = top_ / "s" / std::to_string(i);
    for (unsigned k = 0; k < kFiles; ++k) WriteFile(folder / std::to_string(k), std::to_string(i));
    for (const char* pipe : {"pipe", "another"}) mkfifo((folder / pipe).c_str(), 0600);
  }
  std::vector<std::string> first;
  for (const char* target : {"t", "u", "v"}) {
    EXPECT_EQ(Merge("s", target), 0);
    EXPECT_EQ(report_.done, kFolders * kFiles);
    EXPECT_EQ(report_.failed, 2 * kFolders);
    std::vector<std::string> paths;
    for (const TreeFailure& failure : report_.failures) paths.push_back(failure.path);
    if (first.empty()) first = paths;
    EXPECT_EQ(paths, first);
    std::vector<std::string> files = TreeIn(top_ / "s");
    std::erase_if(files, [](const std::string& entry) { return entry.ends_with('|'); });
    EXPECT_EQ(TreeIn(top_ / target), files);
  }
}

TEST(OrderedOutcome, KeepsTheFirstThousandFailures) {
  OrderedOutcome ordered;
  for (unsigned number = 1500; number-- > 0;) {
    ordered.Add(number, "f/", std::to_string(number), EIO, Side::kTarget);
  }
  ordered.Add(1500, "f/", "x", 0, Side::kSource);
  TreeOutcome report;
  ordered.AddTo(&report);
  EXPECT_EQ((std::vector<std::uint64_t>{report.done, report.failed, report.failures.size()}),
            (std::vector<std::uint64_t>{1, 1500, 1000}));
  EXPECT_EQ(report.failures.front().path + report.failures.back().path, "f/0f/999");
  EXPECT_EQ(report.failures.back().side, Side::kTarget);
}

class TreeRemovalTest : public EnvironmentTest {
 protected:
  int Empty(const fs::path& folder, TreeOutcome* report = nullptr) {
    return EmptyFolder(folder.string(), Obstacles::kOverride, report);
  }
  int Remove(const fs::path& path, TreeOutcome* report = nullptr) {
    return RemoveTree(path.string(), Obstacles::kOverride, report);
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
  EXPECT_EQ(TreeText(top_), "link->outside outside/ outside/kept=x tree/");
  EXPECT_EQ(RemoveFile((top_ / "outside").string(), Obstacles::kRespect), EISDIR);
  EXPECT_EQ(RemoveFile((top_ / "link").string(), Obstacles::kRespect), 0);
  EXPECT_EQ(Remove(top_ / "outside"), 0);
  EXPECT_FALSE(Exists(top_ / "link") || Exists(top_ / "outside"));
}

TEST_F(TreeRemovalTest, TheRootFolderAndDotsAreRefused) {
  WriteFile(top_ / "d/kept", "x");
  EXPECT_EQ(RemoveTree("/", Obstacles::kRespect), EBUSY);
  EXPECT_EQ(EmptyFolder("/proc/self/root/.", Obstacles::kRespect), EBUSY);
  EXPECT_EQ(EmptyFolder(Descriptor(), Obstacles::kRespect), EBADF);
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
  Plant(top_, "tree/a/b/file tree/listed/sub/file");
  const WithoutRootRights without(env_.folder());
  for (const auto& [name, mode] :
       {std::pair{"tree/a/b", 0555}, {"tree/a", 0}, {"tree/listed", 0400}, {"tree", 0500}}) {
    chmod((top_ / name).c_str(), static_cast<mode_t>(mode));
  }
  EXPECT_EQ(RemoveTree((top_ / "tree").string(), Obstacles::kRespect), EACCES);
  EXPECT_EQ(Empty(top_ / "tree"), 0);
  EXPECT_EQ(ModeOf(top_ / "tree"), 0500u);
  chmod((top_ / "tree").c_str(), 0700);
  EXPECT_TRUE(fs::is_empty(top_ / "tree"));
}

// A folder of another user far down cannot be emptied. The folders above it stay unchanged, and
// everything else is removed.
TEST_F(TreeRemovalTest, GoesOnAfterAFailureAndReportsIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's folder";
  Plant(top_, "tree/a/b/theirs/kept tree/a/b/x tree/a/y tree/z/z tree/file");
  fs::permissions(top_ / "tree/a/b", fs::perms(0500));
  TreeOutcome report;
  {
    const WithoutRootRights without(env_.folder(), top_ / "tree/a/b/theirs");
    EXPECT_EQ(Remove(top_ / "tree", &report), EACCES);
  }
  EXPECT_EQ(report.failed, 1u);
  ASSERT_EQ(report.failures.size(), 1u);
  EXPECT_EQ(report.failures[0].path, "a/b/theirs/kept");
  EXPECT_EQ(report.failures[0].error, EACCES);
  EXPECT_EQ(report.done, 5u);
  EXPECT_EQ(TreeText(top_ / "tree"), "a/ a/b/ a/b/theirs/ a/b/theirs/kept=x");
  EXPECT_EQ(ModeOf(top_ / "tree/a/b"), 0500u);
}

// One entry at the bottom stays: the way back up costs no more than the way down.
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

}  // namespace
}  // namespace orvik::test
