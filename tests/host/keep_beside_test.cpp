#include "host/keep_beside.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

class KeepBesideTest : public EnvironmentTest {
 protected:
  KeepBesideTest() { WriteFile(file_, "old"); }

  FilePlace Place() const { return FindPlace(file_, Links::kAny); }

  const std::string file_ = (env_.folder() / "file").string();
};

TEST_F(KeepBesideTest, AnUnreadFileKeepsItsNameUntilItIsSuperseded) {
  WriteFile(file_ + ".damaged", "another");
  fs::permissions(file_, fs::perms::none);
  const KeptFile kept = KeepUnreadBeside(Place());
  EXPECT_EQ(kept.error, 0);
  EXPECT_TRUE(kept.made);
  EXPECT_EQ(kept.path, file_ + ".damaged-2");
  EXPECT_TRUE(fs::equivalent(kept.path, file_));
  // As after a process that was killed here.
  const KeptFile again = KeepUnreadBeside(Place());
  EXPECT_EQ(again.path, kept.path);
  EXPECT_FALSE(again.made);

  ASSERT_EQ(SupersedeFile(Place(), "new").error, 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms(0666 & ~mask));
  EXPECT_EQ(ReadFile(file_), "new");
  EXPECT_EQ(fs::status(kept.path).permissions(), fs::perms::none);
  PutBack(kept, Place());
  EXPECT_TRUE(fs::exists(kept.path));
}

TEST_F(KeepBesideTest, TakesBackWhatWasNotReplaced) {
  PutBack(KeepUnreadBeside(Place()), Place());
  PutBack(KeepBeside(Place(), "old", Flush::kNone), Place());
  EXPECT_FALSE(fs::exists(file_ + ".damaged"));
  EXPECT_EQ(ReadFile(file_), "old");
}

// What others put under the names neither leads the copy elsewhere nor keeps it from being made.
TEST_F(KeepBesideTest, PlantedNamesAreNeitherFollowedNorInTheWay) {
  const fs::path target = env_.folder() / "target";
  fs::create_symlink(target, file_ + ".damaged");
  fs::create_directory(file_ + ".damaged-2");
  for (int number = 3; number <= 9; ++number) {
    WriteFile(file_ + ".damaged-" + std::to_string(number), "taken");
  }
  const KeptFile kept = KeepBeside(Place(), "old", Flush::kToDisk);
  EXPECT_EQ(kept.error, 0);
  EXPECT_TRUE(kept.made);
  EXPECT_FALSE(fs::exists(target));
  EXPECT_GT(kept.path.size(), (file_ + ".damaged-10").size());
  EXPECT_EQ(ReadFile(kept.path), "old");
}

}  // namespace
}  // namespace orvik::test
