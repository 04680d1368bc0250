#include "prefs/shared_lock.h"

#include <signal.h>
#include <sys/time.h>

#include <chrono>

#include "host/proc.h"
#include "plist/file.h"
#include "prefs/key_walk.h"
#include "prefs/lock_record.h"
#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

const char kLockDomain[] = "com.example.Store.lock";

class SharedLockTest : public StoreTest {
 protected:
  fs::path RecordFile() const { return UserFile(kLockDomain); }

  // Ten waits of a second each, which take no time here; fewer if the tries between them took the
  // ten seconds on a slow disk.
  bool WaitedForOneLimit() const { return waits_ == 10 || (waits_ < 10 && IsSlow()); }
  bool IsSlow() const {
    return std::chrono::steady_clock::now() - begin_ > std::chrono::seconds(10);
  }
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();

  std::string OwnName() {
    EXPECT_TRUE(LockGlobalSharedPList(u"com.example.name"));
    const std::string name = Utf8(CopySharedLockRecord(u"com.example.name").process);
    UnlockGlobalSharedPList(u"com.example.name");
    return name;
  }

  void Record(const std::string& lock, const std::string& process, const std::string& pid) {
    WritePlist(RecordFile(), "{\"lock\":" + lock + ",\"process\":" + process +
                                 (pid.empty() ? "" : ",\"pid\":" + pid) + "}");
  }
};

TEST_F(SharedLockTest, TakeAndReleaseLeaveTheRecord) {
  EXPECT_FALSE(IsGlobalSharedPListLocked(kDomain));
  EXPECT_FALSE(fs::exists(RecordFile()));
  ASSERT_TRUE(LockGlobalSharedPList(kDomain));
  EXPECT_TRUE(IsGlobalSharedPListLocked(kDomain));
  const SharedLockRecord record = CopySharedLockRecord(kDomain);
  EXPECT_EQ(record.state, SharedLockRecord::State::kHeld);
  EXPECT_EQ(record.pid, getpid());
  EXPECT_EQ(record.file, RecordFile());
  EXPECT_NE(record.since, 0);
  EXPECT_EQ(OnDisk(RecordFile()), "{\"lock\":1,\"pid\":" + std::to_string(getpid()) +
                                      ",\"process\":\"" + Utf8(record.process) + "\"}");
  EXPECT_FALSE(ReleaseStaleSharedLock(kDomain));
  EXPECT_FALSE(IsGlobalSharedPListLocked(u"com.example.Other"));
  UnlockGlobalSharedPList(kDomain);
  EXPECT_EQ(OnDisk(RecordFile()), R"({"lock":0,"process":""})");
  EXPECT_EQ(waits_, 0);
}

TEST_F(SharedLockTest, AHolderIsWaitedForTenTimes) {
  ASSERT_TRUE(LockGlobalSharedPList(kDomain));
  const std::string before = ReadFile(RecordFile());
  EXPECT_FALSE(LockGlobalSharedPList(kDomain));
  EXPECT_TRUE(WaitedForOneLimit()) << waits_;
  EXPECT_EQ(WritePreferenceString(2, u"K", u"n", u"v", kDomain), kPreferenceLockNotObtained);
  EXPECT_EQ(DeletePreference(0, u"K", u"n", kDomain), kPreferenceLockNotObtained);
  EXPECT_EQ(RecursivePreferenceDelete(3, u"K", kDomain), kPreferenceLockNotObtained);
  EXPECT_EQ(ReadFile(RecordFile()), before);
  EXPECT_FALSE(fs::exists(SharedFile()));
  // Released during the last wait but one.
  int left = 9;
  ExchangeSharedLockWait([&] {
    if (--left == 0) UnlockGlobalSharedPList(kDomain);
  });
  EXPECT_TRUE(LockGlobalSharedPList(kDomain) || IsSlow());
  UnlockGlobalSharedPList(kDomain);
}

TEST_F(SharedLockTest, ALimitHoldsForAllThatComesUnderIt) {
  ASSERT_TRUE(LockGlobalSharedPList(kDomain));
  EXPECT_LE(LockTries({}).Left(), std::chrono::seconds(10));
  const SharedLockTimeLimit limit;
  for (int write = 0; write < 3; ++write) {
    EXPECT_EQ(WritePreferenceInt(0, u"K", u"n", write, kDomain), kPreferenceLockNotObtained);
  }
  EXPECT_TRUE(WaitedForOneLimit());
  UnlockGlobalSharedPList(kDomain);
  EXPECT_EQ(WritePreferenceInt(0, u"K", u"n", 1, kDomain), 0u);
  {
    const SharedLockTimeLimit inner;
    EXPECT_LT(LockTries({}).Left(), std::chrono::seconds(10));
  }
  EXPECT_LT(LockTries({}).Left(), std::chrono::seconds(10));
}

