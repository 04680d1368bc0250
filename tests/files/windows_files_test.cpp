// files/windows_files.h without CopyFile.
#include "files/windows_files.h"

#include <sys/stat.h>

#include "host/trash.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"

namespace orvik::test {
namespace {

class WindowsFilesTest : public EnvironmentTest {
 protected:
  std::u16string Path(const fs::path& name) const { return At(name).u16string(); }
  BOOL Move(const fs::path& source, const fs::path& target) {
    return MoveFile(Path(source).c_str(), Path(target).c_str());
  }
};

TEST_F(WindowsFilesTest, ExistenceAndKind) {
  WriteFile(At("file"), "");
  fs::create_directory(At("folder"));
  fs::create_symlink("nowhere", At("dangling"));
  const std::tuple<const char*, BOOL, BOOL> cases[] = {
      {"file", TRUE, FALSE},     {"folder", TRUE, TRUE}, {"folder/", TRUE, TRUE},
      {"dangling", TRUE, FALSE}, {"none", FALSE, FALSE}, {"file/x", FALSE, FALSE}};
  for (const auto& [name, exists, is_folder] : cases) {
    EXPECT_EQ(PathFileExists(Path(name).c_str()), exists) << name;
    EXPECT_EQ(PathIsDirectory(Path(name).c_str()), is_folder) << name;
  }
  EXPECT_EQ(PathFileExists(nullptr), FALSE);
  EXPECT_EQ(PathFileExists(u""), FALSE);
  EXPECT_EQ(PathFileExists(u"/"), TRUE);
}

TEST_F(WindowsFilesTest, Programs) {
  WriteFile(At("script"), "#!/bin/sh\n");
  fs::permissions(At("script"), fs::perms::owner_all);
  WriteFile(At("text"), "");
  fs::create_symlink("script", At("link"));
  const std::pair<std::u16string, BOOL> cases[] = {
      {Path("script"), TRUE}, {Path("link"), TRUE}, {Path("text"), FALSE},
      {Path("none"), -1},     {{u'/', 0xD800}, -1}, {Path(std::string(1100, 'n')), -1}};
  for (const auto& [path, expected] : cases) {
    EXPECT_EQ(PathIsExe(path.c_str()), expected) << testing::PrintToString(path);
  }
}

TEST_F(WindowsFilesTest, Attributes) {
  WriteFile(At("file"), "");
  const std::tuple<unsigned, DWORD, DWORD, unsigned> cases[] = {
      {0644, 0x80, 0x80, 0644}, {0444, 0x01, 0x80, 0664}, {0644, 0x80, 0x01, 0444},
      {0622, 0x80, 0x81, 0400}, {0444, 0x01, 0x01, 0444}, {0444, 0x01, 0x00, 0444},
      {0500, 0x01, 0x90, 0500}, {0402, 0x80, 0x80, 0402}, {04755, 0x80, 0x21, 04555},
  };
  for (const auto& [mode, attributes, set, mode_after] : cases) {
    ASSERT_EQ(chmod(At("file").c_str(), mode), 0);
    EXPECT_EQ(GetFileAttributes(Path("file").c_str()), attributes) << std::oct << mode;
    EXPECT_EQ(SetFileAttributes(Path("file").c_str(), set), TRUE);
    EXPECT_EQ(ModeOf(At("file")), mode_after) << std::oct << mode << " " << set;
  }
  fs::create_directory(At("folder"));
  EXPECT_EQ(GetFileAttributes(Path("folder").c_str()), 0x10u);
  ASSERT_EQ(chmod(At("folder").c_str(), 0555), 0);
  EXPECT_EQ(GetFileAttributes(Path("folder").c_str()), 0x11u);
  EXPECT_EQ(GetFileAttributes(Path("none").c_str()), 0xFFFFFFFFu);
  EXPECT_EQ(SetFileAttributes(Path("none").c_str(), 0x80), FALSE);
  // The permissions of a link cannot be changed.
  ASSERT_EQ(chmod(At("file").c_str(), 0644), 0);
  fs::create_symlink("file", At("link"));
  EXPECT_EQ(SetFileAttributes(Path("link").c_str(), FILE_ATTRIBUTE_READONLY), FALSE);
  EXPECT_EQ(SetFileAttributes(Path("link").c_str(), FILE_ATTRIBUTE_NORMAL), TRUE);
  EXPECT_EQ(ModeOf(At("file")), 0644u);
}

TEST_F(WindowsFilesTest, Folders) {
  WriteFile(At("file"), "x");
  WriteFile(At("full/x"), "");
  fs::create_directory_symlink("a", At("link"));
  const std::pair<const char*, BOOL> made[] = {
      {"a/b", FALSE}, {"a", TRUE}, {"a", TRUE}, {"file", TRUE}};
  for (const auto& [name, done] : made) {
    EXPECT_EQ(CreateDirectory(Path(name).c_str(), nullptr), done) << name;
  }
  EXPECT_EQ(ReadFile(At("file")), "x");
  for (const char* name : {"file", "none", "full", "link"}) {
    EXPECT_EQ(RemoveDirectory(Path(name).c_str()), FALSE) << name;
  }
  EXPECT_EQ(RemoveDirectory(Path("a").c_str()), TRUE);
  EXPECT_EQ(NamesIn(top_), (std::vector<std::string>{"file", "full", "link"}));
}

TEST_F(WindowsFilesTest, DeletesFilesLinksAndWholeFolders) {
  WriteFile(At("outside/kept"), "x");
  WriteFile(At("tree/a/b"), "x");
  WriteFile(At("locked"), "x");
  fs::create_directory_symlink("outside", At("link"));
  for (const char* name : {"tree/a/b", "tree", "locked"}) Lock(At(name));
  for (const char* name : {"tree", "link", "locked"}) {
    EXPECT_EQ(DeleteFile(Path(name).c_str()), TRUE) << name;
    EXPECT_EQ(DeleteFile(Path(name).c_str()), FALSE) << name;
  }
  EXPECT_EQ(DeleteFile(nullptr), FALSE);
  for (const char16_t* root : {u"/", u"///"}) EXPECT_EQ(DeleteFile(root), FALSE);
  const auto empty = [this](const char* name) {
    FSDeleteFolderState state;
    const FSRef ref = RefOf(At(name));
    FSDeleteFolderLevel(&ref, &state);
    return state.result;
  };
  EXPECT_NE(empty("outside/kept"), 0);
  EXPECT_EQ(ReadFile(At("outside/kept")), "x");
  EXPECT_EQ(empty("outside"), 0);
  EXPECT_TRUE(fs::is_empty(At("outside")));
}

TEST_F(WindowsFilesTest, MovesFilesFoldersAndLinksAndMakesFolders) {
  WriteFile(At("folder/inner"), "x");
  fs::create_symlink("nowhere", At("link"));
  EXPECT_EQ(Move("folder", "a/b/folder"), TRUE);
  EXPECT_EQ(Move("link", "a/link"), TRUE);
  EXPECT_EQ(MoveFile(nullptr, u"/tmp/x"), FALSE);
  EXPECT_EQ(NamesIn(top_), std::vector<std::string>{"a"});
  EXPECT_EQ(ReadFile(At("a/b/folder/inner")), "x");
  EXPECT_EQ(fs::read_symlink(At("a/link")), "nowhere");
}

TEST_F(WindowsFilesTest, FailuresOfMovesAreLoggedAndLoseNothing) {
  const ScopedVariable to_standard_error("ORVIK_LOG_STDERR", "1");
  WriteFile(At("source"), "source");
  WriteFile(At("target"), "target");
  WriteFile(At("locked"), "x");
  const BOOL can_move = Lock(At("locked")) ? FALSE : TRUE;
  testing::internal::CaptureStderr();
  EXPECT_EQ(Move("locked", "moved"), can_move);
  EXPECT_EQ(Move("source", "target"), FALSE);
  EXPECT_EQ(Move("source", "target/below/x"), FALSE);
  EXPECT_EQ(Move("none", "new"), FALSE);
  const std::string log = testing::internal::GetCapturedStderr();
  const std::string source = At("source"), target = At("target");
  EXPECT_TRUE(
      Contains(log, "Move File from " + source + " to " + target + " failed, error was - "));
  EXPECT_TRUE(Contains(log, "Creation of directory " + target + "/below failed, error was - "));
  EXPECT_EQ(ReadFile(source) + ReadFile(target), "sourcetarget");
  EXPECT_EQ(DeleteFile(Path(can_move != FALSE ? "moved" : "locked").c_str()), TRUE);
}

TEST_F(WindowsFilesTest, AMoveIntoATrashWritesTheInfoFile) {
  std::string files;
  ASSERT_EQ(host::OpenHomeTrash(true, &files), 0);
  const fs::path info = fs::path(files).parent_path() / "info/x.trashinfo";
  WriteFile(At("x"), "1");
  EXPECT_EQ(Move("x", fs::path(files) / "x"), TRUE);
  const std::string before = ReadFile(info);
  EXPECT_TRUE(Contains(before, "Path=" + At("x").string() + "\n"));
  // The name is taken: neither the file nor its info is touched.
  WriteFile(At("x"), "2");
  EXPECT_EQ(Move("x", fs::path(files) / "x"), FALSE);
  EXPECT_EQ(ReadFile(info), before);
  EXPECT_EQ(ReadFile(At("x")), "2");
  // A move that fails leaves no info file.
  EXPECT_EQ(Move("none", fs::path(files) / "none"), FALSE);
  EXPECT_FALSE(fs::exists(info.parent_path() / "none.trashinfo"));
}

}  // namespace
}  // namespace orvik::test
