#include "platform/host/file_lock.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

class FileLockTest : public EnvironmentTest {
 protected:
  int ErrorElsewhere(const std::string& path) {
    int error = -1;
    std::thread([&] { error = FileLock::Take(path, 0).error(); }).join();
    return error;
  }
};

TEST_F(FileLockTest, IsExclusiveBetweenThreadsAndRecursiveInOne) {
  for (const std::string& path :
       {env_.folder().string(), (env_.folder() / "made by the lock").string()}) {
    FileLock outer = FileLock::Take(path);
    FileLock inner = FileLock::Take(path, 0);
    EXPECT_TRUE(outer.held() && inner.held());
    FileLock moved = std::move(outer);
    moved.Release();
    EXPECT_EQ(ErrorElsewhere(path), EWOULDBLOCK);
    inner.Release();
    EXPECT_EQ(ErrorElsewhere(path), 0);
  }
  const FileLock none = FileLock::Take((env_.folder() / "none" / "file").string());
  EXPECT_FALSE(none.held());
  EXPECT_EQ(none.error(), ENOENT);
}

TEST_F(FileLockTest, EndsWithAKilledHolderAndWaitsNoLongerThanAsked) {
  const std::string path = env_.folder().string();
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    const FileLock lock = FileLock::Take(path);
    [[maybe_unused]] const ssize_t told = write(ready[1], "x", 1);
    for (;;) pause();
  }
  char byte;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_EQ(FileLock::Take(path, 20).error(), EWOULDBLOCK);
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  EXPECT_TRUE(FileLock::Take(path, 0).held());
  close(ready[0]);
  close(ready[1]);
}

}  // namespace
}  // namespace orvik::test
