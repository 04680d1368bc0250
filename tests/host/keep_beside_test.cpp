#include "host/keep_beside.h"

#include <sys/stat.h>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

class KeepBesideTest : public EnvironmentTest {
 protected:
  KeepBesideTest() { WriteFile(file_, "old"); }

  const std::string file_ = (env_.folder() / "file").string();
};

TEST_F(KeepBesideTest, AnUnreadFileKeepsItsNameUntilItIsSuperseded) {
  WriteFile(file_ + ".damaged", "another");
  fs::permissions(file_, fs::perms::none);
  const KeptFile kept = KeepUnreadBeside(file_);
  EXPECT_EQ(kept.error, 0);
  EXPECT_TRUE(kept.made);
  EXPECT_EQ(kept.path, file_ + ".damaged-2");
  EXPECT_TRUE(fs::equivalent(kept.path, file_));
  // As after a process that was killed here.
  const KeptFile again = KeepUnreadBeside(file_);
  EXPECT_EQ(again.path, kept.path);
  EXPECT_FALSE(again.made);

  ASSERT_EQ(SupersedeFile(file_, "new").error, 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms(0666 & ~mask));
  EXPECT_EQ(ReadFile(file_), "new");
  EXPECT_EQ(fs::status(kept.path).permissions(), fs::perms::none);
  PutBack(kept, file_);
  EXPECT_TRUE(fs::exists(kept.path));
}

TEST_F(KeepBesideTest, TakesBackWhatWasNotReplaced) {
  PutBack(KeepUnreadBeside(file_), file_);
  PutBack(KeepBeside(file_, "old", Flush::kNone), file_);
  EXPECT_FALSE(fs::exists(file_ + ".damaged"));
  EXPECT_EQ(ReadFile(file_), "old");
}

}  // namespace
}  // namespace orvik::test
