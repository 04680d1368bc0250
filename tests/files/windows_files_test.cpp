#include "files/windows_files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class WindowsFilesTest : public EnvironmentTest {
 protected:
  std::u16string Path(const fs::path& name) const { return (top_ / name).u16string(); }
};

TEST_F(WindowsFilesTest, ExistenceAndKind) {
  WriteFile(top_ / "file", "");
  fs::create_directory(top_ / "folder");
  fs::create_symlink("nowhere", top_ / "dangling");
  const struct {
    const char* name;
    BOOL exists, is_folder;
  } cases[] = {{"file", TRUE, FALSE},     {"folder", TRUE, TRUE}, {"folder/", TRUE, TRUE},
               {"dangling", TRUE, FALSE}, {"none", FALSE, FALSE}, {"file/x", FALSE, FALSE}};
  for (const auto& c : cases) {
    EXPECT_EQ(PathFileExists(Path(c.name).c_str()), c.exists) << c.name;
    EXPECT_EQ(PathIsDirectory(Path(c.name).c_str()), c.is_folder) << c.name;
  }
  EXPECT_EQ(PathFileExists(nullptr), FALSE);
  EXPECT_EQ(PathFileExists(u""), FALSE);
  EXPECT_EQ(PathFileExists(u"/"), TRUE);
}

TEST_F(WindowsFilesTest, Programs) {
  WriteFile(top_ / "script", "#!/bin/sh\n");
  fs::permissions(top_ / "script", fs::perms::owner_all);
  WriteFile(top_ / "text", "");
  fs::create_symlink("script", top_ / "link");
  EXPECT_EQ(PathIsExe(Path("script").c_str()), TRUE);
  EXPECT_EQ(PathIsExe(Path("link").c_str()), TRUE);
  EXPECT_EQ(PathIsExe(Path("text").c_str()), FALSE);
  EXPECT_EQ(PathIsExe(Path("none").c_str()), -1);
  EXPECT_EQ(PathIsExe(Path(std::string(1100, 'n')).c_str()), -1);
  EXPECT_EQ(PathIsExe(std::u16string{u'/', 0xD800}.c_str()), -1);
}

TEST_F(WindowsFilesTest, Attributes) {
  WriteFile(top_ / "file", "");
  fs::create_directory(top_ / "folder");
  const struct {
    unsigned mode;
    DWORD attributes, set;
    unsigned mode_after;
  } cases[] = {
      {0644, 0x80, 0x80, 0644}, {0444, 0x01, 0x80, 0664}, {0644, 0x80, 0x01, 0444},
      {0622, 0x80, 0x81, 0400}, {0444, 0x01, 0x01, 0444}, {0444, 0x01, 0x00, 0444},
      {0500, 0x01, 0x90, 0500}, {0402, 0x80, 0x80, 0402}, {04755, 0x80, 0x21, 04555},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(chmod((top_ / "file").c_str(), c.mode), 0);
    EXPECT_EQ(GetFileAttributes(Path("file").c_str()), c.attributes) << std::oct << c.mode;
    EXPECT_EQ(SetFileAttributes(Path("file").c_str(), c.set), TRUE);
    EXPECT_EQ(ModeOf(top_ / "file"), c.mode_after) << std::oct << c.mode << " " << c.set;
  }
  EXPECT_EQ(GetFileAttributes(Path("folder").c_str()), 0x10u);
  ASSERT_EQ(chmod((top_ / "folder").c_str(), 0555), 0);
  EXPECT_EQ(GetFileAttributes(Path("folder").c_str()), 0x11u);
  EXPECT_EQ(GetFileAttributes(Path("none").c_str()), 0xFFFFFFFFu);
  EXPECT_EQ(SetFileAttributes(Path("none").c_str(), 0x80), FALSE);
}