TEST_F(SharedLockTest, AnOldRecordIsReleasedAndAHeldOneIsNot) {
  Record("1", R"("gone")", std::to_string(getpid()));
  EXPECT_EQ(CopySharedLockRecord(kDomain).state, SharedLockRecord::State::kStale);
  EXPECT_TRUE(ReleaseStaleSharedLock(kDomain));
  EXPECT_EQ(OnDisk(RecordFile()), R"({"lock":0,"process":""})");
  EXPECT_TRUE(ReleaseStaleSharedLock(kDomain));
  EXPECT_EQ(CopySharedLockRecord(u"../x").state, SharedLockRecord::State::kFree);
  EXPECT_EQ(CopySharedLockRecord(u"../x").file, "");
  EXPECT_EQ(CopySharedLockRecord(u"com.example.none").since, 0);
}

// The fuzz target lock_record covers every form of the values.
TEST_F(SharedLockTest, RecordsOfOtherProcesses) {
  const std::string own = "\"" + OwnName() + "\"";
  OtherProcess running, zombie, gone;
  const std::string live = std::to_string(running.pid());
  const std::string ended = std::to_string(gone.pid());
  zombie.Kill();
  gone.End();
  const std::tuple<const char*, std::string, std::string, bool> kCases[] = {
      {"a running process", own, live, true},
      {"an ended process", own, ended, false},
      {"a zombie", own, std::to_string(zombie.pid()), false},
      {"an id that was used again", "\"some other program\"", live, false},
      {"a name with more before it", "\"X" + own.substr(1), live, false}};
  for (const auto& [title, process, pid, held] : kCases) {
    SCOPED_TRACE(title);
    Record("1", process, pid);
    EXPECT_EQ(IsGlobalSharedPListLocked(kDomain), held);
    waits_ = 0;
    EXPECT_EQ(LockGlobalSharedPList(kDomain), !held);
    EXPECT_TRUE(held ? WaitedForOneLimit() : waits_ == 0) << waits_;
    EXPECT_TRUE(held || CopySharedLockRecord(kDomain).pid == getpid());
  }
}

// Objects that another user may put in place of the record, beside "victim", a record that is held.
TEST_F(SharedLockTest, RefusesARecordOfOthersAndLeavesItAlone) {
  constexpr uid_t kStranger = 30002;
  const fs::path folder = RecordFile().parent_path();
  for (const std::string entry : {"->victim", "->none/x", "->com.example.Store.lock.plist", "|",
                                  "/", "second name", "!->victim", "!=<plist><dict/></plist>"}) {
    const bool is_strangers = entry[0] == '!';
    if (is_strangers && geteuid() != 0) continue;
    SCOPED_TRACE(entry);
    fs::remove_all(env_.home());
    fs::remove(SharedFile());
    WritePlist(folder / "victim", R"({"lock":1,"process":"x","pid":1})");
    if (entry == "second name") {
      fs::create_hard_link(folder / "victim", RecordFile());
    } else {
      MakeTree(folder, {RecordFile().filename().string() + entry.substr(is_strangers ? 1 : 0)});
    }
    EXPECT_TRUE(!is_strangers || lchown(RecordFile().c_str(), kStranger, kStranger) == 0);
    const auto before = TreeIn(folder);
    EXPECT_EQ(WritePreferenceString(0, u"K", u"n", u"v", kDomain), 0u);
    EXPECT_FALSE(IsGlobalSharedPListLocked(kDomain));
    EXPECT_TRUE(LockGlobalSharedPList(kDomain));
    EXPECT_FALSE(ReleaseStaleSharedLock(kDomain));
    UnlockGlobalSharedPList(kDomain);
    const SharedLockRecord record = CopySharedLockRecord(kDomain);
    EXPECT_EQ(record.state, SharedLockRecord::State::kRefused);
    EXPECT_EQ(record.file, RecordFile());
    Transaction change(kSharedScope, kDomain);
    change.Delete(u"K", u"n");
    const PrefStatus status = change.Commit();
    EXPECT_EQ(status.error, PrefError::kLockRefused);
    EXPECT_EQ(status.path, RecordFile());
    EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
    auto now = TreeIn(folder);
    std::erase_if(now, [](const auto& each) { return each.starts_with(".orvik.lock"); });
    EXPECT_EQ(now, before);
    EXPECT_EQ(waits_, 0);
  }
}

// A lock file in the record's folder, or in the shared one, that is refused.
TEST_F(SharedLockTest, TheWayToTheRecordIsExamined) {
  Transaction change(kSharedScope, kDomain);
  change.Set(u"K", u"n", 1);
  for (const fs::path& folder : {RecordFile().parent_path(), SharedFile().parent_path()}) {
    fs::create_directories(folder);
    fs::remove(folder / ".orvik.lock");
    fs::create_symlink("elsewhere", folder / ".orvik.lock");
    const PrefStatus status = change.Commit();
    EXPECT_EQ(status.error, PrefError::kLockRefused);
    EXPECT_EQ(status.path, folder / ".orvik.lock");
    EXPECT_EQ(WritePreferenceString(0, u"K", u"n", u"v", kDomain), 0u);
    EXPECT_FALSE(fs::exists(RecordFile()));
  }
  // Saving fails without the lock, but existing values are found.
  EXPECT_EQ(DeletePreference(0, u"none", u"n", kDomain), kPreferenceNotFound);
  EXPECT_EQ(DeletePreference(0, u"K", u"n", kDomain), 0u);
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
}

