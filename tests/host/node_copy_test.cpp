#include "host/node_copy.h"

#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/move_file.h"
#include "host/paths.h"
#include "host/replace_file.h"
#include "host/tree_removal.h"
#include "tests/support/file_trees.h"
#include "tests/support/forbidden_call.h"
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
  Plant(top_, "source=new link->some/text target=old full/x pipe|");
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
    EXPECT_EQ(Copy(source, "full", kReplacing), EISDIR) << source;
  }
  EXPECT_EQ(Copy("full", "new"), EISDIR);
  chmod((top_ / "pipe").c_str(), 0640);
  EXPECT_EQ(Copy("pipe", "new"), EOPNOTSUPP);
  EXPECT_EQ(Copy("pipe", "new", {.special_files = true}), 0);
  EXPECT_EQ(ModeOf(top_ / "new"), 0640u);
  EXPECT_EQ(TreeText(top_), "full/ full/x=x link->some/text new| pipe| source=new target=new");
  if (Copy("/dev/null", "device", {.special_files = true}) == 0) {  // only root may make one
    EXPECT_EQ(StatOf(top_ / "device").st_rdev, StatOf("/dev/null").st_rdev);
  }
}

TEST_F(NodeCopyTest, NothingIsCopiedOntoItself) {
  // The link "l" leads to the target only from the target's folder.
  const Words tree = {"d/", "d/a=x", "d/chain->l", "d/l->a", "far->d/a", "l->a"};
  MakeTree(top_, tree);
  EXPECT_EQ(Copy("l", "d/a", kReplacing), EINVAL);
  EXPECT_EQ(TreeIn(top_), tree);
  fs::create_hard_link(top_ / "d/a", top_ / "hard");
  const std::pair<const char*, const char*> cases[] = {{"d/a", "hard"},    {"d/l", "d/a"},
                                                       {"d/chain", "d/l"}, {"d/chain", "d/a"},
                                                       {"far", "d/a"},     {"d/l", "d/l"}};
  for (const auto& [from, to] : cases) {
    EXPECT_EQ(Copy(from, to, kReplacing), EINVAL) << from << " " << to;
  }
  fs::remove(top_ / "hard");
  EXPECT_EQ(TreeIn(top_), tree);
}

TEST_F(NodeCopyTest, KeepsAttributesModeTimesAndLock) {
  Plant(top_, "source=data other link->nowhere");
  const std::string source = top_ / "source", target = top_ / "target", large(3000, 'v');
  const bool has_attributes = HasUserAttributes(source);
  setxattr(source.c_str(), "user.fork", large.data(), large.size(), 0);
  setxattr(source.c_str(), "user.empty", "", 0, 0);
  const timespec times[2] = {{1'000'000'000, 5}, {1'100'000'000, 123'456'789}};
  for (const char* name : {"source", "link"}) {
    utimensat(AT_FDCWD, At(name).c_str(), times, AT_SYMLINK_NOFOLLOW);
  }
  ASSERT_EQ(Copy("link", "copied link"), 0);
  EXPECT_EQ(StatOf(At("copied link")).st_mtim.tv_nsec, 123'456'789);
  chmod(source.c_str(), 0440);
  const bool is_locked = Lock(source);
  ASSERT_EQ(Copy("source", "target"), 0);
  EXPECT_EQ(ModeOf(target), 0440u);
  EXPECT_EQ(StatOf(target).st_mtim.tv_nsec, 123'456'789);
  EXPECT_EQ(StatOf(target).st_atim.tv_nsec, 5);
  char value[4000];
  for (const auto& [name, size] : {std::pair("user.fork", 3000), {"user.empty", 0}}) {
    EXPECT_TRUE(!has_attributes || getxattr(target.c_str(), name, value, sizeof value) == size);
  }
  EXPECT_EQ(IsLocked(target), is_locked);
  EXPECT_TRUE(!is_locked || Copy("other", "target", kReplacing) != 0);
  EXPECT_EQ(ReadFile(target), "data");
  EXPECT_EQ(EmptyFolder(top_, Obstacles::kOverride), 0);  // locked files stay otherwise
}

