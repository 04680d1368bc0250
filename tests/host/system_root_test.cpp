#include "host/system_root.h"

#include <stdlib.h>

#include <cerrno>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

using SystemRootTest = EnvironmentTest;

TEST_F(SystemRootTest, MovesThePathsOfTheSystemVolume) {
  const std::string root = env_.system_root().string();
  setenv("ORVIK_SYSTEM_ROOT", (root + "//").c_str(), 1);
  EXPECT_EQ(SystemRoot(), root);
  EXPECT_EQ(SystemPath("/Users/Shared"), root + "/Users/Shared");
  EXPECT_EQ(ResolvePath("/Library/Receipts/x"), root + "/Library/Receipts/x");
  EXPECT_EQ(ResolvePath("/Users/Shared"), root + "/Users/Shared");
  for (const std::string& path : {std::string("/Librarys/x"), std::string("/tmp/Library"),
                                  std::string("Library/x"), root + "/Library/x"}) {
    EXPECT_EQ(ResolvePath(path), path);
  }
  setenv("ORVIK_SYSTEM_ROOT", "relative/", 1);
  EXPECT_EQ(SystemRoot(), (fs::current_path() / "relative").string());
  for (const char* value : {"", "/"}) {
    setenv("ORVIK_SYSTEM_ROOT", value, 1);
    EXPECT_EQ(SystemRoot(), "");
    EXPECT_EQ(ResolvePath("/Library/x"), "/Library/x");
  }
}

TEST_F(SystemRootTest, FindsHomeAndTemporaryFolder) {
  EXPECT_EQ(HomeFolder(), env_.home().string());
  EXPECT_EQ(TemporaryFolder(), env_.temp().string());
  unsetenv("HOME");
  unsetenv("TMPDIR");
  EXPECT_TRUE(HomeFolder().starts_with('/'));
  EXPECT_EQ(TemporaryFolder(), "/tmp");
}

TEST_F(SystemRootTest, MakesFoldersWithTheirParents) {
  const auto folder = env_.folder() / "a" / "b" / "c";
  EXPECT_EQ(MakeFolders(folder), 0);
  EXPECT_EQ(MakeFolders(folder), 0);
  EXPECT_TRUE(fs::is_directory(folder));
  WriteFile(folder / "file", "");
  EXPECT_EQ(MakeFolders(folder / "file"), ENOTDIR);
  EXPECT_EQ(MakeFolders(folder / "file" / "d"), ENOTDIR);
}

}  // namespace
}  // namespace orvik::test
