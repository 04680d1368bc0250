#include "host/node_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

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

}  // namespace
}  // namespace orvik::test
