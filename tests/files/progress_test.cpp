#include "files/progress.h"

#include <thread>

#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "tests/files/support.h"
#include "tests/support/volumes.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using Words = std::vector<std::string>;

// The files and links below a folder.
Words FilesIn(const fs::path& top) {
  Words files = fs::exists(top) ? TreeIn(top) : Words();
  std::erase_if(files, [](const std::string& entry) { return entry.ends_with('/'); });
  return files;
}

bool IsPartOf(const Words& some, const Words& all) {
  return std::includes(all.begin(), all.end(), some.begin(), some.end());
}

class ProgressTest : public EnvironmentTest {
 protected:
  ~ProgressTest() override {
    if (!other_.empty()) fs::remove_all(other_);
  }

  // A folder on another volume; empty when there is none.
  fs::path OtherVolume() {
    char name[] = "/dev/shm/orvik-test-XXXXXX";
    struct stat here, there;
    if (mkdtemp(name) == nullptr) return {};
    other_ = name;
    stat(name, &there);
    stat(top_.c_str(), &here);
    return here.st_dev == there.st_dev ? fs::path() : other_;
  }

  // An operation, which says whether it was done.
  struct Call {
    TreeReport report;
    Progress* progress = nullptr;
  };
  using Operation = std::function<bool(Call*)>;
  static Operation CopyTree(const fs::path& from, const fs::path& to, BOOL move = FALSE) {
    return [=](Call* call) {
      const HRESULT result = CDirectoryManipulator::RecursivelyCopyDirectory(
          Folder(from), Folder(to), move, &call->report, call->progress);
      EXPECT_TRUE(result == S_OK || result == E_ABORT);
      return result == S_OK;
    };
  }

  // Carries the operation out again and again, stopped at its first call, its second one, and so on
  // until it is not stopped any more. `check` learns whether it was.
  static void StopAtEveryCall(const std::function<void()>& prepare, const Operation& operation,
                              const std::function<void(bool is_done)>& check, int step = 1) {
    int stopped = 0;
    for (int stop_at = 1;; stop_at += step) {
      SCOPED_TRACE(stop_at);
      prepare();
      int calls = 0;
      Progress progress([&](const ProgressState&) {
        return ++calls == stop_at ? ProgressAnswer::kStop : ProgressAnswer::kGoOn;
      });
      Call call{{}, &progress};
      const bool is_done = operation(&call);
      EXPECT_LE(calls, stop_at);  // none after the one that stopped it
      if (!is_done) {
        ++stopped;
        ASSERT_FALSE(call.report.failures.empty());
        EXPECT_EQ(call.report.failures.back().error, ECANCELED);
        EXPECT_TRUE(progress.IsStopped());
      }
      check(is_done);
      if (testing::Test::HasFailure() || !progress.IsStopped()) break;
    }
    EXPECT_GT(stopped, 0);
  }

  fs::path other_;
};

TEST_F(ProgressTest, AStoppedCopyLeavesWholeFiles) {
  const std::string large(9 << 20, 'b');
  const Words source = {"a=1", "b=" + large, "d/c=3", "d/e/f=4"};
  const Words old = {"a=old", "b=old", "d/c=old", "d/e/f=old"};
  MakeTree(At("s"), source);
  for (const bool is_over_others : {false, true}) {
    StopAtEveryCall(
        [&] {
          fs::remove_all(At("t"));
          if (is_over_others) MakeTree(At("t"), old);
        },
        CopyTree(At("s"), At("t")),
        [&](bool is_done) {
          Words whole = source;
          if (is_over_others && !is_done) whole.insert(whole.end(), old.begin(), old.end());
          std::sort(whole.begin(), whole.end());
          const Words copied = FilesIn(At("t"));
          EXPECT_TRUE(is_done ? copied == source : IsPartOf(copied, whole));
          EXPECT_TRUE(!is_over_others || copied.size() == source.size());
          EXPECT_TRUE(FilesIn(At("s")) == source);
        });
  }
  // So many that a second thread helps.
  for (int i = 0; i < 240; ++i) WriteFile(At("many") / std::to_string(i), std::to_string(i));
  const Words many = FilesIn(At("many"));
  StopAtEveryCall([this] { fs::remove_all(At("u")); }, CopyTree(At("many"), At("u")),
                  [&](bool is_done) {
                    const Words copied = FilesIn(At("u"));
                    EXPECT_TRUE(is_done ? copied == many : IsPartOf(copied, many));
                  },
                  97);
}

