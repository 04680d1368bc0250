#include "host/file_lock.h"

#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "host/descriptor.h"
#include "tests/support/file_trees.h"
#include "tests/support/forbidden_call.h"

namespace orvik::test {
namespace {

using namespace host;

class FolderLockTest : public EnvironmentTest {
 protected:
  static FolderLock Take(const fs::path& folder, int milliseconds) {
    const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat attributes;
    fstat(opened.get(), &attributes);
    FolderLock lock = FolderLock::Acquire(opened.get(), attributes, milliseconds);
    lock.KeepFile();
    return lock;
  }
  // Nothing when the lock is free or its holder is unknown.
  std::optional<LockHolder> Holder() const {
    std::optional<LockHolder> holder = LockHolder{};
    FindLockHolder(folder_, &holder);
    return holder;
  }
  static int ErrorElsewhere(const fs::path& folder) {
    int error = -1;
    std::thread([&] { error = Take(folder, 0).error(); }).join();
    return error;
  }

  const fs::path folder_ = top_;
};

TEST_F(FolderLockTest, IsExclusiveBetweenThreadsAndRecursiveInOne) {
  FolderLock outer = Take(folder_, 1000);
  FolderLock inner = Take(folder_, 0);
  EXPECT_TRUE(outer.held() && inner.held());
  FolderLock moved = std::move(outer);
  moved.Release();
  EXPECT_EQ(ErrorElsewhere(folder_), EWOULDBLOCK);
  inner.Release();
  EXPECT_EQ(ErrorElsewhere(folder_), 0);
}

TEST_F(FolderLockTest, EndsWithAKilledHolderWhichIsShown) {
  EXPECT_FALSE(Holder());
  std::optional<FolderLock> lock;
  OtherProcess holder([&] { lock.emplace(Take(folder_, 0)); });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Take(folder_, 200).error(), EWOULDBLOCK);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  const auto shown = Holder();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->pid, holder.pid());
  EXPECT_TRUE(shown->is_local);
  char host[256] = "";
  EXPECT_TRUE(gethostname(host, sizeof host - 1) != 0 || shown->host == host);
  holder.End();
  EXPECT_TRUE(Take(folder_, 0).held());
  EXPECT_FALSE(Holder());
}

TEST_F(FolderLockTest, AForkedChildNeitherHoldsTheLockNorKeepsItFromOthers) {
  FolderLock lock = Take(folder_, 0);
  EXPECT_EQ(InProcesses(1, [&](int) { return Take(folder_, 0).error(); })[0], EWOULDBLOCK);
  const OtherProcess child;
  EXPECT_EQ(ErrorElsewhere(folder_), EWOULDBLOCK);
  lock.Release();
  EXPECT_EQ(ErrorElsewhere(folder_), 0);
}

TEST_F(FolderLockTest, TheContentIsLockedForOneOpenFile) {
  WriteFile(folder_ / "file", "x");
  const auto open_file = [this] {
    return Descriptor(open((folder_ / "file").c_str(), O_RDWR | O_CLOEXEC));
  };
  Descriptor first = open_file();
  const Descriptor second = open_file();
  EXPECT_EQ(LockContent(first.get(), 0), 0);
  EXPECT_EQ(LockContent(second.get(), 20), EWOULDBLOCK);
  first = {};
  EXPECT_EQ(LockContent(second.get(), 0), 0);
}

