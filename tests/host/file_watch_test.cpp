#include "host/file_watch.h"

#include <unistd.h>

#include "host/trust.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

class FileWatchTest : public EnvironmentTest {
 protected:
  // Events take a moment to arrive; none may be missed.
  static constexpr int kSoon = 10'000;

  // Whether a change is reported; waits until no other report comes for a moment.
  static bool Reports(FileWatch& watch) {
    const bool reported = watch.Wait(kSoon);
    while (watch.Wait(20)) {
    }
    return reported;
  }

  fs::path file_ = env_.folder() / "a" / "b" / "file";
};

TEST_F(FileWatchTest, FollowsAFileFromBeforeItsFoldersToAfterItsEnd) {
  FileWatch watch(file_);
  ASSERT_TRUE(watch.ok());
  EXPECT_FALSE(watch.Wait(0));

  WriteFile(file_, "one");
  EXPECT_TRUE(Reports(watch));
  WriteFile(file_, "two");
  EXPECT_TRUE(Reports(watch));
  WriteFile(env_.folder() / "a" / "b" / "other", "");
  EXPECT_FALSE(watch.Wait(20));
  fs::rename(env_.folder() / "a" / "b" / "other", file_);
  EXPECT_TRUE(Reports(watch));

  fs::remove_all(env_.folder() / "a");
  EXPECT_TRUE(Reports(watch));
  WriteFile(file_, "again");
  EXPECT_TRUE(Reports(watch));
  WriteFile(file_, "and again");
  EXPECT_TRUE(Reports(watch));
}

TEST_F(FileWatchTest, FollowsAFolderThatIsPutInAnothersPlace) {
  WriteFile(file_, "one");
  FileWatch watch(file_);
  fs::rename(env_.folder() / "a", env_.folder() / "elsewhere");
  WriteFile(file_, "two");
  EXPECT_TRUE(Reports(watch));
  WriteFile(file_, "three");
  EXPECT_TRUE(Reports(watch));
}

TEST_F(FileWatchTest, TellsWhetherAFileCouldBeReplaced) {
  EXPECT_EQ(ReplaceAccess(file_), 0);
  WriteFile(file_, "one");
  EXPECT_EQ(ReplaceAccess(file_), 0);
  EXPECT_EQ(ReplaceAccess(file_ / "below"), ENOTDIR);
  if (geteuid() != 0) {
    fs::permissions(file_.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(ReplaceAccess(file_), EACCES);
    EXPECT_EQ(ReplaceAccess(file_.parent_path() / "new"), EACCES);
  }
}

}  // namespace
}  // namespace orvik::test
