#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "files/directory_manipulator.h"
#include "files/windows_files.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

class WindowsCopyTest : public EnvironmentTest {
 protected:
  std::u16string Path(const fs::path& name) const { return (top_ / name).u16string(); }
  BOOL Copy(const fs::path& source, const fs::path& target, BOOL fail_if_exists = FALSE) {
    return CopyFile(Path(source).c_str(), Path(target).c_str(), fail_if_exists);
  }
};

TEST_F(WindowsCopyTest, CopiesContentAndCatalogInformation) {
  // Empty, one chunk, and sizes on and off the borders of blocks and buffers.
  for (const std::size_t size : {0, 1, 512, 65536, 65537, 262144, 1000003}) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7 + i / 251);
    WriteFile(top_ / "source", content);
    chmod((top_ / "source").c_str(), 0440);
    const timespec times[2] = {{1'000'000'000, 5}, {1'100'000'000, 123'456'789}};
    utimensat(AT_FDCWD, (top_ / "source").c_str(), times, 0);
    ASSERT_EQ(Copy("source", "target"), TRUE) << size;
    EXPECT_EQ(ReadFile(top_ / "target"), content) << size;
    EXPECT_EQ(ModeOf(top_ / "target"), 0440u);
    struct stat info {};
    stat((top_ / "target").c_str(), &info);
    EXPECT_EQ(info.st_mtim.tv_sec, 1'100'000'000);
    EXPECT_EQ(info.st_mtim.tv_nsec, 123'456'789);
    const FSCatalogInfo original = InfoOf(top_ / "source");
    const FSCatalogInfo copy = InfoOf(top_ / "target");
    EXPECT_EQ(copy.createDate.lowSeconds, original.createDate.lowSeconds);
    fs::remove(top_ / "source");
  }
}

TEST_F(WindowsCopyTest, TheCreationDateOfAnOldFileIsKept) {
  WriteFile(top_ / "source", "x");
  if (!HasUserAttributes(top_ / "source")) GTEST_SKIP() << "no user attributes here";
  // Modified long after it was born, which the copy is too.
  const timespec later[2] = {{4'000'000'000, 0}, {4'000'000'000, 0}};
  utimensat(AT_FDCWD, (top_ / "source").c_str(), later, 0);
  ASSERT_EQ(Copy("source", "target"), TRUE);
  EXPECT_EQ(InfoOf(top_ / "target").createDate.lowSeconds,
            InfoOf(top_ / "source").createDate.lowSeconds);
  EXPECT_EQ(InfoOf(top_ / "target").createDate.fraction,
            InfoOf(top_ / "source").createDate.fraction);
}

TEST_F(WindowsCopyTest, TargetsThatExist) {
  WriteFile(top_ / "source", "new");
  WriteFile(top_ / "target", "old, and longer");
  EXPECT_EQ(Copy("source", "target", TRUE), FALSE);
  EXPECT_EQ(ReadFile(top_ / "target"), "old, and longer");
  EXPECT_EQ(Copy("source", "target"), TRUE);
  EXPECT_EQ(ReadFile(top_ / "target"), "new");
  WriteFile(top_ / "folder/x", "kept");
  EXPECT_EQ(Copy("source", "folder"), FALSE);
  EXPECT_EQ(ReadFile(top_ / "folder/x"), "kept");
  // A link is replaced, not what it points to.
  fs::create_symlink("folder/x", top_ / "link");
  EXPECT_EQ(Copy("source", "link"), TRUE);
  EXPECT_EQ(ReadFile(top_ / "folder/x"), "kept");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(top_ / "link")));
}

