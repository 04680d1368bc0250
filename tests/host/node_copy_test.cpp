#include "host/node_copy.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "host/at_path.h"
#include "host/descriptor.h"
#include "host/move_file.h"
#include "host/tree_removal.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;

class NodeCopyTest : public EnvironmentTest {
 protected:
  int Copy(const fs::path& from, const fs::path& to, const NodeCopy& how = {}) {
    return CopyNode((top_ / from).string(), (top_ / to).string(), how);
  }
  static constexpr NodeCopy kReplacing{.existing = Existing::kReplace};
};

TEST_F(NodeCopyTest, ReplacesFilesLinksAndEmptyFoldersOnly) {
  WriteFile(top_ / "source", "new");
  fs::create_symlink("some/text", top_ / "link");
  WriteFile(top_ / "target", "old");
  EXPECT_EQ(Copy("source", "target"), EEXIST);
  EXPECT_EQ(Copy("link", "target"), EEXIST);
  EXPECT_EQ(ReadFile(top_ / "target"), "old");
  EXPECT_EQ(Copy("source", "target", kReplacing), 0);
  EXPECT_EQ(ReadFile(top_ / "target"), "new");
  EXPECT_EQ(Copy("link", "target", kReplacing), 0);
  EXPECT_EQ(fs::read_symlink(top_ / "target"), "some/text");
  EXPECT_EQ(Copy("source", "target", kReplacing), 0);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(top_ / "target")));
  for (const char* source : {"source", "link"}) {
    fs::create_directories(top_ / "empty");
    EXPECT_EQ(Copy(source, "empty", kReplacing), 0) << source;
    fs::remove(top_ / "empty");
    WriteFile(top_ / "full/x", "kept");
    EXPECT_EQ(Copy(source, "full", kReplacing), EISDIR) << source;
  }
  EXPECT_EQ(ReadFile(top_ / "full/x"), "kept");
  EXPECT_EQ(Copy("full", "new"), EISDIR);
  mkfifo((top_ / "pipe").c_str(), 0640);
  EXPECT_EQ(Copy("pipe", "new"), EOPNOTSUPP);
  EXPECT_EQ(Copy("pipe", "new", {.special_files = true}), 0);
  EXPECT_EQ(ModeOf(top_ / "new"), 0640u);
  EXPECT_EQ(NamesIn(top_),
            (std::vector<std::string>{"full", "link", "new", "pipe", "source", "target"}));
}

TEST_F(NodeCopyTest, NothingIsCopiedOntoItself) {
  WriteFile(top_ / "d/a", "content");
  fs::create_hard_link(top_ / "d/a", top_ / "hard");
  fs::create_symlink("a", top_ / "d/l");
  fs::create_symlink("l", top_ / "d/chain");
  fs::create_symlink("d/a", top_ / "far");
  const std::pair<const char*, const char*> cases[] = {{"d/a", "hard"},    {"d/l", "d/a"},
                                                       {"d/chain", "d/l"}, {"d/chain", "d/a"},
                                                       {"far", "d/a"},     {"d/l", "d/l"}};
  for (const auto& [from, to] : cases) {
    EXPECT_EQ(Copy(from, to, kReplacing), EINVAL) << from << " " << to;
  }
  // Text that leads to the target from the target's folder only.
  fs::create_symlink("a", top_ / "l");
  EXPECT_EQ(Copy("l", "d/a", kReplacing), EINVAL);
  EXPECT_EQ(ReadFile(top_ / "d/a"), "content");
  EXPECT_EQ(fs::read_symlink(top_ / "d/l"), "a");
}

TEST_F(NodeCopyTest, KeepsAttributesModeTimesAndLock) {
  WriteFile(top_ / "source", "data");
  const std::string source = top_ / "source", target = top_ / "target";
  const bool has_attributes = HasUserAttributes(source);
  const std::string large(3000, 'v');
  setxattr(source.c_str(), "user.fork", large.data(), large.size(), 0);
  setxattr(source.c_str(), "user.empty", "", 0, 0);
  const timespec times[2] = {{1'000'000'000, 5}, {1'100'000'000, 123'456'789}};
  utimensat(AT_FDCWD, source.c_str(), times, 0);
  chmod(source.c_str(), 0440);
  const bool is_locked = Lock(source);
  ASSERT_EQ(Copy("source", "target"), 0);
  EXPECT_EQ(ModeOf(target), 0440u);
  struct stat info {};
  stat(target.c_str(), &info);
  EXPECT_EQ(info.st_mtim.tv_nsec, 123'456'789);
  std::string value(large.size() + 1, '\0');
  if (has_attributes) {
    EXPECT_EQ(getxattr(target.c_str(), "user.fork", value.data(), value.size()), 3000);
    EXPECT_EQ(getxattr(target.c_str(), "user.empty", value.data(), value.size()), 0);
  }
  EXPECT_EQ(IsLocked(target), is_locked);
  if (!is_locked) return;
  WriteFile(top_ / "other", "other");
  EXPECT_NE(Copy("other", "target", kReplacing), 0);
  EXPECT_EQ(ReadFile(target), "data");
}

TEST_F(NodeCopyTest, BitsThatGiveRightsGoWithTheirOwnerOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's file";
  WriteFile(top_ / "source", "x");
  ASSERT_EQ(chown((top_ / "source").c_str(), 1234, 1234), 0);
  chmod((top_ / "source").c_str(), 06755);
  EXPECT_EQ(Copy("source", "copy"), 0);
  EXPECT_EQ(ModeOf(top_ / "copy"), 0755u);
  EXPECT_EQ(Copy("source", "moved", {.owner = Owner::kSource}), 0);
  EXPECT_EQ(ModeOf(top_ / "moved"), 06755u);
}

// What is there stays when the copy cannot be made whole.
TEST_F(NodeCopyTest, AFailureLeavesTheOldFile) {
  WriteFile(top_ / "large", std::string(300'000, 'l'));
  WriteFile(top_ / "secret", "x");
  chmod((top_ / "secret").c_str(), 0);
  WriteFile(top_ / "target", "old");
  {
    const FileSizeLimit limit(100'000);
    EXPECT_EQ(Copy("large", "target", kReplacing), EFBIG);
  }
  {
    const WithoutRootRights without(env_.folder());
    EXPECT_EQ(Copy("secret", "target", kReplacing), EACCES);
  }
  EXPECT_EQ(Copy("missing", "target", kReplacing), ENOENT);
  EXPECT_EQ(ReadFile(top_ / "target"), "old");
  EXPECT_EQ(NamesIn(top_), (std::vector<std::string>{"large", "secret", "target"}));
}

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
