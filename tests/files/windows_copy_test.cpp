// CopyFile of files/windows_files.h.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/windows_files.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/volumes.h"

namespace orvik::test {
namespace {

class WindowsCopyTest : public EnvironmentTest {
 protected:
  std::u16string Path(const fs::path& name) const { return At(name).u16string(); }
  BOOL Copy(const fs::path& source, const fs::path& target, BOOL fail_if_exists = FALSE) {
    return CopyFile(Path(source).c_str(), Path(target).c_str(), fail_if_exists);
  }
};

// Empty, one chunk, and sizes on and off the borders of blocks and buffers. Even sizes are modified
// before their birth, odd ones long after it.
TEST_F(WindowsCopyTest, CopiesContentAndDates) {
  WriteFile(At("probe"), "");
  const bool keeps_birth = HasUserAttributes(At("probe"));
  for (const std::size_t size : {0, 1, 512, 65536, 65537, 262144, 1000003}) {
    SCOPED_TRACE(size);
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7 + i / 251);
    WriteFile(At("source"), content);
    const bool is_late = size % 2 == 1;
    const timespec times[2] = {{1'000'000'000, 5}, {is_late ? 4'000'000'000 : 1'100'000'000, 5}};
    utimensat(AT_FDCWD, At("source").c_str(), times, 0);
    ASSERT_EQ(Copy("source", "target"), TRUE);
    EXPECT_EQ(ReadFile(At("target")), content);
    const FSCatalogInfo original = InfoOf(At("source")), copy = InfoOf(At("target"));
    EXPECT_EQ(copy.contentModDate.lowSeconds, original.contentModDate.lowSeconds);
    fs::remove(At("source"));
    if (is_late && !keeps_birth) continue;
    EXPECT_EQ(copy.createDate.lowSeconds, original.createDate.lowSeconds);
    EXPECT_EQ(copy.createDate.fraction, original.createDate.fraction);
  }
}

TEST_F(WindowsCopyTest, ReplacesFilesUnlessTheyAreToStay) {
  WriteFile(At("source"), "new");
  WriteFile(At("target"), "old, and longer");
  fs::create_directory(At("folder"));
  EXPECT_EQ(Copy("source", "target", TRUE), FALSE);
  for (const char* source : {"folder", "none", "target"}) {
    EXPECT_EQ(Copy(source, "target"), FALSE) << source;
  }
  EXPECT_EQ(CopyFile(nullptr, Path("target").c_str(), FALSE), FALSE);
  EXPECT_EQ(CopyFile(Path("source").c_str(), nullptr, FALSE), FALSE);
  EXPECT_EQ(ReadFile(At("target")), "old, and longer");
  for (const char* target : {"target", "ends/"}) EXPECT_EQ(Copy("source", target), TRUE);
  EXPECT_EQ(ReadFile(At("target")) + ReadFile(At("ends")), "newnew");
}

TEST_F(WindowsCopyTest, HolesStayHoles) {
  const std::string source = At("source");
  const int file = open(source.c_str(), O_CREAT | O_RDWR, 0600);
  const std::string data(100000, 'd');
  ASSERT_EQ(pwrite(file, data.data(), data.size(), 30 << 20), 100000);
  ASSERT_EQ(ftruncate(file, 64 << 20), 0);
  close(file);
  ASSERT_EQ(Copy("source", "target"), TRUE);
  struct stat info {};
  stat(At("target").c_str(), &info);
  EXPECT_LT(info.st_blocks * 512, 4 << 20);
  EXPECT_EQ(RunCommand({"cmp", source, At("target")}).status, 0);
}

// ramfs knows no user attributes.
TEST_F(WindowsCopyTest, AttributesThatTheVolumeCannotKeepAreLeftOut) {
  WriteFile(At("source"), "content");
  if (!HasUserAttributes(At("source"))) GTEST_SKIP() << "no user attributes here";
  setxattr(At("source").c_str(), "user.fork", "fork", 4, 0);
  const bool tested = OnAVolume(At("volume"), "ramfs", "", [this] {
    ASSERT_FALSE(HasUserAttributes(At("volume")));
    EXPECT_EQ(Copy("source", "volume/copy"), TRUE);
    EXPECT_EQ(ReadFile(At("volume/copy")), "content");
    EXPECT_EQ(MoveFile(Path("source").c_str(), Path("volume/moved").c_str()), TRUE);
    EXPECT_EQ(ReadFile(At("volume/moved")), "content");
  });
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

}  // namespace
}  // namespace orvik::test