TEST_F(WindowsCopyTest, AFileIsNeverCopiedOntoItself) {
  WriteFile(top_ / "d/source", "content");
  fs::create_directory_symlink("d", top_ / "link");
  for (const char* other : {"d/source", "d/../d/source", "d//source", "link/source"}) {
    EXPECT_EQ(Copy("d/source", other), FALSE) << other;
    EXPECT_EQ(ReadFile(top_ / "d/source"), "content") << other;
  }
  fs::create_symlink("source", top_ / "d/to_source");
  EXPECT_EQ(Copy("d/to_source", "d/source"), FALSE);
  EXPECT_EQ(ReadFile(top_ / "d/source"), "content");
  const std::u16string path = Path("d/source");
  EXPECT_EQ(CopyFile(path.c_str(), path.c_str(), FALSE), FALSE);
  EXPECT_EQ(CopyFile(nullptr, path.c_str(), FALSE), FALSE);
  EXPECT_EQ(CopyFile(path.c_str(), nullptr, FALSE), FALSE);
}

// Whatever the target's path looks like.
TEST_F(WindowsCopyTest, AFailedCopyLeavesTheTarget) {
  WriteFile(top_ / "source", std::string(200'000, 's'));
  for (const char* target : {"plain", "caf\xC3\xA9", "ends/"}) {
    const fs::path file = top_ / std::string(target).substr(0, std::string(target).find('/'));
    WriteFile(file, "old");
    {
      const FileSizeLimit limit(100'000);
      EXPECT_EQ(Copy("source", target), FALSE) << target;
    }
    {
      const WithoutRootRights without(env_.folder());
      chmod((top_ / "source").c_str(), 0);
      EXPECT_EQ(Copy("source", target), FALSE) << target;
      chmod((top_ / "source").c_str(), 0600);
    }
    EXPECT_EQ(ReadFile(file), "old") << target;
    EXPECT_EQ(Copy("source", target), TRUE) << target;
    EXPECT_EQ(fs::file_size(file), 200'000u) << target;
  }
}

TEST_F(WindowsCopyTest, OnlyFilesAndLinksAreCopied) {
  WriteFile(top_ / "target", "kept");
  fs::create_directory(top_ / "folder");
  mkfifo((top_ / "pipe").c_str(), 0600);
  for (const char* source : {"folder", "pipe", "none"}) {
    EXPECT_EQ(Copy(source, "target"), FALSE) << source;
    EXPECT_EQ(Copy(source, "new"), FALSE) << source;
    EXPECT_FALSE(fs::exists(top_ / "new")) << source;
  }
  EXPECT_EQ(ReadFile(top_ / "target"), "kept");
  EXPECT_EQ(Copy("target", "none/new"), FALSE);
  fs::create_symlink("some/text", top_ / "link");
  EXPECT_EQ(Copy("link", "copy"), TRUE);
  EXPECT_EQ(fs::read_symlink(top_ / "copy"), "some/text");
}

TEST_F(WindowsCopyTest, HolesStayHoles) {
  const std::string source = top_ / "source";
  const int file = open(source.c_str(), O_CREAT | O_RDWR, 0600);
  const std::string data(100000, 'd');
  ASSERT_EQ(pwrite(file, data.data(), data.size(), 30 << 20), 100000);
  ASSERT_EQ(ftruncate(file, 64 << 20), 0);
  close(file);
  ASSERT_EQ(Copy("source", "target"), TRUE);
  struct stat info {};
  stat((top_ / "target").c_str(), &info);
  EXPECT_EQ(info.st_size, 64 << 20);
  EXPECT_LT(info.st_blocks * 512, 4 << 20);
  EXPECT_EQ(RunCommand({"cmp", source, top_ / "target"}).status, 0);
}

TEST_F(WindowsCopyTest, AFailureOnTheWayLeavesNoTarget) {
  for (const std::size_t size : {200'000, 3'000'000}) {
    const std::string content(size, 'c');
    WriteFile(top_ / "source", content);
    {
      const FileSizeLimit limit(100'000);
      EXPECT_EQ(Copy("source", "target"), FALSE);
    }
    EXPECT_FALSE(fs::exists(top_ / "target"));
    EXPECT_EQ(ReadFile(top_ / "source"), content);
  }
}

// A volume that only the process sees which runs `body` there; false when there can be none.
bool OnAVolume(const fs::path& place, const char* type, const char* options,
               const std::function<void()>& body) {
  constexpr int kNoVolume = 77;
  fs::create_directory(place);
  const int status = InProcesses(1, [&](int) {
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("orvik-test", place.c_str(), type, 0, options) != 0) {
      return kNoVolume;
    }
    body();
    return testing::Test::HasFailure() ? 1 : 0;
  })[0];
  EXPECT_TRUE(status == 0 || status == kNoVolume) << status;
  return status != kNoVolume;
}

TEST_F(WindowsCopyTest, AFullVolumeGetsNoPartOfAFile) {
  WriteFile(top_ / "large", std::string(3 << 20, 'l'));
  WriteFile(top_ / "tree/small", std::string(200'000, 's'));
  const bool tested = OnAVolume(top_ / "volume", "tmpfs", "size=1m", [this] {
    EXPECT_EQ(Copy("large", "volume/large"), FALSE);
    EXPECT_TRUE(fs::is_empty(top_ / "volume"));
    WriteFile(top_ / "volume/old", "old");
    WriteFile(top_ / "volume/filling", std::string(1'000'000, 'f'));
    EXPECT_EQ(Copy("tree/small", "volume/small"), FALSE);
    EXPECT_EQ(Copy("tree/small", "volume/old"), FALSE);
    EXPECT_EQ(ReadFile(top_ / "volume/old"), "old");
    CDirectoryManipulator::RecursivelyCopyDirectory(
        COrvikDirectoryPath(CAtlString(Path("tree").c_str())),
        COrvikDirectoryPath(CAtlString(Path("volume/tree").c_str())), FALSE);
    EXPECT_TRUE(fs::is_empty(top_ / "volume/tree"));
    EXPECT_EQ(ReadFile(top_ / "volume/filling").size(), 1'000'000u);
    EXPECT_FALSE(fs::exists(top_ / "volume/small"));
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
  EXPECT_EQ(fs::file_size(top_ / "large"), 3u << 20);
  EXPECT_EQ(ReadFile(top_ / "tree/small"), std::string(200'000, 's'));
}

// ramfs knows no user attributes.
TEST_F(WindowsCopyTest, AttributesThatTheVolumeCannotKeepAreLeftOut) {
  WriteFile(top_ / "source", "content");
  if (!HasUserAttributes(top_ / "source")) GTEST_SKIP() << "no user attributes here";
  setxattr((top_ / "source").c_str(), "user.fork", "fork", 4, 0);
  const bool tested = OnAVolume(top_ / "volume", "ramfs", "", [this] {
    ASSERT_FALSE(HasUserAttributes(top_ / "volume"));
    EXPECT_EQ(Copy("source", "volume/copy"), TRUE);
    EXPECT_EQ(ReadFile(top_ / "volume/copy"), "content");
    EXPECT_EQ(MoveFile(Path("source").c_str(), Path("volume/moved").c_str()), TRUE);
    EXPECT_EQ(ReadFile(top_ / "volume/moved"), "content");
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

TEST_F(WindowsCopyTest, LongPathsAreTakenWhole) {
  const std::string deep = MakeDeepTree(top_.string(), 100, std::string(60, 'n'));
  const std::u16string leaf = fs::path(deep).u16string() + u"/leaf";
  WriteFile(top_ / "source", "content");
  EXPECT_EQ(CopyFile(Path("source").c_str(), leaf.c_str(), TRUE), FALSE);
  EXPECT_EQ(CopyFile(Path("source").c_str(), leaf.c_str(), FALSE), TRUE);
  EXPECT_EQ(CopyFile(leaf.c_str(), Path("back").c_str(), TRUE), TRUE);
  EXPECT_EQ(ReadFile(top_ / "back"), "content");
  EXPECT_EQ(Copy("source", std::string(256, 'n')), FALSE);
  EXPECT_FALSE(fs::exists(top_ / std::string(255, 'n')));
}

}  // namespace
}  // namespace orvik::test
