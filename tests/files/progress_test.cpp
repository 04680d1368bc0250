#include "files/progress.h"

#include <stdlib.h>

#include <cerrno>
#include <functional>
#include <map>
#include <thread>

#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "tests/files/support.h"
#include "tests/support/volumes.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using Contents = std::map<std::string, std::string>;

// The regular files below a folder; "?" stands for what is none.
Contents FilesIn(const fs::path& top) {
  Contents files;
  if (!fs::exists(top)) return files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    files[entry.path().lexically_relative(top)] =
        entry.is_regular_file() ? ReadFile(entry.path()) : "?";
  }
  return files;
}

bool IsPartOf(const Contents& some, const Contents& all) {
  return std::all_of(some.begin(), some.end(), [&all](const auto& file) {
    const auto found = all.find(file.first);
    return found != all.end() && found->second == file.second;
  });
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

  // Carries the operation out again and again, stopped at its first call, its second one, and so on
  // until it is not stopped any more. `check` learns whether it was.
  struct Call {
    TreeReport report;
    Progress* progress = nullptr;
  };
  static void StopAtEveryCall(const std::function<void()>& prepare,
                              const std::function<bool(Call*)>& operation,
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

TEST_F(ProgressTest, ACopyThatIsStoppedLeavesWholeFiles) {
  const Contents source = {
      {"a", "1"}, {"b", std::string(9 << 20, 'b')}, {"d/c", "3"}, {"d/e/f", "4"}};
  for (const auto& [name, content] : source) WriteFile(At("s") / name, content);
  const auto copy = [this](Call* call) {
    const HRESULT result = CDirectoryManipulator::RecursivelyCopyDirectory(
        Folder(At("s")), Folder(At("t")), FALSE, &call->report, call->progress);
    EXPECT_TRUE(result == S_OK || result == E_ABORT);
    return result == S_OK;
  };
  StopAtEveryCall([this] { fs::remove_all(At("t")); }, copy,
                  [&](bool is_done) {
                    const Contents copied = FilesIn(At("t"));
                    EXPECT_TRUE(is_done ? copied == source : IsPartOf(copied, source));
                    EXPECT_EQ(FilesIn(At("s")), source);
                  });
  // Over files of the same names.
  StopAtEveryCall(
      [&] {
        for (const auto& file : source) WriteFile(At("t") / file.first, "old");
      },
      copy,
      [&](bool is_done) {
        const Contents copied = FilesIn(At("t"));
        EXPECT_EQ(copied.size(), source.size());
        for (const auto& [name, content] : copied) {
          EXPECT_TRUE(content == source.at(name) || (!is_done && content == "old")) << name;
        }
      });
}

// So many that a second thread helps.
TEST_F(ProgressTest, ALargeCopyThatIsStoppedLeavesWholeFiles) {
  constexpr int kFiles = 240;
  for (int i = 0; i < kFiles; ++i) WriteFile(At("s") / std::to_string(i), std::to_string(i));
  const Contents source = FilesIn(At("s"));
  StopAtEveryCall([this] { fs::remove_all(At("t")); },
                  [this](Call* call) {
                    return CDirectoryManipulator::RecursivelyCopyDirectory(
                               Folder(At("s")), Folder(At("t")), FALSE, &call->report,
                               call->progress) == S_OK;
                  },
                  [&](bool is_done) {
                    const Contents copied = FilesIn(At("t"));
                    EXPECT_TRUE(is_done ? copied == source : IsPartOf(copied, source));
                  },
                  97);
}

TEST_F(ProgressTest, AMoveThatIsStoppedLeavesTheSource) {
  const fs::path other = OtherVolume();
  if (other.empty()) GTEST_SKIP() << "no other volume";
  const Contents tree = {{"a", "1"}, {"b", std::string(5 << 20, 'b')}, {"d/c", "3"}};
  const auto prepare = [&] {
    fs::remove_all(At("s"));
    fs::remove_all(other / "t");
    for (const auto& [name, content] : tree) WriteFile(At("s") / name, content);
    fs::create_hard_link(At("s/a"), At("s/d/second"));
  };
  Contents all = tree;
  all["d/second"] = "1";
  // As a whole.
  StopAtEveryCall(
      prepare,
      [&](Call* call) {
        return CFileManipulator::MoveFileTo(File(At("s")), File(other / "t"), &call->report,
                                            call->progress) != FALSE;
      },
      [&](bool is_done) {
        EXPECT_EQ(FilesIn(At("s")), is_done ? Contents{} : all);
        EXPECT_EQ(FilesIn(other), [&] {
          Contents moved;
          if (is_done) {
            for (const auto& [name, content] : all) moved["t/" + name] = content;
          }
          return moved;
        }());
      });
  // File by file.
  StopAtEveryCall(
      prepare,
      [&](Call* call) {
        return CDirectoryManipulator::RecursivelyCopyDirectory(Folder(At("s")), Folder(other / "t"),
                                                               TRUE, &call->report,
                                                               call->progress) == S_OK;
      },
      [&](bool) {
        Contents both = FilesIn(At("s"));
        const std::size_t left = both.size();
        const Contents moved = FilesIn(other / "t");
        both.insert(moved.begin(), moved.end());
        EXPECT_EQ(both, all);
        EXPECT_EQ(left + moved.size(), all.size());
      });
}

// The volume can have no trash, and a copy to that of the home is stopped.
TEST_F(ProgressTest, NothingIsDeletedInsteadOfThrownAway) {
  const bool tested = OnAVolume(At("volume"), "tmpfs", "size=9m", [this] {
    WriteFile(At("volume") / (".Trash-" + std::to_string(getuid())), "no folder");
    const Contents tree = {{"a", "1"}, {"b", std::string(5 << 20, 'b')}};
    StopAtEveryCall(
        [&] {
          for (const auto& [name, content] : tree) WriteFile(At("volume/s") / name, content);
        },
        [this](Call* call) {
          return CFileManipulator::DeleteFile(File(At("volume/s")), FALSE, TRUE, &call->report,
                                              call->progress) != FALSE;
        },
        [&](bool is_done) {
          EXPECT_EQ(FilesIn(At("volume/s")), is_done ? Contents{} : tree);
          EXPECT_EQ(FilesIn(env_.home() / ".local/share/Trash/files").empty(), !is_done);
        });
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

TEST_F(ProgressTest, ARemovalThatIsStoppedGivesFoldersTheirModeBack) {
  const auto prepare = [this] {
    if (fs::exists(At("t/closed"))) fs::permissions(At("t/closed"), fs::perms::owner_all);
    fs::remove_all(At("t"));
    MakeTree(At("t"), {"a", "b", "closed/c", "closed/sub/d", "closed/e", "z/"});
    fs::permissions(At("t/closed"), fs::perms(0500));
  };
  prepare();
  const WithoutRootRights without(env_.folder());
  const Contents tree = FilesIn(At("t"));
  const std::function<bool(Call*)> removals[] = {
      [this](Call* call) {
        return CDirectoryManipulator::RemoveDirectoryAndContents(Folder(At("t")), &call->report,
                                                                 call->progress) != FALSE;
      },
      [this](Call* call) {
        return CFileManipulator::DeleteFile(File(At("t")), FALSE, FALSE, &call->report,
                                            call->progress) != FALSE;
      }};
  for (const auto& removal : removals) {
    StopAtEveryCall(prepare, removal, [&](bool is_done) {
      EXPECT_TRUE(IsPartOf(FilesIn(At("t")), tree));
      EXPECT_EQ(Exists(At("t")), !is_done);
      if (Exists(At("t/closed"))) {
        EXPECT_EQ(ModeOf(At("t/closed")), 0500u);
      }
    });
  }
  StopAtEveryCall(
      prepare,
      [this](Call* call) {
        return CDirectoryManipulator::RemoveFilesFromDirectory(Folder(At("t")), u"?", &call->report,
                                                               call->progress) != FALSE;
      },
      [&](bool is_done) {
        EXPECT_EQ(Exists(At("t/a")) || Exists(At("t/b")), !is_done);
        EXPECT_TRUE(Exists(At("t/z")));
      });
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
                    EXPECT_EQ(NamesIn(top_), (std::vector<std::string>{"s", "t"}));
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

TEST_F(ProgressTest, AListingThatIsStoppedGivesWhatItFound) {
  MakeTree(top_, {"a/b/c/", "d/e/"});
  CAtlArray<COrvikDirectoryPath> found;
  StopAtEveryCall([&found] { found.RemoveAll(); },
                  [&](Call* call) {
                    Folder(top_).ListSubDirectories(u"*", found, TRUE, &call->report,
                                                    call->progress);
                    return call->report.failures.empty();
                  },
                  [&](bool is_done) { EXPECT_TRUE(found.GetCount() == 5 || !is_done); }, 2);
}

TEST_F(ProgressTest, ASearchForFilesThatIsStoppedGivesWhatItFound) {
  MakeTree(top_, {"a=", "b=", "c/", "d="});
  for (int stop_at = 1; stop_at <= 5; ++stop_at) {
    int calls = 0;
    Progress progress([&](const ProgressState&) {
      return ++calls == stop_at ? ProgressAnswer::kStop : ProgressAnswer::kGoOn;
    });
    CAtlArray<COrvikFilePath> found;
    EXPECT_NE(Folder(top_).FindFilesInDirectory(u"*", found, &progress), 0);
    EXPECT_EQ(calls, stop_at);
    EXPECT_LE(found.GetCount(), stop_at - 1);
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