// The default is the earlier of birth and modification; a copy, which is born later, keeps the
// date.
TEST_F(NodeCopyTest, KeepsTheCreationDate) {
  WriteFile(top_ / "source", "x");
  if (!HasUserAttributes(top_ / "source")) GTEST_SKIP() << "no user attributes here";
  const auto date = [this](const char* name) {
    const Descriptor file(open((top_ / name).c_str(), O_RDONLY | O_CLOEXEC));
    struct statx info;
    EXPECT_EQ(StatAll(file.get(), "", AT_EMPTY_PATH, &info), 0);
    const timespec found = CreationDate(file.get(), info);
    return std::pair(found.tv_sec, found.tv_nsec);
  };
  const auto born = date("source");
  const std::time_t later = born.first + 1000, first = 1'000'000'000;
  for (const std::time_t modified : {later, first}) {
    const timespec times[2] = {{modified, 5}, {modified, 999'999'999}};
    utimensat(AT_FDCWD, (top_ / "source").c_str(), times, 0);
    const auto expected = modified == first ? std::pair(first, 999'999'999l) : born;
    EXPECT_EQ(date("source"), expected);
    for (const auto& [from, to] : {std::pair("source", "copy"), {"copy", "again"}}) {
      ASSERT_EQ(Copy(from, to, kReplacing), 0);
      EXPECT_EQ(date(to).first, expected.first) << to;
      EXPECT_NEAR(static_cast<double>(date(to).second), static_cast<double>(expected.second),
                  1e9 / 65536);
    }
    EXPECT_EQ(date("again"), date("copy"));
  }
  // A date of 1904, in a record of version 1 and in one of an unknown version.
  for (const char version : {'\1', '\2'}) {
    std::string record = {version, '\2'};
    record.resize(64, '\0');
    const std::string copy = At("copy");
    ASSERT_EQ(setxattr(copy.c_str(), "user.orvik.catalog", record.data(), record.size(), 0), 0);
    EXPECT_EQ(date("copy").first, version == '\1' ? -2'082'844'800 : first);
  }
}

TEST_F(NodeCopyTest, GoesOnWithoutCallsThatTheVolumeLacks) {
  const std::string source = top_ / "source", content(100'000, 'x');
  WriteFile(source, content);
  const bool has_attribute = setxattr(source.c_str(), "user.a", "v", 1, 0) == 0;
  const auto copy = [&](unsigned call, unsigned flags, int error) {
    fs::remove(top_ / "target");
    return InProcesses(1, [&](int) {
      ForbidCall(call, flags, Compare::kEqual, 0, static_cast<unsigned>(error));
      return Copy("source", "target");
    })[0];
  };
  for (const int error : {EXDEV, EINVAL, EOPNOTSUPP, ENOSYS, ETXTBSY, EPERM, EBADF, EIO}) {
    EXPECT_EQ(copy(SYS_copy_file_range, 5, error), 0) << error;
    EXPECT_TRUE(ReadFile(top_ / "target") == content) << error;
  }
  for (const int error : {ENOTSUP, EPERM, EACCES, ERANGE, E2BIG, EINVAL}) {
    EXPECT_EQ(copy(SYS_fsetxattr, 4, error), 0) << error;
  }
  EXPECT_EQ(copy(SYS_fsetxattr, 4, EIO), has_attribute ? EIO : 0);
}

// Files in /proc have the size 0.
TEST_F(NodeCopyTest, CopiesFilesOfUnknownSize) {
  const std::string version = "/proc/version";
  EXPECT_EQ(CopyNode(version, At("version"), {}), 0);
  EXPECT_EQ(ReadFile(At("version")), ReadFile(version));
  EXPECT_NE(ReadFile(version), "");
}

TEST_F(NodeCopyTest, HolesStayHoles) {
  const std::string source = top_ / "source";
  {
    const Descriptor file(open(source.c_str(), O_CREAT | O_RDWR, 0600));
    EXPECT_EQ(WriteAllAt(file.get(), std::string(100'000, 'd'), 30 << 20), 0);
    ASSERT_EQ(ftruncate(file.get(), 64 << 20), 0);
  }
  ASSERT_EQ(Copy("source", "target"), 0);
  EXPECT_LT(StatOf(top_ / "target").st_blocks * 512, 4 << 20);
  EXPECT_EQ(RunCommand({"cmp", source, top_ / "target"}).status, 0);
}

// The kernel removes the capabilities of a program that is written or changes its owner.
TEST_F(NodeCopyTest, CapabilitiesGoWithAMoveAndStayWithAReplacedFile) {
  static constexpr char kNetRaw[20] = {0, 0, 0, 2, 0, 0x20};  // version 2, CAP_NET_RAW permitted
  const fs::path source = top_ / "source";
  WriteFile(source, "program");
  if (chown(source.c_str(), 1234, 1234) != 0 ||
      setxattr(source.c_str(), "security.capability", kNetRaw, sizeof kNetRaw, 0) != 0) {
    GTEST_SKIP() << "no right to give capabilities";
  }
  const auto capabilities = [this](const char* name) {
    char value[sizeof kNetRaw] = {};
    const fs::path path = top_ / name;
    const ssize_t size = getxattr(path.c_str(), "security.capability", value, sizeof value);
    return size == sizeof value && std::memcmp(value, kNetRaw, sizeof value) == 0;
  };
  EXPECT_EQ(Copy("source", "copy"), 0);
  EXPECT_FALSE(capabilities("copy"));
  EXPECT_EQ(CopyThenRemove(source, top_ / "moved"), 0);
  EXPECT_TRUE(capabilities("moved"));
  EXPECT_EQ(ReplaceFile(top_ / "moved", "new").error, 0);
  EXPECT_TRUE(capabilities("moved"));
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

// Another process copies the same folder at the same time.
TEST_F(NodeCopyTest, InANewFolderTheEntryOfAnotherProcessIsReplaced) {
  Plant(top_,
        "from/file=ours from/link->ours from/folder to/file=theirs to/link->theirs to/folder/x");
  const Descriptor from(open((top_ / "from").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Descriptor to(open((top_ / "to").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  Side side = Side::kSource;
  for (const char* name : {"file", "link"}) {
    EXPECT_EQ(CopyIntoNewFolder(from.get(), name, 0, to.get(), &side, nullptr), 0) << name;
  }
  EXPECT_EQ(CopyIntoNewFolder(from.get(), "folder", 0, to.get(), &side, nullptr), EISDIR);
  EXPECT_EQ(side, Side::kTarget);
  EXPECT_EQ(TreeText(top_ / "to"), "file=ours folder/ folder/x=x link->ours");
}

TEST_F(NodeCopyTest, SaysWhichSideFailed) {
  Plant(top_, "file=content secret pipe| closed/");
  fs::permissions(top_ / "secret", fs::perms::none);
  fs::permissions(top_ / "closed", fs::perms(0555));
  const WithoutRootRights without(env_.folder());
  const std::tuple<const char*, const char*, int, Side> cases[] = {
      {"none", "x", ENOENT, Side::kSource},        {"pipe", "x", EOPNOTSUPP, Side::kSource},
      {"closed", "x", EISDIR, Side::kSource},      {"secret", "x", EACCES, Side::kSource},
      {"file", "closed/x", EACCES, Side::kTarget}, {"file", "none/x", ENOENT, Side::kTarget},
      {"file", "pipe", EEXIST, Side::kTarget}};
  for (const auto& [from, to, error, expected] : cases) {
    Side side = expected == Side::kSource ? Side::kTarget : Side::kSource;
    EXPECT_EQ(Copy(from, to, {.side = &side}), error) << from << to;
    EXPECT_EQ(side, expected) << from << to;
  }
}

using MoveFileTest = EnvironmentTest;

// A move to another volume, taken here on a single volume.
TEST_F(MoveFileTest, CopiesATreeWithItsPropertiesAndRemovesTheSource) {
  const fs::path from = top_ / "tree", to = top_ / "moved";
  const auto long_ago = fs::last_write_time(top_) - std::chrono::hours(9000);
  Plant(from, "sub/file=content link->nowhere pipe|");
  fs::permissions(from / "sub/file", fs::perms(0750));
  fs::permissions(from / "sub", fs::perms(0711));
  fs::permissions(from, fs::perms(0705));
  fs::last_write_time(from / "sub/file", long_ago);
  fs::create_hard_link(from / "sub/file", from / "second");
  fs::last_write_time(from / "sub", long_ago);
  ASSERT_EQ(CopyThenRemove(from, to), 0);
  EXPECT_EQ(TreeText(top_),
            "moved/ moved/link->nowhere moved/pipe| moved/second=content moved/sub/ "
            "moved/sub/file=content");
  EXPECT_EQ(ModeOf(to / "sub/file"), 0750u);
  EXPECT_EQ(fs::last_write_time(to / "sub/file"), long_ago);
  EXPECT_EQ(fs::last_write_time(to / "sub"), long_ago);
  EXPECT_EQ(ModeOf(to / "sub"), 0711u);
  EXPECT_EQ(ModeOf(to), 0705u);
  EXPECT_TRUE(fs::equivalent(to / "second", to / "sub/file"));
}

TEST_F(MoveFileTest, RemovesLeftoversOfKilledProcesses) {
  const std::string left = ".to.orvik-000000000000000";
  MakeTree(top_, {left + "0/sub/part", left + "1", left + "2/part", "from/file"});
  fs::permissions(top_ / (left + "0/sub"), fs::perms::none);
  const Descriptor in_use(open((top_ / (left + "2")).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(in_use.get(), LOCK_EX | LOCK_NB), 0);
  // The search for a free name ends even if every name seems taken.
  const int error = InProcesses(1, [this](int) {
    ForbidCall(SYS_mkdirat, 2, Compare::kAnyBit, 0700, EEXIST);
    return CopyThenRemove(top_ / "from", top_ / "to");
  })[0];
  EXPECT_EQ(error, EBUSY);
  ASSERT_EQ(CopyThenRemove(top_ / "from", top_ / "to"), 0);
  EXPECT_EQ(TreeIn(top_), (Words{left + "2/", left + "2/part=x", "to/", "to/file=x"}));
}

// A tree with far more levels than the process may have open files.
TEST_F(MoveFileTest, DepthIsNotBounded) {
  char folder[] = "/dev/shm/orvik-test-XXXXXX";
  if (mkdtemp(folder) == nullptr) GTEST_SKIP() << "no memory file system";
  const ResourceLimit few(RLIMIT_NOFILE, 64);
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
  EXPECT_EQ(RemoveTree(AT_FDCWD, folder, Obstacles::kOverride), 0);
  EXPECT_FALSE(fs::exists(folder));
}

// A source that cannot be removed stays beside its copy.
TEST_F(MoveFileTest, AFailureKeepsWhatIsThereAndSaysWhichSideItWas) {
  Plant(top_, "file closed/in taken->nowhere folder/");
  fs::permissions(top_ / "closed", fs::perms(0555));
  const WithoutRootRights without(env_.folder());
  const std::tuple<const char*, const char*, int, Side> cases[] = {
      {"none", "x", ENOENT, Side::kSource},          {"closed/in", "copy", EACCES, Side::kSource},
      {"file/x", "x", ENOTDIR, Side::kSource},       {"file", "none/x", ENOENT, Side::kTarget},
      {"file", "closed/x", EACCES, Side::kTarget},   {"file", "taken", EEXIST, Side::kTarget},
      {"folder", "folder/in", EINVAL, Side::kTarget}};
  using Move = int (*)(const std::string&, const std::string&, const MoveOptions&);
  for (const auto& [from, to, error, expected] : cases) {
    for (const Move move : std::initializer_list<Move>{MoveWithoutReplacing, CopyThenRemove}) {
      Side side = expected == Side::kSource ? Side::kTarget : Side::kSource;
      EXPECT_EQ(move(At(from), At(to), {.side = &side}), error) << from << to;
      EXPECT_EQ(side, expected) << from << to;
    }
  }
  EXPECT_EQ(TreeText(top_), "closed/ closed/in=x copy=x file=x folder/ taken->nowhere");
}

}  // namespace
}  // namespace orvik::test
