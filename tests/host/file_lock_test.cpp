#include "host/file_lock.h"

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
  std::optional<FileLock> lock;
  OtherProcess holder([&] { lock.emplace(FileLock::Take(path)); });
  EXPECT_EQ(FileLock::Take(path, 20).error(), EWOULDBLOCK);
  holder.End();
  EXPECT_TRUE(FileLock::Take(path, 0).held());
}

}  // namespace
}  // namespace orvik::test
