// The calls of files/windows_files.h.
#include <chrono>

#include "files/windows_files.h"
#include "tests/files/support.h"
#include "tests/support/references.h"

namespace orvik::test {
namespace {

class WindowsFilesTest : public EnvironmentTest {
 protected:
  std::u16string Path(const fs::path& name) const { return At(name).u16string(); }
  BOOL Copy(const fs::path& source, const fs::path& target, BOOL fail_if_exists = FALSE) {
    return CopyFile(Path(source).c_str(), Path(target).c_str(), fail_if_exists);
  }
  BOOL Move(const fs::path& source, const fs::path& target) {
    return MoveFile(Path(source).c_str(), Path(target).c_str());
  }
};

TEST_F(WindowsFilesTest, ExistenceAndKind) {
  Plant(top_, "file folder/ dangling->nowhere to_folder->folder");
  const std::tuple<const char*, BOOL, BOOL> cases[] = {
      {"file", TRUE, FALSE},     {"folder", TRUE, TRUE},     {"folder/", TRUE, TRUE},
      {"dangling", TRUE, FALSE}, {"to_folder", TRUE, FALSE}, {"none", FALSE, FALSE},
      {"file/x", FALSE, FALSE}};
  for (const auto& [name, exists, is_folder] : cases) {
    EXPECT_EQ(PathFileExists(Path(name).c_str()), exists) << name;
    EXPECT_EQ(PathIsDirectory(Path(name).c_str()), is_folder) << name;
    EXPECT_EQ(File(At(name)).FileExists(), exists) << name;
    EXPECT_EQ(File(At(name)).IsDirectory(), is_folder) << name;
  }
  for (const char16_t* none : {static_cast<const char16_t*>(nullptr), u""}) {
    EXPECT_EQ(PathFileExists(none), FALSE);
  }
  EXPECT_EQ(PathFileExists(u"/"), TRUE);
  // A name does not end at a NUL or at the size of a fixed buffer.
  for (const CAtlString& more : {CAtlString(u"\0more", 5), CAtlString(u'x', 300)}) {
    EXPECT_FALSE(COrvikFilePath(Text(At("file")) + more).FileExists());
  }
}

// A file that cannot be examined counts as a program.
TEST_F(WindowsFilesTest, Programs) {
  Plant(top_, "script=#!/bin/sh text link->script folder/");
  fs::permissions(At("script"), fs::perms::owner_all);
  const std::pair<std::u16string, BOOL> cases[] = {
      {Path("script"), TRUE}, {Path("link"), TRUE}, {Path("text"), FALSE},
      {Path("none"), -1},     {{u'/', 0xD800}, -1}, {Path(std::string(1100, 'n')), -1}};
  for (const auto& [path, expected] : cases) {
    EXPECT_EQ(PathIsExe(path.c_str()), expected) << testing::PrintToString(path);
    EXPECT_EQ(COrvikFilePath(CAtlString(path)).IsExecutable(), expected != FALSE);
  }
  EXPECT_FALSE(File(At("folder")).IsExecutable());
}

// The permissions of a link cannot be changed.
TEST_F(WindowsFilesTest, Attributes) {
  Plant(top_, "file folder/ link->file");
  const std::tuple<unsigned, DWORD, DWORD, unsigned> cases[] = {
      {0644, 0x80, 0x80, 0644}, {0444, 0x01, 0x80, 0664}, {0644, 0x80, 0x01, 0444},
      {0622, 0x80, 0x81, 0400}, {0444, 0x01, 0x01, 0444}, {0444, 0x01, 0x00, 0444},
      {0500, 0x01, 0x90, 0500}, {0402, 0x80, 0x80, 0402}, {04755, 0x80, 0x21, 04555}};
  const std::u16string file = Path("file"), folder = Path("folder"), link = Path("link");
  for (const auto& [mode, attributes, set, mode_after] : cases) {
    ASSERT_EQ(chmod(At("file").c_str(), mode), 0);
    EXPECT_EQ(GetFileAttributes(file.c_str()), attributes) << std::oct << mode;
    EXPECT_EQ(SetFileAttributes(link.c_str(), FILE_ATTRIBUTE_READONLY), FALSE);
    EXPECT_EQ(SetFileAttributes(link.c_str(), FILE_ATTRIBUTE_NORMAL), TRUE);
    EXPECT_EQ(SetFileAttributes(file.c_str(), set), TRUE);
    EXPECT_EQ(ModeOf(At("file")), mode_after) << std::oct << mode << " " << set;
  }
  for (const auto& [mode, attributes] : {std::pair{0755, 0x10u}, {0555, 0x11u}}) {
    fs::permissions(At("folder"), fs::perms(mode));
    EXPECT_EQ(GetFileAttributes(folder.c_str()), attributes);
  }
  EXPECT_EQ(GetFileAttributes(Path("none").c_str()), 0xFFFFFFFFu);
  EXPECT_EQ(SetFileAttributes(Path("none").c_str(), 0x80), FALSE);
}

TEST_F(WindowsFilesTest, MakesOneFolderAndEmptiesByReference) {
  Plant(top_, "file full/a/b locked link->a");
  const std::pair<const char*, BOOL> made[] = {
      {"a/b", FALSE}, {"a", TRUE}, {"a", TRUE}, {"file", TRUE}};
  for (const auto& [name, done] : made) {
    EXPECT_EQ(CreateDirectory(Path(name).c_str(), nullptr), done) << name;
  }
  EXPECT_EQ(ModeOf(At("a")) & 0700, 0700u);
  for (const char* name : {"full/a/b", "full", "locked"}) Lock(At(name));
  EXPECT_EQ(DeleteFile(Path("locked").c_str()), TRUE);
  for (const char16_t* none : {u"///", static_cast<const char16_t*>(nullptr)}) {
    EXPECT_EQ(DeleteFile(none), FALSE);
  }
  for (const auto& [name, is_folder] : {std::pair{"full/a/b", false}, {"full", true}}) {
    FSDeleteFolderState state;
    const FSRef ref = RefOf(At(name));
    FSDeleteFolderLevel(&ref, &state);
    EXPECT_EQ(state.result == noErr, is_folder) << name;
  }
  EXPECT_EQ(TreeText(top_), "a/ file=x full/ link->a");
  EXPECT_EQ(DeleteFile(Path("full").c_str()), TRUE);
}

TEST_F(WindowsFilesTest, MovesMakeFoldersAndLogFailures) {
  Plant(top_, "folder/inner link->nowhere source=s target=t");
  EXPECT_EQ(Move("folder", "a/b/folder"), TRUE);
  EXPECT_EQ(Move("link", "a/link"), TRUE);
  EXPECT_EQ(MoveFile(nullptr, u"/tmp/x"), FALSE);
  const ScopedVariable to_standard_error("ORVIK_LOG_STDERR", "1");
  testing::internal::CaptureStderr();
  for (const char* target : {"target", "target/below/x"}) EXPECT_FALSE(Move("source", target));
  EXPECT_EQ(Move("none", "new"), FALSE);
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(Contains(log, "Move File from " + At("source").string() + " to " +
                                At("target").string() + " failed, error was - "));
  EXPECT_TRUE(Contains(
      log, "Creation of directory " + At("target/below").string() + " failed, error was - "));
  EXPECT_EQ(TreeText(top_),
            "a/ a/b/ a/b/folder/ a/b/folder/inner=x a/link->nowhere source=s target=t");
}

TEST(WindowsFind, CallsWithNothingBelowThemChangeNothing) {
  _WIN32_FIND_DATA data;
  data.dwFileAttributes = 7;
  SetLastError(7);
  EXPECT_EQ(FindFirstFile(u"/tmp/*", &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.dwFileAttributes + GetLastError(), 14u);
  SetLastError(0);
}

TEST(WindowsFind, TheRecordTakesTheCatalogsNumbersUnconverted) {
  FSCatalogInfo info;
  info.permissions.mode = 040500;
  info.createDate = {1, 2, 3};
  info.accessDate = {4, 5, 6};
  info.contentModDate = {7, 8, 9};
  info.dataPhysicalSize = 0x300000001;
  HFSUniStr255 name{.length = 255, .unicode = {}};
  std::fill_n(name.unicode, 255, u'n');
  _WIN32_FIND_DATA data;
  std::fill_n(data.cFileName, MAX_PATH, u'x');
  InitW32FindDataFromCatalogInfo(&info, &name, &data);
  EXPECT_EQ(
      (std::vector{data.dwFileAttributes, data.ftCreationTime.dwHighDateTime,
                   data.ftCreationTime.dwLowDateTime, data.ftLastAccessTime.dwLowDateTime,
                   data.ftLastWriteTime.dwHighDateTime, data.nFileSizeHigh, data.nFileSizeLow}),
      (std::vector<DWORD>{0x11, 1, 2, 5, 7, 3, 1}));
  EXPECT_EQ(data.cFileName, std::u16string(255, u'n'));
}

TEST(WindowsTime, ClassifiesVersions) {
  const std::pair<DWORD, int> cases[] = {{0x0000, -1}, {0x101F, -1}, {0x1020, 0}, {0x102F, 0},
                                         {0x1030, 1},  {0x103F, 1},  {0x1040, 2}, {0x1049, 2},
                                         {0x104F, 2},  {0x1050, 3},  {0x2000, 3}};
  for (const auto& [word, expected] : cases) EXPECT_EQ(ClassifyOSXVersion(word), expected) << word;
  EXPECT_GE(CurrentMachineOSXVersion(), -1);
}

TEST(WindowsTime, DropsTheRestOfASecond) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) Sleep(999);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace orvik::test
