#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "files/windows_files.h"
#include "host/trash.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class WindowsMoveTest : public EnvironmentTest {
 protected:
  const ScopedVariable log_{"ORVIK_LOG_STDERR", "1"};

  BOOL Move(const fs::path& source, const fs::path& target) {
    return MoveFile((top_ / source).u16string().c_str(), (top_ / target).u16string().c_str());
  }
};

TEST_F(WindowsMoveTest, MovesFilesFoldersAndLinksAndMakesFolders) {
  WriteFile(top_ / "file", "content");
  WriteFile(top_ / "folder/inner", "x");
  fs::create_symlink("file", top_ / "link");
  EXPECT_EQ(Move("file", "a/b/c"), TRUE);
  EXPECT_EQ(ReadFile(top_ / "a/b/c"), "content");
  EXPECT_FALSE(fs::exists(top_ / "file"));
  EXPECT_EQ(Move("folder", "a/folder"), TRUE);
  EXPECT_EQ(ReadFile(top_ / "a/folder/inner"), "x");
  EXPECT_EQ(Move("link", "a/link"), TRUE);
  EXPECT_EQ(fs::read_symlink(top_ / "a/link"), "file");
  EXPECT_EQ(MoveFile(nullptr, u"/tmp/x"), FALSE);
}

TEST_F(WindowsMoveTest, FailuresAreLoggedAndLoseNothing) {
  WriteFile(top_ / "source", "source");
  WriteFile(top_ / "target", "target");
  testing::internal::CaptureStderr();
  EXPECT_EQ(Move("source", "target"), FALSE);
  EXPECT_EQ(Move("source", "target/below/x"), FALSE);
  EXPECT_EQ(Move("none", "new"), FALSE);
  const std::string log = testing::internal::GetCapturedStderr();
  const std::string source = top_ / "source", target = top_ / "target";
  EXPECT_TRUE(
      Contains(log, "Move File from " + source + " to " + target + " failed, error was - "));
  EXPECT_TRUE(Contains(log, "Creation of directory " + target + "/below failed, error was - "));
  EXPECT_EQ(ReadFile(top_ / "source"), "source");
  EXPECT_EQ(ReadFile(top_ / "target"), "target");
}

TEST_F(WindowsMoveTest, ALockedFileStays) {
  WriteFile(top_ / "locked", "x");
  if (!Lock(top_ / "locked")) GTEST_SKIP() << "no right to lock";
  EXPECT_EQ(Move("locked", "moved"), FALSE);
  EXPECT_TRUE(fs::exists(top_ / "locked"));
  EXPECT_EQ(DeleteFile((top_ / "locked").u16string().c_str()), TRUE);
}

TEST_F(WindowsMoveTest, ATrashGetsItsInfoFile) {
  std::string files;
  ASSERT_EQ(host::OpenHomeTrash(true, &files), 0);
  const fs::path info = fs::path(files).parent_path() / "info/x.trashinfo";
  WriteFile(top_ / "x", "1");
  EXPECT_EQ(Move("x", fs::path(files) / "x"), TRUE);
  EXPECT_TRUE(Contains(ReadFile(info), "Path=" + (top_ / "x").string() + "\n"));
  // The name is taken: neither the file nor its info is touched.
  WriteFile(top_ / "x", "2");
  const std::string before = ReadFile(info);
  EXPECT_EQ(Move("x", fs::path(files) / "x"), FALSE);
  EXPECT_EQ(ReadFile(info), before);
  EXPECT_EQ(ReadFile(top_ / "x"), "2");
  // A move that fails leaves no info file behind.
  EXPECT_EQ(Move("none", fs::path(files) / "none"), FALSE);
  EXPECT_FALSE(fs::exists(info.parent_path() / "none.trashinfo"));
}

}  // namespace
}  // namespace orvik::test
