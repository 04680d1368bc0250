#include "files/windows_file_refs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class WindowsFileRefsTest : public EnvironmentTest {
 protected:
  std::u16string Path(const std::u16string& name) const {
    return env_.temp().u16string() + u"/" + name;
  }
  OSErr Find(const std::u16string& name, bool create = false, bool folder = false) {
    return GetFSRefFromFilename(Path(name).c_str(), &ref_, create, folder);
  }
  FSRef ref_;
};

TEST_F(WindowsFileRefsTest, FindsAndCreatesTheLastComponentOnly) {
  EXPECT_EQ(Find(u"a"), fnfErr);
  EXPECT_EQ(Find(u"a/b", true, true), fnfErr);
  EXPECT_FALSE(fs::exists(env_.temp() / "a"));
  EXPECT_EQ(Find(u"a", true, true), noErr);
  EXPECT_TRUE(fs::is_directory(env_.temp() / "a"));
  EXPECT_EQ(Find(u"a/b/", true, false), noErr);
  EXPECT_TRUE(fs::is_regular_file(env_.temp() / "a/b"));
  // Whatever is there already is left alone.
  WriteFile(env_.temp() / "a/b", "content");
  EXPECT_EQ(Find(u"a/b", true, true), noErr);
  EXPECT_EQ(ReadFile(env_.temp() / "a/b"), "content");
  fs::create_symlink("nowhere", env_.temp() / "dangling");
  EXPECT_EQ(Find(u"dangling", true, false), noErr);
  EXPECT_FALSE(fs::exists(env_.temp() / "nowhere"));
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
  EXPECT_TRUE(fs::is_empty(env_.temp()));
  EXPECT_EQ(FSCompareFSRefs(&ref_, &unchanged), noErr);
}

TEST_F(WindowsFileRefsTest, LongPathsAndForeignNamesAreFound) {
  const std::string deep =
      MakeDeepTree(env_.temp().string(), 120, "folder with a name of middling length");
  const std::u16string long_path = fs::path(deep).u16string() + u"/leaf";
  EXPECT_EQ(GetFSRefFromFilename(long_path.c_str(), &ref_, false, false), noErr);
  const std::u16string sibling = fs::path(deep).u16string() + u"/new";
  EXPECT_EQ(GetFSRefFromFilename(sibling.c_str(), &ref_, true, false), noErr);
  EXPECT_EQ(GetFSRefFromFilename(sibling.c_str(), &ref_, false, false), noErr);
  WriteFile(env_.temp() / "caf\xE9", "");
  EXPECT_EQ(Find(std::u16string(u"caf") + char16_t{0xDCE9}), noErr);
  WriteFile(env_.temp() / "e\xCC\x81", "");
  EXPECT_EQ(Find(u"\u00e9"), noErr);
}

TEST_F(WindowsFileRefsTest, ParentAndName) {
  HFSUniStr255 name;
  const FSRef top = RefOf(env_.temp());
  ASSERT_EQ(GetParentFSRAndNameFromFilePath(Path(u"none").c_str(), &ref_, &name), noErr);
  EXPECT_EQ(std::u16string(name.unicode, name.length), u"none");
  EXPECT_EQ(FSCompareFSRefs(&ref_, &top), noErr);
  EXPECT_EQ(GetParentFSRAndNameFromFilePath(u"/tmp", &ref_, &name), noErr);
  EXPECT_EQ(GetParentFSRAndNameFromFilePath(Path(std::u16string(255, u'n')).c_str(), &ref_, &name),
            noErr);
  EXPECT_EQ(name.length, 255);
  EXPECT_EQ(GetParentFSRAndNameFromFilePath(Path(std::u16string(256, u'n')).c_str(), &ref_, &name),
            fnfErr);
  EXPECT_EQ(GetParentFSRAndNameFromFilePath(Path(u"none/x").c_str(), &ref_, &name), fnfErr);
  EXPECT_EQ(GetParentFSRAndNameFromFilePath(u"/", &ref_, &name), fnfErr);
}

}  // namespace
}  // namespace orvik::test
