#include "platform/host/move_file.h"

#include <sys/stat.h>

#include <cerrno>

#include "tests/support/test_environment.h"

namespace orvik::host {
namespace {

namespace fs = std::filesystem;

using MoveFileTest = test::EnvironmentTest;

// The road to another volume, taken on one.
TEST_F(MoveFileTest, CopiesATreeWithWhatItCarriesAndRemovesTheSource) {
  const fs::path from = env_.folder() / "tree", to = env_.folder() / "moved";
  test::WriteFile(from / "sub" / "file", "content");
  fs::permissions(from / "sub" / "file", fs::perms(0750));
  fs::last_write_time(from / "sub" / "file", fs::file_time_type());
  const auto time = fs::last_write_time(from / "sub" / "file");
  fs::create_symlink("nowhere", from / "link");
  mkfifo((from / "pipe").c_str(), 0600);
  fs::permissions(from / "sub", fs::perms(0711));
  ASSERT_EQ(CopyThenRemove(from, to), 0);
  EXPECT_FALSE(fs::exists(from));
  EXPECT_EQ(test::ReadFile(to / "sub" / "file"), "content");
  EXPECT_EQ(fs::status(to / "sub" / "file").permissions(), fs::perms(0750));
  EXPECT_EQ(fs::last_write_time(to / "sub" / "file"), time);
  EXPECT_EQ(fs::status(to / "sub").permissions(), fs::perms(0711));
  EXPECT_EQ(fs::read_symlink(to / "link"), "nowhere");
  EXPECT_TRUE(fs::is_fifo(to / "pipe"));
}

TEST_F(MoveFileTest, NeverReplacesAndKeepsTheSourceOfAFailure) {
  const fs::path from = env_.folder() / "from", to = env_.folder() / "to";
  test::WriteFile(from, "x");
  fs::create_symlink("dangling", to);
  EXPECT_EQ(CopyThenRemove(from, to), EEXIST);
  EXPECT_EQ(MoveWithoutReplacing(from, to), EEXIST);
  EXPECT_EQ(CopyThenRemove(from, env_.folder() / "none" / "to"), ENOENT);
  EXPECT_EQ(test::ReadFile(from), "x");
  fs::create_directory(env_.folder() / "folder");
  EXPECT_EQ(MoveWithoutReplacing(env_.folder() / "folder", env_.folder() / "folder" / "in"),
            EINVAL);
}

}  // namespace
}  // namespace orvik::host
