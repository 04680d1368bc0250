#include "files/path_rules.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

using Text = std::u16string;

Text Changed(void (*rule)(CAtlString&), const char16_t* text) {
  CAtlString changed = text;
  rule(changed);
  return Text(changed.View());
}

TEST(PathRules, NormalFormHasSlashesAndLosesOneAtTheEnd) {
  const std::pair<const char16_t*, Text> cases[] = {{u"C:\\Users\\x\\", u"C:/Users/x"},
                                                    {u"/a//", u"/a/"},
                                                    {u"/", u""},
                                                    {u"", u""},
                                                    {u"\\", u""},
                                                    {u"a/../b", u"a/../b"},
                                                    {u"/a\\b", u"/a/b"}};
  for (const auto& [path, fixed] : cases) {
    const CAtlString given = path;
    EXPECT_EQ(FixFolderPathForPlatform(given).View(), fixed);
    EXPECT_EQ(FixFilePathForPlatform(given).View(), fixed);
    EXPECT_EQ(given.View(), path);
  }
}

TEST(PathRules, TellsWhatOtherPlatformsRefuse) {
  for (const char16_t bad : Text(u"|><?*\":")) {
    const CAtlString name = CAtlString(u"a") + bad;
    EXPECT_FALSE(FileNameIsValidForAllPlatforms(name));
    EXPECT_FALSE(FilePathIsValidForAllPlatforms(name));
  }
  EXPECT_TRUE(FileNameIsValidForAllPlatforms(u"a\\b/c.txt"));
  const std::pair<const char16_t*, BOOL> paths[] = {
      {u"C:\\dir\\file", TRUE}, {u"dir\\a:b", FALSE}, {u"C:\\a:b", FALSE}, {u"C:/dir", FALSE},
      {u"CD:\\x", FALSE},       {u"/a/b", TRUE},      {u"", TRUE},         {u":\\", FALSE},
      {u"a:b:\\", FALSE}};
  for (const auto& [path, valid] : paths) {
    EXPECT_EQ(FilePathIsValidForAllPlatforms(path), valid) << testing::PrintToString(path);
  }
}

TEST(PathRules, RemovesWhatOtherPlatformsRefuse) {
  EXPECT_EQ(Changed(FixFileNameInvalidCharacters, u"|a>b<c?d*e\"f:g/\\"), u"abcdefg/\\");
  EXPECT_EQ(Changed(FixFilePathInvalidCharacters, u"C:\\a?b:c"), u"C:\\abc");
  EXPECT_EQ(Changed(FixFilePathInvalidCharacters, u"a:b\\c"), u"ab\\c");
  EXPECT_EQ(Changed(FixFilePathInvalidCharacters, u"?C:\\a:\\b"), u"C:\\a\\b");
  EXPECT_EQ(Changed(FixFilePathInvalidCharacters, u":\\a"), u"\\a");
  EXPECT_EQ(Changed(FixFilePathInvalidCharacters, u""), u"");
}

TEST(PathRules, KeepsThePathThatWasPastedLast) {
  EXPECT_EQ(Changed(CleanupPathNameBecauseWindowsHasBugs, u"C:\\x\\D:\\y"), u"D:\\y");
  EXPECT_EQ(Changed(CleanupPathNameBecauseWindowsHasBugs, u"C:\\y"), u"C:\\y");
  EXPECT_EQ(Changed(CleanupPathNameBecauseWindowsHasBugs, u"C:\\x\\D:"), u"C:\\x\\D:");
  EXPECT_EQ(Changed(CleanupPathNameBecauseWindowsHasBugs, u"abc:\\y"), u"abc:\\y");
  EXPECT_EQ(Changed(CleanupPathNameBecauseWindowsHasBugs, u"abcd:\\y"), u"d:\\y");
}

}  // namespace
}  // namespace orvik
