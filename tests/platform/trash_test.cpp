#include "platform/carbon/trash.h"

#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>

#include "platform/carbon/errno_status.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class TrashTest : public EnvironmentTest {
 protected:
  static std::string PathOf(const FSRef& ref) {
    std::string path;
    FSRefCopyPath(&ref, &path);
    return path;
  }
  std::string InfoText(const std::string& name) const {
    return ReadFile(home_trash_ / "info" / (name + ".trashinfo"));
  }

  fs::path home_trash_ = env_.home() / ".local/share/Trash";
};

TEST_F(TrashTest, TheHomeTrashIsMadeOnDemand) {
  FSRef folder;
  EXPECT_EQ(FSFindHomeTrashFolder(0, &folder), fnfErr);
  EXPECT_FALSE(fs::exists(home_trash_));
  ASSERT_EQ(FSFindTrashFolder(InfoOf(env_.home()).volume, 1, &folder), noErr);
  EXPECT_EQ(PathOf(folder), home_trash_ / "files");
  EXPECT_EQ(InfoOf(home_trash_).permissions.mode & 07777, 0700);
  EXPECT_TRUE(fs::is_directory(home_trash_ / "info"));
  EXPECT_EQ(FSFindHomeTrashFolder(0, &folder), noErr);
  setenv("XDG_DATA_HOME", (env_.temp() / "data").c_str(), 1);
  ASSERT_EQ(FSFindHomeTrashFolder(1, &folder), noErr);
  EXPECT_EQ(PathOf(folder), env_.temp() / "data/Trash/files");
  EXPECT_EQ(FSFindTrashFolder(-32000, 1, &folder), nsvErr);
}

TEST_F(TrashTest, InfoFilesTellWhereThingsCameFrom) {
  FSRef folder;
  ASSERT_EQ(FSFindHomeTrashFolder(1, &folder), noErr);
  const std::string target = PathOf(folder) + "/a b.txt";
  {
    TrashInfo info;
    ASSERT_EQ(info.Write("/some where/caf\xC3\xA9%[\n].txt", target), noErr);
    EXPECT_TRUE(TrashNameIsTaken(target));
    const std::string text = InfoText("a b.txt");
    const std::string start =
        "[Trash Info]\nPath=/some%20where/caf%C3%A9%25%5B%0A%5D.txt\nDeletionDate=";
    ASSERT_TRUE(text.starts_with(start)) << text;
    std::tm date{};
    const char* const end = strptime(text.c_str() + start.size(), "%Y-%m-%dT%H:%M:%S", &date);
    ASSERT_NE(end, nullptr) << text;
    EXPECT_STREQ(end, "\n");
    TrashInfo second;
    EXPECT_EQ(second.Write("/other", target), dupFNErr);
  }
  EXPECT_FALSE(TrashNameIsTaken(target));
  TrashInfo kept;
  ASSERT_EQ(kept.Write("/x", target), noErr);
  kept.Keep();
  EXPECT_TRUE(TrashNameIsTaken(target));
  // Folders that only look like a trash get no info file.
  fs::create_directories(env_.temp() / "Trash/files");
  fs::create_directories(env_.temp() / "Trash/info");
  TrashInfo none;
  EXPECT_EQ(none.Write("/x", (env_.temp() / "Trash/files/x").string()), noErr);
  EXPECT_TRUE(fs::is_empty(env_.temp() / "Trash/info"));
}

TEST_F(TrashTest, WhatAKilledProcessLeftKeepsItsNameForADay) {
  FSRef folder;
  ASSERT_EQ(FSFindHomeTrashFolder(1, &folder), noErr);
  const std::string target = PathOf(folder) + "/x";
  const fs::path left = home_trash_ / "info/x.trashinfo";
  WriteFile(left, "[Trash Info]\nPath=/left\n");
  TrashInfo info;
  EXPECT_TRUE(TrashNameIsTaken(target));
  EXPECT_EQ(info.Write("/new", target), dupFNErr);
  fs::last_write_time(left, fs::file_time_type::clock::now() - std::chrono::hours(25));
  WriteFile(target, "its file");
  EXPECT_TRUE(TrashNameIsTaken(target));
  EXPECT_EQ(info.Write("/new", target), dupFNErr);
  fs::remove(target);
  EXPECT_FALSE(TrashNameIsTaken(target));
  EXPECT_EQ(info.Write("/new", target), noErr);
  EXPECT_NE(InfoText("x").find("Path=/new\n"), std::string::npos);
  EXPECT_TRUE(TrashNameIsTaken(target));
}

TEST_F(TrashTest, AHomeTrashThatCannotBeUsedIsRefused) {
  WriteFile(home_trash_, "a file");
  FSRef folder;
  EXPECT_NE(FSFindHomeTrashFolder(1, &folder), noErr);
  fs::remove(home_trash_);
  fs::create_directories(env_.temp() / "elsewhere");
  fs::create_directory_symlink(env_.temp() / "elsewhere", home_trash_);
  EXPECT_EQ(FSFindHomeTrashFolder(1, &folder), noErr);
  TrashInfo info;
  EXPECT_EQ(info.Write("/x", (home_trash_ / "files/x").string()), noErr);
  EXPECT_TRUE(fs::exists(env_.temp() / "elsewhere/info/x.trashinfo"));
}

// A volume of its own, where the rights allow to mount one.
class MountedVolume {
 public:
  explicit MountedVolume(const fs::path& path) : path_(path) {
    fs::create_directories(path_);
    mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  ~MountedVolume() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  MountedVolume(const MountedVolume&) = delete;
  MountedVolume& operator=(const MountedVolume&) = delete;
  bool mounted() const { return mounted_; }

 private:
  fs::path path_;
  bool mounted_;
};

TEST_F(TrashTest, OtherVolumesHaveTheirOwn) {
  const fs::path top = env_.temp() / "a volume";
  const MountedVolume volume{top};
  if (!volume.mounted()) GTEST_SKIP() << "no right to mount a volume";
  const std::string user = std::to_string(getuid());
  FSRef folder;
  ASSERT_EQ(FSFindTrashFolder(InfoOf(top).volume, 1, &folder), noErr);
  EXPECT_EQ(PathOf(folder), top / (".Trash-" + user) / "files");
  {
    TrashInfo info;
    ASSERT_EQ(info.Write((top / "d/x").string(), PathOf(folder) + "/x"), noErr);
    const std::string text = ReadFile(top / (".Trash-" + user) / "info/x.trashinfo");
    EXPECT_TRUE(Contains(text, "\nPath=d/x\n"));
  }
  // An administrator's trash comes first, but only a sticky folder that is no link.
  fs::create_directory(top / ".Trash");
  ASSERT_EQ(FSFindTrashFolder(InfoOf(top).volume, 1, &folder), noErr);
  EXPECT_EQ(PathOf(folder), top / (".Trash-" + user) / "files");
  fs::permissions(top / ".Trash", fs::perms::all | fs::perms::sticky_bit);
  ASSERT_EQ(FSFindTrashFolder(InfoOf(top).volume, 1, &folder), noErr);
  EXPECT_EQ(PathOf(folder), top / ".Trash" / user / "files");
  fs::remove_all(top / ".Trash");
  fs::create_directory_symlink(env_.temp(), top / ".Trash");
  ASSERT_EQ(FSFindTrashFolder(InfoOf(top).volume, 1, &folder), noErr);
  EXPECT_EQ(PathOf(folder), top / (".Trash-" + user) / "files");
}

}  // namespace
}  // namespace orvik::test
