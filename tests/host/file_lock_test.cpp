#include "host/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "host/descriptor.h"
#include "tests/support/file_trees.h"
#include "tests/support/forbidden_call.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

class FolderLockTest : public EnvironmentTest {
 protected:
  static FolderLock Take(const fs::path& folder, int milliseconds) {
    const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat attributes;
    fstat(opened.get(), &attributes);
    return FolderLock::Take(opened.get(), attributes, milliseconds);
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
  EXPECT_FALSE(FindLockHolder(folder_));
  std::optional<FolderLock> lock;
  OtherProcess holder([&] { lock.emplace(Take(folder_, 0)); });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Take(folder_, 200).error(), EWOULDBLOCK);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  const auto shown = FindLockHolder(folder_);
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->pid, holder.pid());
  EXPECT_TRUE(shown->is_local);
  holder.End();
  EXPECT_TRUE(Take(folder_, 0).held());
  EXPECT_FALSE(FindLockHolder(folder_));
}

// Whoever may only read the folder can lock nothing that counts.
TEST_F(FolderLockTest, FollowsTheRightToWriteTheFolder) {
  const Descriptor reader(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(reader.get(), LOCK_EX), 0);
  constexpr std::pair<mode_t, mode_t> kCases[] = {
      {0755, 0600}, {0775, 0660}, {0777, 0666}, {0700, 0600}};
  for (const auto& [folder_mode, file_mode] : kCases) {
    chmod(folder_.c_str(), folder_mode);
    EXPECT_TRUE(Take(folder_, 0).held());
    EXPECT_EQ(ModeOf(folder_ / ".orvik.lock"), file_mode);
  }
}

TEST_F(FolderLockTest, RefusesWhatIsNoLockFile) {
  const fs::path file = folder_ / ".orvik.lock";
  fs::create_symlink(folder_ / "elsewhere", file);
  EXPECT_EQ(Take(folder_, 0).error(), EINVAL);
  EXPECT_FALSE(fs::exists(folder_ / "elsewhere"));
  fs::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(Take(folder_, 0).error(), EINVAL);
  fs::remove(file);
  fs::create_directory(file);
  EXPECT_FALSE(Take(folder_, 0).held());
}

// Makes the kernel answer as a volume without locks does.
void ForbidLocks() {
  ForbidCall(SYS_fcntl, 1, Compare::kEqual, F_OFD_SETLK, ENOLCK);
}

TEST_F(FolderLockTest, AnExclusiveFileTakesThePlaceOfLocksThatTheVolumeLacks) {
  const fs::path held = folder_ / ".orvik.lock.held";
  const std::string counter = folder_ / "counter";
  WriteFile(counter, "");
  const std::vector<int> errors = InProcesses(4, [&](int number) {
    ForbidLocks();
    for (int round = 0; round < 20; ++round) {
      const FolderLock lock = Take(folder_, 10'000);
      if (!lock) return 1;
      const std::string content = ReadFile(counter);
      if (number == 0 && round == 10) _exit(0);  // leaves its file behind, which is stale then
      WriteFile(counter, content + "x");
    }
    return 0;
  });
  EXPECT_EQ(errors, (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(ReadFile(counter).size(), 70u);
  // One of another machine counts for ten minutes.
  WriteFile(held, "1 1 another.example\n");
  const auto foreign = [&] {
    return InProcesses(1, [&](int) {
      ForbidLocks();
      return Take(folder_, 0).error();
    })[0];
  };
  EXPECT_EQ(foreign(), EWOULDBLOCK);
  EXPECT_EQ(FindLockHolder(folder_)->host, "another.example");
  fs::last_write_time(held, fs::file_time_type::clock::now() - std::chrono::minutes(11));
  EXPECT_EQ(foreign(), EWOULDBLOCK);  // the try that finds it stale removes it
  EXPECT_EQ(foreign(), 0);
  EXPECT_FALSE(fs::exists(held));
}

}  // namespace
}  // namespace orvik::test
