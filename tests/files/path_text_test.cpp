// Rules for paths as text.
#include "files/path_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace orvik {
namespace {

using std::u16string;
using std::u16string_view;

// A path in a buffer of the fixed size, with a unit behind it that nothing may touch.
struct Buffer {
  explicit Buffer(u16string_view text) { text.copy(units, text.size()); }
  u16string_view View() const {
    EXPECT_EQ(units[MAX_PATH + 1], u'#');
    return units;
  }
  char16_t units[MAX_PATH + 2] = {};
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  char16_t* const guard = &(units[MAX_PATH + 1] = u'#');
};

TEST(PathText, TakesPathsApart) {
  const std::tuple<u16string_view, u16string_view, u16string_view, int, u16string_view> cases[] = {
      {u"/a/b.txt", u"b.txt", u"/a", 4, u"/a/b.txt"},
      {u"/a/b/", u"b/", u"/a", -1, u"/a/b"},
      {u"/a.d/b//", u"b//", u"/a.d", -1, u"/a.d/b"},
      {u"/a", u"a", u"", -1, u"/a"},
      {u"b", u"b", u"", -1, u"b"},
      {u"dir/.hid", u".hid", u"dir", 4, u"dir/.hid"},
      {u"a.b.c", u"a.b.c", u"", 3, u"a.b.c"},
      {u"/", u"/", u"", -1, u"/"},
      {u"//", u"//", u"", -1, u"/"},
  };
  for (const auto& [path, name, folder, extension, without_slashes] : cases) {
    const u16string text(path);
    EXPECT_EQ(u16string_view(PathFindFileName(text.c_str())), name) << testing::PrintToString(text);
    EXPECT_EQ(GetExtensionIndex(text.c_str()), extension);
    EXPECT_EQ(GetExtensionIndexA(std::string(path.begin(), path.end()).c_str()), extension);
    const char16_t* const found = PathFindExtension(text.c_str());
    EXPECT_EQ(found == nullptr ? -1 : found - text.c_str(), extension);
    Buffer cut(path);
    EXPECT_TRUE(PathRemoveFileSpec(cut.units));
    EXPECT_EQ(cut.View(), folder);
    Buffer bare(path);
    EXPECT_EQ(PathRemoveBackslash(bare.units), bare.units + without_slashes.size());
    EXPECT_EQ(bare.View(), without_slashes);
    Buffer base(path);
    EXPECT_EQ(PathRemoveExtension(base.units), extension);
    EXPECT_EQ(base.View(), extension < 0 ? path : path.substr(0, extension));
    std::string narrow(path.begin(), path.end());
    EXPECT_EQ(PathRemoveExtensionA(narrow.data()), extension);
    EXPECT_EQ(narrow.c_str(), std::string(base.View().begin(), base.View().end()));
  }
  char16_t empty[2] = u"";
  EXPECT_EQ(PathFindFileName(empty), empty);
  EXPECT_FALSE(PathRemoveFileSpec(empty));
  EXPECT_EQ(PathRemoveBackslash(empty), empty);
  EXPECT_EQ(PathFindFileNameA("/a"), nullptr);
}

TEST(PathText, JoinsWithinTheFixedBuffer) {
  const u16string longest(MAX_PATH - 1, u'x');
  const std::tuple<u16string, u16string, u16string> cases[] = {
      {u"/a", u"b", u"/a/b"},
      {u"/a/", u"b", u"/a/b"},
      {u"/a", u"/b", u"/a/b"},
      {u"/a/", u"/b", u"/a//b"},
      {u"", u"b", u"/b"},
      {u"/a", u"", u"/a/"},
      {longest, u"b", longest + u"/"},
      {longest, u"/b", longest + u"/"},
      {longest.substr(2), u"bcd", longest.substr(2) + u"/bc"}};
  for (const auto& [path, more, expected] : cases) {
    Buffer buffer(path);
    EXPECT_TRUE(PathAppend(buffer.units, more.c_str()));
    EXPECT_EQ(buffer.View(), expected);
  }
  Buffer too_long(longest + u"x");
  EXPECT_FALSE(PathAppend(too_long.units, u"b"));
  EXPECT_EQ(too_long.View(), longest + u"x");
  EXPECT_FALSE(PathAppend(nullptr, u"b"));
}

TEST(PathText, AddsAndRenames) {
  Buffer path(u"/a");
  EXPECT_EQ(PathAddBackslash(path.units), path.units);
  PathAddBackslash(path.units);
  EXPECT_EQ(path.View(), u"/a/");
  const std::tuple<u16string, u16string, BOOL, u16string> cases[] = {
      {u"/a/b.txt", u"md", TRUE, u"/a/b.md"},
      {u"/a/b.c", u"longer.still", TRUE, u"/a/b.longer.still"},
      {u"/a/b.txt", u"", TRUE, u"/a/b."},
      {u"/a/b", u"md", FALSE, u"/a/b"},
      {u"/a.b/c", u"md", FALSE, u"/a.b/c"},
      {u"a.b", u16string(257, u'x'), TRUE, u"a." + u16string(257, u'x')},
      {u"a.b", u16string(258, u'x'), FALSE, u"a.b"},
  };
  for (const auto& [text, extension, renamed, expected] : cases) {
    Buffer buffer(text);
    EXPECT_EQ(PathRenameExtension(buffer.units, extension.c_str()), renamed);
    EXPECT_EQ(buffer.View(), expected);
  }
}

TEST(PathText, Canonicalizes) {
  const std::pair<u16string, u16string_view> cases[] = {
      {u".", u""},
      {u"..", u""},
      {u"../a", u"/a"},
      {u"a/b/..", u"a"},
      {u"/a/../", u"/"},
      {u"/a/./b", u"/a/b"},
      {u"/a/../b", u"/b"},
      {u"/a/b/..", u"/a"},
      {u"/a/./..", u""},
      {u"/../../a", u"/a"},
      {u"/a//../b", u"/a/b"},
      {u"/a/b/../..", u""},
      {u"/a//b/", u"/a//b/"},
      {u"/a/..x/.b/...", u"/a/..x/.b/..."},
      {u"/a/../../b/c/./..", u"/b"},
  };
  for (const auto& [path, expected] : cases) {
    Buffer out(u"");
    EXPECT_TRUE(PathCanonicalize(out.units, path.c_str()));
    EXPECT_EQ(out.View(), expected) << testing::PrintToString(path);
  }
  char16_t out[2] = u"x";
  EXPECT_FALSE(PathCanonicalize(out, u""));
}

u16string Changed(void (*rule)(CAtlString&), const char16_t* text) {
  CAtlString changed = text;
  rule(changed);
  return u16string(changed.View());
}

TEST(PathRules, NormalFormHasSlashesAndLosesOneAtTheEnd) {
  const std::pair<const char16_t*, u16string> cases[] = {{u"C:\\Users\\x\\", u"C:/Users/x"},
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
  for (const char16_t bad : u16string(u"|><?*\":")) {
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

TEST(PathRules, RemovesWhatOtherPlatformsRefuseAndKeepsThePathThatWasPastedLast) {
  EXPECT_EQ(Changed(FixFileNameInvalidCharacters, u"|a>b<c?d*e\"f:g/\\"), u"abcdefg/\\");
  const std::pair<const char16_t*, u16string> paths[] = {{u"C:\\a?b:c", u"C:\\abc"},
                                                         {u"a:b\\c", u"ab\\c"},
                                                         {u"?C:\\a:\\b", u"C:\\a\\b"},
                                                         {u":\\a", u"\\a"}};
  for (const auto& [path, fixed] : paths) {
    EXPECT_EQ(Changed(FixFilePathInvalidCharacters, path), fixed);
  }
  const std::pair<const char16_t*, u16string> pasted[] = {{u"C:\\x\\D:\\y", u"D:\\y"},
                                                          {u"C:\\x\\D:", u"C:\\x\\D:"},
                                                          {u"abc:\\y", u"abc:\\y"},
                                                          {u"abcd:\\y", u"d:\\y"}};
  for (const auto& [path, last] : pasted) {
    EXPECT_EQ(Changed(CleanupPathNameBecauseWindowsHasBugs, path), last);
  }
}

// An asterisk stops at the first unit that equals the next one of the pattern, and takes nothing
// before a question mark.
TEST(Wildcard, MatchesWithoutGoingBack) {
  const std::pair<const char16_t*, const char16_t*> matching[] = {
      {u"data?", u"data1"}, {u"*.txt", u"a.txt"}, {u"**", u"abc"}, {u"*b*", u"abc"},
      {u"[a]", u"[a]"},     {u"*?", u"x"},        {u"*", u"a.b"},
  };
  const std::pair<const char16_t*, const char16_t*> others[] = {
      {u"", u"a"},          {u"?", u""},    {u"data?", u"data12"}, {u"*.txt", u"a.b.txt"},
      {u"*.txt", u"a.TXT"}, {u"*.*", u"a"}, {u"a*c", u"abcc"},     {u"***", u"abc"},
      {u"*?", u"xy"},       {u"*?", u""},
  };
  for (const auto& [pattern, name] : matching) {
    EXPECT_TRUE(MatchesWildcard(name, pattern)) << testing::PrintToString(pattern);
  }
  for (const auto& [pattern, name] : others) {
    EXPECT_FALSE(MatchesWildcard(name, pattern)) << testing::PrintToString(pattern);
  }
}

}  // namespace
}  // namespace orvik