// The only process of a container finds the record of its predecessor in the same way.
TEST_F(SharedLockTest, ARecordFromBeforeItsProcessWasStartedIsFree) {
  OtherProcess running;
  const std::string live = std::to_string(running.pid());
  Record("1", "\"" + OwnName() + "\"", live);
  EXPECT_TRUE(IsGlobalSharedPListLocked(kDomain));
  // File times lag behind, and may be whole seconds.
  const std::int64_t start = *host::StartTime(running.pid()), kMillisecond = 1'000'000;
  const std::int64_t whole = start / 1'000'000'000 * 1'000'000'000;
  for (const auto& [time, is_held] : {std::pair(start - 30 * kMillisecond + 1, true),
                                      {whole - 1000 * kMillisecond, true},
                                      {whole - 2000 * kMillisecond, false},
                                      {(start - 55 * kMillisecond) | 1, false}}) {
    const timespec changed = {time / 1'000'000'000, static_cast<long>(time % 1'000'000'000)};
    const timespec times[2] = {changed, changed};
    utimensat(AT_FDCWD, RecordFile().c_str(), times, 0);
    EXPECT_EQ(IsGlobalSharedPListLocked(kDomain), is_held) << start - time;
  }
  EXPECT_EQ(CopySharedLockRecord(kDomain).state, SharedLockRecord::State::kStale);
  EXPECT_TRUE(LockGlobalSharedPList(kDomain));
  EXPECT_EQ(waits_, 0);
}

TEST_F(SharedLockTest, AReleaseNeedsNoRoom) {
  ASSERT_TRUE(LockGlobalSharedPList(kDomain));
  {
    const FileSizeLimit nothing_fits(0);
    UnlockGlobalSharedPList(kDomain);
  }
  EXPECT_FALSE(IsGlobalSharedPListLocked(kDomain));
  EXPECT_TRUE(LockGlobalSharedPList(kDomain));
}

// A writer of another user, and a writer that was stopped before it had a record.
TEST_F(SharedLockTest, AHolderOfAKernelLockIsShown) {
  const std::string name = OwnName();
  for (const fs::path& path : {SharedFile(), UserFile("com.example.Any")}) {
    SCOPED_TRACE(path);
    plist::File file(path);
    OtherProcess writer([&] { EXPECT_EQ(file.Lock(plist::File::Folder::kMake), 0); });
    kill(writer.pid(), SIGSTOP);
    const SharedLockRecord shown = CopySharedLockRecord(kDomain);
    EXPECT_EQ(shown.state, SharedLockRecord::State::kHeld);
    EXPECT_EQ(shown.pid, writer.pid());
    EXPECT_EQ(Utf8(shown.process), name);
    EXPECT_EQ(shown.file, path.parent_path() / ".orvik.lock");
    Transaction change(kSharedScope, kDomain);
    change.Set(u"K", u"n", 1);
    change.WaitAtMost(std::chrono::milliseconds(300));
    EXPECT_EQ(change.Commit().error, PrefError::kLockNotObtained);
    writer.End();
    EXPECT_EQ(CopySharedLockRecord(kDomain).state, SharedLockRecord::State::kFree);
  }
}

TEST_F(SharedLockTest, ASignalDoesNotShortenTheWait) {
  ExchangeSharedLockWait({});
  const auto old = signal(SIGALRM, [](int) {});
  const itimerval often = {{0, 50'000}, {0, 50'000}}, never = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  const auto start = std::chrono::steady_clock::now();
  WaitForSharedLock();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, old);
}

// Many processes try at the same time, and one dies while it holds the lock.
TEST_F(SharedLockTest, NeverTwoHolders) {
  const fs::path inside = env_.folder() / "inside";
  const std::vector<int> statuses = InProcesses(8, [&](int number) {
    ExchangeSharedLockWait([] { usleep(3000); });
    for (int round = 0; round < 10; ++round) {
      while (!LockGlobalSharedPList(kDomain)) {
      }
      const int file = open(inside.c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      if (file < 0) return 1;  // another process holds the lock
      close(file);
      usleep(500);
      unlink(inside.c_str());
      if (number == 0 && round == 5) raise(SIGKILL);
      UnlockGlobalSharedPList(kDomain);
    }
    return 0;
  });
  EXPECT_EQ(statuses, (std::vector<int>{128 + SIGKILL, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace orvik::test
