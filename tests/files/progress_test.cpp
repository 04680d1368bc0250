#include "files/progress.h"

#include <thread>

#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "tests/files/support.h"
#include "tests/support/volumes.h"

namespace orvik::test {
namespace {

// The files and links below a folder.
Words FilesIn(const fs::path& top) {
  Words files = fs::exists(top) ? TreeIn(top) : Words();
  std::erase_if(files, [](const std::string& entry) { return entry.ends_with('/'); });
  return files;
}

// The tests in tests/faults/ stop every operation at every answer; these check more than the files.
using ProgressTest = EnvironmentTest;

// The volume can have no trash, and the copy to the home trash is stopped at its first answer, then
// at its second one, and so on until it completes.
TEST_F(ProgressTest, NothingIsDeletedInsteadOfThrownAway) {
  OnAVolume(At("volume"), "tmpfs", "size=9m", [this] {
    WriteFile(At("volume") / (".Trash-" + std::to_string(getuid())), "no folder");
    const Words tree = {"a=1", "b=" + std::string(5 << 20, 'b')};
    bool is_done = false;
    for (int stop_at = 1; !is_done && !HasFailure(); ++stop_at) {
      SCOPED_TRACE(stop_at);
      MakeTree(At("volume/s"), tree);
      int answers = 0;
      Progress progress([&](const ProgressState&) {
        return ++answers == stop_at ? ProgressAnswer::kStop : ProgressAnswer::kGoOn;
      });
      TreeReport report;
      is_done = CFileManipulator::DeleteFile(File(At("volume/s")), FALSE, TRUE, &report, &progress);
      EXPECT_TRUE(FilesIn(At("volume/s")) == (is_done ? Words{} : tree));
      EXPECT_EQ(FilesIn(env_.home() / ".local/share/Trash/files").empty(), !is_done);
      EXPECT_EQ(progress.IsStopped(), !is_done);
      EXPECT_TRUE(is_done || report.failures.back().error == ECANCELED);
    }
  });
}

// The tests of the operations of host/ show which entries count.
TEST_F(ProgressTest, CountsEntriesAndBytes) {
  Plant(At("s"), "a=12345 d/b=123 pipe|");
  std::set<std::u16string> paths;
  Progress copying(
      [&paths](const ProgressState& state) {
        paths.insert(Units(state.path));
        return ProgressAnswer::kGoOn;
      },
      ProgressTotals::kCount);
  Progress copying_one, summing;  // the totals of a file are known without a count
  EXPECT_EQ(CDirectoryManipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(At("t")), FALSE,
                                                            nullptr, &copying),
            S_OK);
  EXPECT_TRUE(
      CFileManipulator::CopyFileTo(File(At("s/a")), File(At("x")), TRUE, nullptr, &copying_one));
  std::uint32_t checksum = 0;
  EXPECT_TRUE(File(At("s/a")).GetFileChecksum(checksum, nullptr, &summing));
  EXPECT_TRUE(paths.contains(At("s/d/b").u16string()));
  const auto counts = [](const ProgressState& state) {
    return std::vector{state.entries_done, state.entries_total, state.bytes_done,
                       state.bytes_total};
  };
  using Counts = std::vector<std::uint64_t>;
  EXPECT_EQ(counts(copying.State()), (Counts{3, 3, 8, 8}));  // counts the pipe, which failed
  for (const Progress* one : {&copying_one, &summing}) {
    EXPECT_EQ(counts(one->State()), (Counts{1, 1, 5, 5}));
  }
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
  const Words copied = FilesIn(At("t")), all = FilesIn(At("s"));
  EXPECT_TRUE(std::includes(all.begin(), all.end(), copied.begin(), copied.end()));
  // The object also stops the next operation.
  EXPECT_EQ(CDirectoryManipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(At("u")), FALSE,
                                                            &report, &progress),
            E_ABORT);
  EXPECT_FALSE(Exists(At("u")));
}

}  // namespace
}  // namespace orvik::test