TEST_F(ProgressTest, AStoppedMoveLosesNothing) {
  const fs::path other = OtherVolume();
  if (other.empty()) GTEST_SKIP() << "no other volume";
  const Words tree = {"a=1", "b=" + std::string(5 << 20, 'b'), "d/c=3", "d/second=1"};
  for (const bool is_whole : {true, false}) {
    const Operation move = [&](Call* call) {
      return CFileManipulator::MoveFileTo(File(At("s")), File(other / "t"), &call->report,
                                          call->progress) != FALSE;
    };
    StopAtEveryCall(
        [&] {
          fs::remove_all(At("s"));
          fs::remove_all(other / "t");
          MakeTree(At("s"), {tree[0], tree[1], tree[2]});
          fs::create_hard_link(At("s/a"), At("s/d/second"));
        },
        is_whole ? move : CopyTree(At("s"), other / "t", TRUE),
        [&](bool is_done) {
          Words files = FilesIn(At("s"));
          const Words moved = FilesIn(other / "t");
          if (is_whole) {
            EXPECT_EQ(files.size(), is_done ? 0 : tree.size());
          }
          files.insert(files.end(), moved.begin(), moved.end());
          std::sort(files.begin(), files.end());
          EXPECT_TRUE(files == tree);
        });
  }
}

