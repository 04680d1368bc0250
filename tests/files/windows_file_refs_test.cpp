// File references and names of temporary files under the Windows names.
#include "files/path_arguments.h"

#include "files/windows_file_handles.h"
#include "files/windows_files.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class WindowsFileRefsTest : public EnvironmentTest {
 protected:
  std::u16string Path(const std::u16string& name) const { return top_.u16string() + u"/" + name; }
  OSErr Find(const std::u16string& name, bool create = false, bool folder = false) {
    return GetFSRefFromFilename(Path(name).c_str(), &ref_, create, folder);
  }
  FSRef ref_;
};

TEST_F(WindowsFileRefsTest, FindsAndCreatesTheLastComponentOnly) {
  EXPECT_EQ(Find(u"a"), fnfErr);
  EXPECT_EQ(Find(u"a/b", true, true), fnfErr);
  EXPECT_FALSE(fs::exists(At("a")));
  EXPECT_EQ(Find(u"a", true, true), noErr);
  EXPECT_TRUE(fs::is_directory(At("a")));
  EXPECT_EQ(Find(u"a/b/", true, false), noErr);
  EXPECT_TRUE(fs::is_regular_file(At("a/b")));
  // Whatever is there already is left alone.
  WriteFile(At("a/b"), "content");
  EXPECT_EQ(Find(u"a/b", true, true), noErr);
  EXPECT_EQ(ReadFile(At("a/b")), "content");
  fs::create_symlink("nowhere", At("dangling"));
  EXPECT_EQ(Find(u"dangling", true, false), noErr);
  EXPECT_FALSE(fs::exists(At("nowhere")));
}

TEST_F(WindowsFileRefsTest, ImpossiblePathsAreNotFound) {
  const FSRef unchanged = ref_;
  for (const char16_t* path : {u"", static_cast<const char16_t*>(nullptr)}) {
    EXPECT_EQ(GetFSRefFromFilename(path, &ref_, false, false), fnfErr);
    EXPECT_EQ(GetFSRefFromFilename(path, &ref_, true, false), fnfErr);
  }
  // Too long a component is neither found nor made, in whole or in part.
  EXPECT_EQ(Find(std::u16string(300, u'n')), fnfErr);
  EXPECT_NE(Find(std::u16string(300, u'n'), true), noErr);
  EXPECT_TRUE(fs::is_empty(top_));
  EXPECT_EQ(FSCompareFSRefs(&ref_, &unchanged), noErr);
}

TEST_F(WindowsFileRefsTest, LongPathsAndForeignNamesAreFound) {
  const fs::path deep = MakeDeepTree(top_.string(), 120, "folder with a name of middling length");
  for (const auto& [name, create] : {std::pair{"leaf", false}, {"new", true}, {"new", false}}) {
    EXPECT_EQ(GetFSRefFromFilename((deep / name).u16string().c_str(), &ref_, create, false), noErr);
  }
  WriteFile(At("caf\xE9"), "");
  EXPECT_EQ(Find(std::u16string(u"caf") + char16_t{0xDCE9}), noErr);
  WriteFile(At("e\xCC\x81"), "");
  EXPECT_EQ(Find(u"\u00e9"), noErr);
}

TEST_F(WindowsFileRefsTest, ParentAndName) {
  HFSUniStr255 name;
  const FSRef top = RefOf(top_);
  const std::u16string longest(255, u'n');
  const std::pair<std::u16string, OSErr> cases[] = {
      {Path(longest), noErr},    {Path(longest + u"n"), fnfErr},
      {Path(u"none/x"), fnfErr}, {u"/", fnfErr},
      {u"/tmp", noErr},          {Path(u"none"), noErr}};
  for (const auto& [path, result] : cases) {
    EXPECT_EQ(GetParentFSRAndNameFromFilePath(path.c_str(), &ref_, &name), result);
    if (result != noErr) continue;
    EXPECT_EQ(std::u16string(name.unicode, name.length), path.substr(path.rfind(u'/') + 1));
  }
  EXPECT_EQ(FSCompareFSRefs(&ref_, &top), noErr);
}

using WindowsTempNamesTest = EnvironmentTest;

TEST_F(WindowsTempNamesTest, GivesTheFirstFreeNumber) {
  const std::u16string folder = top_.u16string();
  WriteFile(top_ / "abc5", "");
  fs::create_directory(top_ / "abc6");
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempFileName(folder.c_str(), u"abcdef", 5, buffer), 7u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/abc7");
  EXPECT_FALSE(fs::exists(top_ / "abc7"));
  EXPECT_EQ(GetTempFileName((folder + u"/").c_str(), nullptr, 0, buffer), 0u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/0");
  // Half a character of the prefix is part of the name, and the file can be made.
  for (const DWORD expected : {1u, 2u}) {
    EXPECT_EQ(GetTempFileName(folder.c_str(), u"ab\U0001F600", 1, buffer), expected);
    EXPECT_EQ(std::u16string(buffer).substr(folder.size()),
              std::u16string({u'/', u'a', u'b', 0xD83D, static_cast<char16_t>(u'0' + expected)}));
    const HANDLE made = CreateFile(buffer, 0, 1, nullptr, CREATE_NEW, 0, nullptr);
    EXPECT_NE(made, INVALID_HANDLE_VALUE);
    CloseHandle(made);
  }
}

TEST_F(WindowsTempNamesTest, APathThatDoesNotFitIsNotCut) {
  char16_t buffer[MAX_PATH + 1];
  buffer[MAX_PATH] = u'!';
  const std::u16string fits(MAX_PATH - 5, u'n');
  EXPECT_EQ(GetTempFileName(fits.c_str(), u"abc", 1, buffer), 0u);
  EXPECT_EQ(buffer[0], u'\0');
  EXPECT_EQ(GetTempFileName(fits.c_str(), u"ab", 1, buffer), 1u);
  EXPECT_EQ(buffer[MAX_PATH], u'!');
  EXPECT_EQ(GetTempFileName(std::u16string(1000, u'n').c_str(), u"abc", 1, buffer), 0u);
  EXPECT_EQ(GetTempFileName(nullptr, u"abc", 1, buffer), 0u);
}

TEST_F(WindowsTempNamesTest, TheTemporaryFolderEndsInASlash) {
  const std::u16string expected = top_.u16string() + u"/";
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempPath(MAX_PATH, buffer), expected.size());
  EXPECT_EQ(std::u16string(buffer), expected);
  EXPECT_EQ(GetTempPath(4, buffer), expected.size());
  EXPECT_EQ(std::u16string(buffer), expected.substr(0, 3));
  buffer[0] = u'!';
  EXPECT_EQ(GetTempPath(0, buffer), expected.size());
  EXPECT_EQ(buffer[0], u'!');
  EXPECT_EQ(GetTempPath(MAX_PATH, nullptr), expected.size());
}

}  // namespace
}  // namespace orvik::test