TEST_F(FolderLockTest, RemovesALockFileThatIsNotKept) {
  const Descriptor opened(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat attributes;
  fstat(opened.get(), &attributes);
  const auto take = [&] { return FolderLock::Acquire(opened.get(), attributes, 0); };
  FolderLock outer = take();
  EXPECT_TRUE(take().held());
  EXPECT_EQ(NamesIn(folder_), Words{".orvik.lock"});
  outer.Release();
  EXPECT_EQ(NamesIn(folder_), Words{});
  outer = take();
  take().KeepFile();
  outer.Release();
  EXPECT_TRUE(take().held());
  EXPECT_EQ(NamesIn(folder_), Words{".orvik.lock"});
}

// Makes fcntl fail as on a volume without locks.
void ForbidLocks(unsigned error = ENOLCK) {
  ForbidCall(kFcntl, 1, Compare::kEqual, F_OFD_SETLK, error);
}

// A process that may only read the folder cannot hold up its writers.
TEST_F(FolderLockTest, FollowsTheRightToWriteTheFolder) {
  const Descriptor reader(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(reader.get(), LOCK_EX), 0);
  constexpr std::pair<mode_t, mode_t> kCases[] = {
      {0755, 0600}, {0775, 0660}, {0777, 0666}, {0700, 0600}};
  for (const auto& [folder_mode, file_mode] : kCases) {
    chmod(folder_.c_str(), folder_mode);
    EXPECT_TRUE(Take(folder_, 0).held());
    EXPECT_EQ(ModeOf(folder_ / ".orvik.lock"), file_mode);
    const int held_mode = InProcesses(1, [this, mode = file_mode](int) {
      ForbidLocks();
      const FolderLock lock = Take(folder_, 0);
      return ModeOf(folder_ / ".orvik.lock.held") == mode ? 0 : 1;
    })[0];
    EXPECT_EQ(held_mode, 0);
  }
}

constexpr uid_t kStranger = 30002;

// Entries that another user may put under the name of a lock file, old enough to be stale; among
// them an empty file with a second name ("h") and a file of an untrusted user ("s").
TEST_F(FolderLockTest, RefusesOtherFilesAndLeavesThemAlone) {
  chmod(folder_.c_str(), 0755);
  const std::string large = "=" + std::string(100'000, '\0');
  for (const std::string name : {".orvik.lock", ".orvik.lock.held"}) {
    for (const std::string& odd :
         Words{"->elsewhere", "|", "/", "=secret\n", "=12\n", large, "h", "s"}) {
      if (odd == "s" && geteuid() != 0) continue;
      SCOPED_TRACE(odd.substr(0, 20) + " as " + name);
      const fs::path file = folder_ / name;
      MakeTree(folder_, {name + (odd == "h" || odd == "s" ? "=" : odd)});
      if (odd == "h") fs::create_hard_link(file, folder_ / "other");
      ASSERT_TRUE(odd != "s" || chown(file.c_str(), kStranger, kStranger) == 0);
      const timespec old[2] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1, .tv_nsec = 0}};
      utimensat(AT_FDCWD, file.c_str(), old, AT_SYMLINK_NOFOLLOW);
      const std::string before = RecordOf(file);
      const int error = InProcesses(1, [&](int) {
        if (file.extension() == ".held") ForbidLocks();
        const FolderLock lock = Take(folder_, 0);
        return lock.obstacle() == name && !lock.held() ? lock.error() : 1;
      })[0];
      EXPECT_EQ(error, EINVAL);
      EXPECT_EQ(RecordOf(file), before);
      EXPECT_FALSE(fs::exists(folder_ / "elsewhere"));
      for (const auto& entry : fs::directory_iterator(folder_)) fs::remove_all(entry);
    }
  }
}

