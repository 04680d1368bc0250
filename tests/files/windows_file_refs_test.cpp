#include "files/windows_file_refs.h"

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

}  // namespace
}  // namespace orvik::test