// The volume can have no trash, and a copy to that of the home is stopped.
TEST_F(ProgressTest, NothingIsDeletedInsteadOfThrownAway) {
  const bool tested = OnAVolume(At("volume"), "tmpfs", "size=9m", [this] {
    WriteFile(At("volume") / (".Trash-" + std::to_string(getuid())), "no folder");
    const Words tree = {"a=1", "b=" + std::string(5 << 20, 'b')};
    StopAtEveryCall([&] { MakeTree(At("volume/s"), tree); },
                    [this](Call* call) {
                      return CFileManipulator::DeleteFile(File(At("volume/s")), FALSE, TRUE,
                                                          &call->report, call->progress) != FALSE;
                    },
                    [&](bool is_done) {
                      EXPECT_TRUE(FilesIn(At("volume/s")) == (is_done ? Words{} : tree));
                      EXPECT_EQ(FilesIn(env_.home() / ".local/share/Trash/files").empty(),
                                !is_done);
                    });
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

TEST_F(ProgressTest, AStoppedRemovalGivesFoldersTheirModeBack) {
  const Words tree = {"a=x", "b=x", "closed/c=x", "closed/e=x", "closed/sub/d=x"};
  const auto prepare = [&] {
    if (fs::exists(At("t/closed"))) fs::permissions(At("t/closed"), fs::perms::owner_all);
    fs::remove_all(At("t"));
    MakeTree(At("t"), tree);
    fs::permissions(At("t/closed"), fs::perms(0500));
  };
  prepare();
  const WithoutRootRights without(env_.folder());
  const Operation removals[] = {
      [this](Call* call) {
        return CDirectoryManipulator::RemoveDirectoryAndContents(Folder(At("t")), &call->report,
                                                                 call->progress) != FALSE;
      },
      [this](Call* call) {
        return CFileManipulator::DeleteFile(File(At("t")), FALSE, FALSE, &call->report,
                                            call->progress) != FALSE;
      },
      [this](Call* call) {
        return CDirectoryManipulator::RemoveFilesFromDirectory(Folder(At("t")), u"?", &call->report,
                                                               call->progress) != FALSE;
      }};
  for (const Operation& removal : removals) {
    const bool is_of_files = &removal == &removals[2];
    StopAtEveryCall(prepare, removal, [&](bool is_done) {
      EXPECT_TRUE(IsPartOf(FilesIn(At("t")), tree));
      EXPECT_EQ(Exists(is_of_files ? At("t/a") : At("t")) || (is_of_files && Exists(At("t/b"))),
                !is_done);
      EXPECT_TRUE(!is_of_files || Exists(At("t/closed/e")));
      if (Exists(At("t/closed"))) {
        EXPECT_EQ(ModeOf(At("t/closed")), 0500u);
      }
    });
  }
}

TEST_F(ProgressTest, OneFileIsCopiedAndSummedUntilItIsStopped) {
  const std::string content(9 << 20, 'x');
  WriteFile(At("s"), content);
  StopAtEveryCall([this] { WriteFile(At("t"), "old"); },
                  [this](Call* call) {
                    return CFileManipulator::CopyFileTo(File(At("s")), File(At("t")), FALSE,
                                                        &call->report, call->progress) != FALSE;
                  },
                  [&](bool is_done) {
                    EXPECT_TRUE(ReadFile(At("t")) == (is_done ? content : "old"));
                    EXPECT_EQ(NamesIn(top_), (Words{"s", "t"}));
                  });
  const std::uint32_t expected = File(At("s")).GetFileChecksum();
  std::uint32_t checksum = 0;
  StopAtEveryCall([&checksum] { checksum = 77; },
                  [&](Call* call) {
                    return File(At("s")).GetFileChecksum(checksum, &call->report, call->progress) !=
                           FALSE;
                  },
                  [&](bool is_done) { EXPECT_EQ(checksum, is_done ? expected : 77u); }, 7);
}

TEST_F(ProgressTest, AStoppedListingGivesWhatItFound) {
  MakeTree(top_, {"a/b/c/", "d/e/", "f=", "g=", "h="});
  CAtlArray<COrvikDirectoryPath> found;
  StopAtEveryCall([&found] { found.RemoveAll(); },
                  [&](Call* call) {
                    Folder(top_).ListSubDirectories(u"*", found, TRUE, &call->report,
                                                    call->progress);
                    return call->report.failures.empty();
                  },
                  [&](bool is_done) { EXPECT_TRUE(found.GetCount() == 5 || !is_done); }, 2);
  for (int stop_at = 1; stop_at <= 5; ++stop_at) {
    int calls = 0;
    Progress progress([&](const ProgressState&) {
      return ++calls == stop_at ? ProgressAnswer::kStop : ProgressAnswer::kGoOn;
    });
    CAtlArray<COrvikFilePath> files;
    EXPECT_NE(Folder(top_).FindFilesInDirectory(u"*", files, &progress), 0);
    EXPECT_EQ(calls, stop_at);
    EXPECT_LE(files.GetCount(), stop_at - 1);
  }
}

TEST_F(ProgressTest, CountsEntriesAndBytes) {
  MakeTree(At("s"), {"a=12345", "d/b=123", "d/link->a", "d/e/"});
  ASSERT_EQ(mkfifo(At("s/pipe").c_str(), 0600), 0);
  Progress copying({}, ProgressTotals::kCount);
  TreeReport report;
  EXPECT_EQ(CDirectoryManipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(At("t")), FALSE,
                                                            &report, &copying),
            S_OK);
  const ProgressState copied = copying.State();
  EXPECT_EQ(copied.entries_done, 4u);  // the pipe, too, which failed
  EXPECT_EQ(copied.entries_total, 4u);
  EXPECT_EQ(copied.bytes_done, 8u);
  EXPECT_EQ(copied.bytes_total, 8u);
  EXPECT_TRUE(Units(copied.path).starts_with(At("s").u16string() + u"/"));

  std::vector<std::u16string> paths;
  Progress removing(
      [&paths](const ProgressState& state) {
        if (paths.empty() || paths.back() != Units(state.path)) paths.push_back(Units(state.path));
        return ProgressAnswer::kGoOn;
      },
      ProgressTotals::kCount);
  EXPECT_TRUE(
      CDirectoryManipulator::RemoveDirectoryAndContents(Folder(At("t")), nullptr, &removing));
  EXPECT_EQ(removing.State().entries_done, 5u);
  EXPECT_EQ(removing.State().entries_total, 5u);
  EXPECT_NE(std::find(paths.begin(), paths.end(), At("t/d/b").u16string()), paths.end());
}

TEST_F(ProgressTest, AnotherThreadStopsAndLooks) {
  for (int i = 0; i < 150; ++i) WriteFile(At("s") / std::to_string(i), "x");
  Progress progress;
  std::thread other([&progress] {
    while (progress.State().entries_done < 20) std::this_thread::yield();
    progress.Stop();
  });
  TreeReport report;
  static_cast<void>(CDirectoryManipulator::RecursivelyCopyDirectory(
      Folder(At("s")), Folder(At("t")), FALSE, &report, &progress));
  other.join();
  EXPECT_TRUE(progress.IsStopped());
  EXPECT_TRUE(IsPartOf(FilesIn(At("t")), FilesIn(At("s"))));
  // The object stops the next operation, too.
  EXPECT_EQ(CDirectoryManipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(At("u")), FALSE,
                                                            &report, &progress),
            E_ABORT);
  EXPECT_FALSE(Exists(At("u")));
}

}  // namespace
}  // namespace orvik::test
