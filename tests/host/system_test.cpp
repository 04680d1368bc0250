#include "host/system.h"

#include <stdlib.h>

#include <cerrno>

#include "host/proc.h"
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

TEST(KernelTexts, FindAMountPoint) {
  const std::string table =
      "210 1 8:1 / / rw - ext4 /dev/a rw\n"
      "21 210 8:2 /a\\040b /mnt/a\\040b\\134\r\\011c rw shared:1 - ext4 /dev/b rw\n"
      "22 210";
  EXPECT_EQ(MountPointIn(table, 210), "/");
  EXPECT_EQ(MountPointIn(table, 21), "/mnt/a b\\\r\tc");
  EXPECT_EQ(MountPointIn(table, 22), "");
  EXPECT_EQ(MountPointIn(table, 2), "");
  const std::vector<Mount> mounts = MountsIn(table);
  ASSERT_EQ(mounts.size(), 2u);
  EXPECT_EQ(mounts[1].device, "8:2");
  EXPECT_EQ(mounts[1].root, "/a b");
}

TEST(KernelTexts, FindAStartTimeBehindAnyName) {
  const std::string numbers = " 1 77 77 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 4242 10 11\n";
  EXPECT_EQ(StartTimeIn("77 (sh) S" + numbers), 4242u);
  EXPECT_EQ(StartTimeIn("77 (a) Z 1 (\n) R" + numbers), 4242u);
  EXPECT_EQ(StartTimeIn("77 (sh) Z" + numbers), std::nullopt);
  EXPECT_EQ(StartTimeIn("77 (sh) S 1 77"), std::nullopt);
  EXPECT_EQ(StartTimeIn("77 (sh"), std::nullopt);
}

TEST(KernelTexts, FindAFieldOfAStatus) {
  EXPECT_EQ(StatusFieldIn("Name:\tTgid:\nTgid:\t77\nPid:\t78\n", "Tgid"), "77");
  EXPECT_EQ(StatusFieldIn("Name:\ta\nTgid 77\n", "Tgid"), "");
}

}  // namespace
}  // namespace orvik::test
