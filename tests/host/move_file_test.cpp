#include "host/move_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/at_path.h"
#include "host/descriptor.h"
#include "host/tree_removal.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace host;

using MoveFileTest = EnvironmentTest;

// The road to another volume, taken on one.
TEST_F(MoveFileTest, CopiesATreeWithWhatItCarriesAndRemovesTheSource) {
  const fs::path from = env_.folder() / "tree", to = env_.folder() / "moved";
  WriteFile(from / "sub" / "file", "content");
  fs::permissions(from / "sub" / "file", fs::perms(0750));
  fs::last_write_time(from / "sub" / "file", fs::file_time_type());
  const auto time = fs::last_write_time(from / "sub" / "file");
  fs::create_symlink("nowhere", from / "link");
  mkfifo((from / "pipe").c_str(), 0600);
  fs::permissions(from / "sub", fs::perms(0711));
  fs::create_hard_link(from / "sub/file", from / "second name");
  ASSERT_EQ(CopyThenRemove(from, to), 0);
  EXPECT_FALSE(fs::exists(from));
  EXPECT_EQ(ReadFile(to / "sub" / "file"), "content");
  EXPECT_EQ(fs::status(to / "sub" / "file").permissions(), fs::perms(0750));
  EXPECT_EQ(fs::last_write_time(to / "sub" / "file"), time);
  EXPECT_EQ(fs::status(to / "sub").permissions(), fs::perms(0711));
  EXPECT_EQ(fs::read_symlink(to / "link"), "nowhere");
  EXPECT_TRUE(fs::is_fifo(to / "pipe"));
  EXPECT_TRUE(fs::equivalent(to / "second name", to / "sub" / "file"));
}

TEST_F(MoveFileTest, RemovesWhatKilledProcessesLeft) {
  const auto staged = [this](int n) { return env_.folder() / (".to.orvik-" + std::to_string(n)); };
  WriteFile(staged(0) / "sub" / "part", "abandoned");
  fs::permissions(staged(0) / "sub", fs::perms::none);
  WriteFile(staged(1), "abandoned");
  WriteFile(staged(2) / "part", "in use");
  const Descriptor in_use(open(staged(2).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(in_use.get(), LOCK_EX | LOCK_NB), 0);
  WriteFile(env_.folder() / "from" / "file", "content");
  ASSERT_EQ(CopyThenRemove(env_.folder() / "from", env_.folder() / "to"), 0);
  EXPECT_EQ(ReadFile(env_.folder() / "to" / "file"), "content");
  EXPECT_FALSE(fs::exists(staged(0)) || fs::exists(staged(1)));
  EXPECT_EQ(ReadFile(staged(2) / "part"), "in use");
}

// Far more levels than the process may open files.
TEST_F(MoveFileTest, DepthIsNotBounded) {
  char folder[] = "/dev/shm/orvik-test-XXXXXX";
  if (mkdtemp(folder) == nullptr) GTEST_SKIP() << "no memory file system";
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit few = before;
  few.rlim_cur = 64;
  setrlimit(RLIMIT_NOFILE, &few);
  const std::string deep = MakeDeepTree(folder, 1000, "deep");
  const fs::path here = env_.folder() / "moved";
  EXPECT_EQ(MoveWithoutReplacing(folder, here), 0);
  EXPECT_FALSE(fs::exists(folder));
  const std::string leaf = here.string() + deep.substr(sizeof folder - 1) + "/leaf";
  const AtPath at(leaf);
  struct stat info;
  EXPECT_EQ(fstatat(at.folder(), at.name(), &info, 0), 0);
  EXPECT_EQ(CopyThenRemove(here, folder), 0);
  EXPECT_FALSE(fs::exists(here));
  EXPECT_EQ(RemoveTree(AT_FDCWD, folder, Obstacles::kTakeAway), 0);
  EXPECT_FALSE(fs::exists(folder));
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(MoveFileTest, NeverReplacesAndKeepsTheSourceOfAFailure) {
  const fs::path from = env_.folder() / "from", to = env_.folder() / "to";
  WriteFile(from, "x");
  fs::create_symlink("dangling", to);
  EXPECT_EQ(CopyThenRemove(from, to), EEXIST);
  EXPECT_EQ(MoveWithoutReplacing(from, to), EEXIST);
  EXPECT_EQ(CopyThenRemove(from, env_.folder() / "none" / "to"), ENOENT);
  EXPECT_EQ(ReadFile(from), "x");
  fs::create_directory(env_.folder() / "folder");
  EXPECT_EQ(CopyThenRemove(env_.folder() / "folder", env_.folder() / "folder" / "in"), EINVAL);
  EXPECT_EQ(MoveWithoutReplacing(env_.folder() / "folder", env_.folder() / "folder" / "in"),
            EINVAL);
}

}  // namespace
}  // namespace orvik::test
