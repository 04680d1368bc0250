#include "streams/temp_file.h"

#include "tests/support/test_environment.h"

namespace orvik {
namespace {

class TempFileTest : public test::EnvironmentTest {};

TEST_F(TempFileTest, NeverOpensWhatStandsThere) {
  const std::filesystem::path victim = env_.folder() / "victim";
  test::WriteFile(victim, "content");
  const std::filesystem::path link = env_.temp() / "taken.x";
  std::filesystem::create_symlink(victim, link);
  COrvikFilePath path(CAtlString(link.u16string()));
  ASSERT_TRUE(CreateTempFile(path, u".x"));
  EXPECT_NE(std::filesystem::path(path.GetFilePathString().GetString()), link);
  EXPECT_TRUE(path.FileExists());
  EXPECT_EQ(test::ReadFile(victim), "content");
}

TEST_F(TempFileTest, FailsWithoutAFolder) {
  COrvikFilePath path(CAtlString((env_.folder() / "no" / "file").u16string()));
  EXPECT_FALSE(CreateTempFile(path, u".x"));
}

}  // namespace
}  // namespace orvik
