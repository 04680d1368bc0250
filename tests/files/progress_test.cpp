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

// tests/faults/ stops every operation at every answer; here is what the files alone do not show.
class ProgressTest : public EnvironmentTest {
 protected:
  // Carries the operation out again and again, stopped at its first answer, its second one, and so
  // on until it is done. `check` learns whether it was.
  static void StopAtEveryAnswer(const std::function<void()>& prepare,
                                const std::function<BOOL(TreeReport*, Progress*)>& operation,
                                const std::function<void(bool is_done)>& check) {
    bool is_done = false;
    for (int stop_at = 1; !is_done && !HasFailure(); ++stop_at) {
      SCOPED_TRACE(stop_at);
      prepare();
      int answers = 0;
      Progress progress([&](const ProgressState&) {
        return ++answers == stop_at ? ProgressAnswer::kStop : ProgressAnswer::kGoOn;
      });
      TreeReport report;
      is_done = operation(&report, &progress) != FALSE;
      check(is_done);
      if (is_done) continue;
      ASSERT_FALSE(report.failures.empty());
      EXPECT_EQ(report.failures.back().error, ECANCELED);
      EXPECT_TRUE(progress.IsStopped());
    }
  }
};

// The volume can have no trash, and a copy to that of the home is stopped.
TEST_F(ProgressTest, NothingIsDeletedInsteadOfThrownAway) {
  const bool tested = OnAVolume(At("volume"), "tmpfs", "size=9m", [this] {
    WriteFile(At("volume") / (".Trash-" + std::to_string(getuid())), "no folder");
    const Words tree = {"a=1", "b=" + std::string(5 << 20, 'b')};
    StopAtEveryAnswer(
        [&] { MakeTree(At("volume/s"), tree); },
        [this](TreeReport* report, Progress* progress) {
          return CFileManipulator::DeleteFile(File(At("volume/s")), FALSE, TRUE, report, progress);
        },
        [&](bool is_done) {
          EXPECT_TRUE(FilesIn(At("volume/s")) == (is_done ? Words{} : tree));
          EXPECT_EQ(FilesIn(env_.home() / ".local/share/Trash/files").empty(), !is_done);
        });
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

TEST_F(ProgressTest, AStoppedRemovalGivesFoldersTheirModeBack) {
  const auto prepare = [this] {
    if (fs::exists(At("t/closed"))) fs::permissions(At("t/closed"), fs::perms::owner_all);
    fs::remove_all(At("t"));
    Plant(At("t"), "a closed/c closed/sub/d");
    fs::permissions(At("t/closed"), fs::perms(0500));
  };
  prepare();
  const WithoutRootRights without(env_.folder());
  for (const bool is_of_folder : {true, false}) {
    StopAtEveryAnswer(
        prepare,
        [&](TreeReport* report, Progress* progress) {
          return is_of_folder
                     ? CDirectoryManipulator::RemoveDirectoryAndContents(Folder(At("t")), report,
                                                                         progress)
                     : CFileManipulator::DeleteFile(File(At("t")), FALSE, FALSE, report, progress);
        },
        [&](bool is_done) {
          EXPECT_EQ(Exists(At("t")), !is_done);
          EXPECT_TRUE(!Exists(At("t/closed")) || ModeOf(At("t/closed")) == 0500u);
        });
  }
}

TEST_F(ProgressTest, CountsEntriesAndBytes) {
  Plant(At("s"), "a=12345 d/b=123 d/link->a d/e/");
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
