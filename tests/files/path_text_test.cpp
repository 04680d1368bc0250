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
  const struct {
    u16string_view path, name, folder;
    int extension;
    u16string_view without_slashes;
  } cases[] = {
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
  const struct {
    u16string path, more, expected;
  } cases[] = {{u"/a", u"b", u"/a/b"},
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
  const struct {
    u16string path, extension;
    BOOL renamed;
    u16string expected;
  } cases[] = {
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
  const std::pair<u16string, u16string_view> cases[] = {{u"/a/./b", u"/a/b"},
                                                        {u"/a/../b", u"/b"},
                                                        {u"/a/b/..", u"/a"},
                                                        {u"../a", u"/a"},
                                                        {u"/a//../b", u"/a/b"},
                                                        {u"/a/b/../..", u""},
                                                        {u"/a/./..", u""},
                                                        {u"/../../a", u"/a"},
                                                        {u"/a/..x/.b/...", u"/a/..x/.b/..."},
                                                        {u"/a//b/", u"/a//b/"},
                                                        {u".", u""},
                                                        {u"..", u""},
                                                        {u"a/b/..", u"a"},
                                                        {u"/a/b/c/../../d", u"/a/d"},
                                                        {u"/a/../", u"/"},
                                                        {u"/a/../../b/c/./..", u"/b"}};
  for (const auto& [path, expected] : cases) {
    Buffer out(u"");
    EXPECT_TRUE(PathCanonicalize(out.units, path.c_str()));
    EXPECT_EQ(out.View(), expected) << testing::PrintToString(path);
  }
  char16_t out[2] = u"x";
  EXPECT_FALSE(PathCanonicalize(out, u""));
}

}  // namespace
}  // namespace orvik
