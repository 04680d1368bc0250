#include "streams/temp_file.h"

#include "tests/files/support.h"

namespace orvik::test {
namespace {

using TempFileTest = EnvironmentTest;

TEST_F(TempFileTest, NeverOpensWhatStandsThere) {
  const fs::path victim = env_.folder() / "victim";
  WriteFile(victim, "content");
  const fs::path link = env_.temp() / "taken.x";
  fs::create_symlink(victim, link);
  COrvikFilePath path = File(link);
  ASSERT_TRUE(CreateTempFile(path, u".x"));
  EXPECT_NE(fs::path(path.GetFilePathString().GetString()), link);
  EXPECT_TRUE(path.FileExists());
  EXPECT_EQ(ReadFile(victim), "content");
}

TEST_F(TempFileTest, FailsWithoutAFolder) {
  COrvikFilePath path = File(env_.folder() / "no/file");
  EXPECT_FALSE(CreateTempFile(path, u".x"));
}

}  // namespace
}  // namespace orvik::test