// A process that waited for a removed lock file then waits for the new one.
TEST_F(FolderLockTest, RemovingTheFileGivesNoSecondLock) {
  const auto hold = [this] {
    static FolderLock lock;
    lock = Take(folder_, 60'000);
    if (!lock.held()) _exit(1);
  };
  const auto wait_for = [](const auto& condition) {
    for (int i = 0; i < 2400 && !condition(); ++i) usleep(25'000);
    EXPECT_TRUE(condition());
  };
  OtherProcess first(hold);
  const pid_t waiter = fork();
  if (waiter == 0) {
    hold();
    WriteFile(folder_ / "held", "");
    for (;;) pause();
  }
  // A process that has opened the old file waits for it.
  wait_for([&] {
    const std::string files = "/proc/" + std::to_string(waiter) + "/fd";
    return RunCommand({"ls", "-l", files}).out.find("/.orvik.lock\n") != std::string::npos;
  });
  fs::remove(folder_ / ".orvik.lock");
  OtherProcess second(hold);
  first.End();
  usleep(200'000);
  EXPECT_FALSE(fs::exists(folder_ / "held"));
  second.End();
  wait_for([&] { return fs::exists(folder_ / "held"); });
  kill(waiter, SIGKILL);
  waitpid(waiter, nullptr, 0);
}

// In a user's folder, root neither writes nor gives away the user's files.
TEST_F(FolderLockTest, RootGivesAwayOnlyWhatItMade) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's folder";
  const fs::path file = folder_ / ".orvik.lock";
  ASSERT_EQ(chown(folder_.c_str(), kStranger, kStranger), 0);
  WriteFile(file, "root's secret\n");
  chmod(file.c_str(), 0600);
  const std::string secret = RecordOf(file);
  EXPECT_EQ(Take(folder_, 0).error(), EINVAL);
  EXPECT_EQ(RecordOf(file), secret);
  fs::remove(file);
  EXPECT_TRUE(Take(folder_, 0).held());
  EXPECT_EQ(StatOf(file).st_uid, kStranger);
  // A lock file of root is replaced by one of the folder's owner.
  ASSERT_EQ(chown(file.c_str(), 0, 0), 0);
  const struct stat roots = StatOf(file);
  const Descriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(Take(folder_, 0).held());
  EXPECT_EQ(StatOf(file).st_uid, kStranger);
  EXPECT_NE(StatOf(file).st_ino, roots.st_ino);
  struct stat old = {};
  fstat(opened.get(), &old);
  EXPECT_EQ(old.st_uid, 0u);
}

TEST_F(FolderLockTest, AcceptsWordsThatACrashHasCut) {
  const fs::path file = folder_ / ".orvik.lock";
  EXPECT_TRUE(Take(folder_, 0).held());
  const std::string own = ReadFile(file);
  const std::string older = "0000000001 00000000000000000002" + own.substr(own.find(' ', 11));
  std::vector<std::string> left = {std::string(40, '\0')};
  for (std::size_t part = 0; part < own.size(); ++part) {
    left.push_back(own.substr(0, part));
    left.push_back(own.substr(0, part) + older.substr(part));
  }
  for (const std::string& words : left) {
    WriteFile(file, words);
    EXPECT_TRUE(Take(folder_, 0).held()) << words;
    EXPECT_TRUE(ReadFile(file).starts_with(own)) << words;
  }
}

TEST_F(FolderLockTest, AnExclusiveFileTakesThePlaceOfLocksThatTheVolumeLacks) {
  const fs::path held = folder_ / ".orvik.lock.held";
  const std::string counter = folder_ / "counter";
  WriteFile(counter, "");
  constexpr unsigned kRefusals[] = {ENOLCK, EOPNOTSUPP, ENOSYS, EINVAL};
  const std::vector<int> errors = InProcesses(4, [&](int number) {
    ForbidLocks(kRefusals[number]);
    for (int round = 0; round < 20; ++round) {
      const FolderLock lock = Take(folder_, 10'000);
      if (!lock) return 1;
      const std::string content = ReadFile(counter);
      if (number == 0 && round == 10) _exit(0);  // leaves its file behind, which is then stale
      WriteFile(counter, content + "x");
    }
    return 0;
  });
  EXPECT_EQ(errors, (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(ReadFile(counter).size(), 70u);
  // The file of a holder on another machine is valid for ten minutes.
  WriteFile(held, "1 1 another.example\n");
  // Leftovers of processes that were killed while they removed a stale file, and similar files.
  EXPECT_TRUE(Take(folder_, 0).held());
  const std::string live = std::to_string(getpid()) + ReadFile(folder_ / ".orvik.lock").substr(10);
  Plant(folder_, ".orvik.lock.held.12=mine .orvik.lock.held.x=");
  WriteFile(folder_ / ".orvik.lock.held.13", live);
  WriteFile(folder_ / ".orvik.lock.held.14", "999999999" + live.substr(live.find(' ')));
  const auto foreign = [&] {
    return InProcesses(1, [&](int) {
      ForbidLocks();
      return Take(folder_, 0).error();
    })[0];
  };
  EXPECT_EQ(foreign(), EWOULDBLOCK);
  EXPECT_EQ(Holder()->host, "another.example");
  fs::last_write_time(held, fs::file_time_type::clock::now() - std::chrono::minutes(11));
  EXPECT_EQ(foreign(), EWOULDBLOCK);  // the first try finds the file stale and removes it
  EXPECT_EQ(foreign(), 0);
  EXPECT_EQ(NamesIn(folder_), (Words{".orvik.lock", ".orvik.lock.held.12", ".orvik.lock.held.13",
                                     ".orvik.lock.held.x", "counter"}));
}

}  // namespace
}  // namespace orvik::test