TEST_F(WindowsFilesTest, Folders) {
  EXPECT_EQ(CreateDirectory(Path("a/b").c_str(), nullptr), FALSE);
  EXPECT_EQ(CreateDirectory(Path("a").c_str(), nullptr), TRUE);
  EXPECT_EQ(CreateDirectory(Path("a").c_str(), nullptr), TRUE);
  WriteFile(top_ / "file", "x");
  EXPECT_EQ(CreateDirectory(Path("file").c_str(), nullptr), TRUE);
  EXPECT_EQ(ReadFile(top_ / "file"), "x");
  EXPECT_EQ(RemoveDirectory(Path("file").c_str()), FALSE);
  EXPECT_EQ(RemoveDirectory(Path("none").c_str()), FALSE);
  WriteFile(top_ / "a/x", "");
  EXPECT_EQ(RemoveDirectory(Path("a").c_str()), FALSE);
  fs::remove(top_ / "a/x");
  fs::create_directory_symlink("a", top_ / "link");
  EXPECT_EQ(RemoveDirectory(Path("link").c_str()), FALSE);
  EXPECT_EQ(RemoveDirectory(Path("a").c_str()), TRUE);
  EXPECT_FALSE(fs::exists(top_ / "a"));
}

TEST_F(WindowsFilesTest, DeletesFilesLinksAndWholeFolders) {
  WriteFile(top_ / "outside/kept", "x");
  WriteFile(top_ / "tree/a/b", "x");
  fs::create_directory_symlink("outside", top_ / "link");
  WriteFile(top_ / "locked", "x");
  WriteFile(top_ / "tree/read_only", "x");
  fs::permissions(top_ / "tree/read_only", fs::perms::owner_read);
  fs::create_directory_symlink("../outside", top_ / "tree/link");
  for (const char* name : {"tree/a/b", "tree", "locked"}) Lock(top_ / name);
  for (const char* name : {"tree", "link", "locked"}) {
    EXPECT_EQ(DeleteFile(Path(name).c_str()), TRUE) << name;
    EXPECT_FALSE(Stands(top_ / name)) << name;
    EXPECT_EQ(DeleteFile(Path(name).c_str()), FALSE) << name;
  }
  EXPECT_EQ(ReadFile(top_ / "outside/kept"), "x");
  EXPECT_EQ(DeleteFile(nullptr), FALSE);
  const auto empty = [this](const char* name) {
    FSDeleteFolderState state;
    const FSRef ref = RefOf(top_ / name);
    FSDeleteFolderLevel(&ref, &state);
    return state.result;
  };
  EXPECT_NE(empty("outside/kept"), 0);
  EXPECT_EQ(empty("outside"), 0);
  EXPECT_TRUE(fs::is_empty(top_ / "outside"));
}

TEST_F(WindowsFilesTest, TheRootFolderAndDotsAreNotDeleted) {
  WriteFile(top_ / "d/kept", "x");
  for (const char* path : {"d/.", "d/x/.."}) {
    EXPECT_EQ(DeleteFile(Path(path).c_str()), FALSE) << path;
  }
  EXPECT_EQ(DeleteFile(u"/"), FALSE);
  EXPECT_EQ(DeleteFile(u"///"), FALSE);
  EXPECT_EQ(ReadFile(top_ / "d/kept"), "x");
}

TEST_F(WindowsFilesTest, ThePermissionsOfALinkCannotBeChanged) {
  WriteFile(top_ / "f", "x");
  fs::create_symlink("f", top_ / "link");
  EXPECT_EQ(SetFileAttributes(Path("link").c_str(), FILE_ATTRIBUTE_READONLY), FALSE);
  EXPECT_EQ(SetFileAttributes(Path("link").c_str(), FILE_ATTRIBUTE_NORMAL), TRUE);
  EXPECT_NE(ModeOf(top_ / "f") & 0200, 0u);
}

TEST_F(WindowsFilesTest, ATreeOfAThousandLevelsIsDeleted) {
  fs::create_directory(top_ / "tree");
  MakeDeepTree((top_ / "tree").string(), 1000, "level with a name");
  EXPECT_EQ(DeleteFile(Path("tree").c_str()), TRUE);
  EXPECT_FALSE(fs::exists(top_ / "tree"));
}

}  // namespace
}  // namespace orvik::test
