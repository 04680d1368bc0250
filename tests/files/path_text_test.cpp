// Rules for paths, shortcuts and links as text.
#include "files/path_text.h"
#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "files/urls.h"
#include "tests/files/support.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
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

std::string Utf16(std::u16string_view text, bool is_big_endian) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += static_cast<char>(is_big_endian ? unit >> 8 : unit);
    bytes += static_cast<char>(is_big_endian ? unit : unit >> 8);
  }
  return bytes;
}

class Shortcuts : public EnvironmentTest {
 protected:
  const fs::path path_ = env_.folder() / "link.url";
};

TEST_F(Shortcuts, WritesInternetShortcuts) {
  const auto create = [](const char16_t* url, const COrvikFilePath& file) {
    return CFileManipulator::CreateURLShortcut(url, file);
  };
  EXPECT_EQ(create(u" www.a\\caf\u00E9\u20AC ", File(path_)), S_OK);
  EXPECT_EQ(ReadFile(path_), "[InternetShortcut]\nURL=http://www.a/caf\xE9?\n");
  EXPECT_EQ(Units(CFileManipulator::ResolveURLShortcut(File(path_))), u"http://www.a/caf\u00E9?");

  WriteFile(path_, "mine");
  EXPECT_EQ(create(u"http://b", File(path_)), S_OK);
  EXPECT_EQ(create(u"", File(path_)), S_OK);
  EXPECT_EQ(ReadFile(path_), "mine");
  fs::create_symlink(env_.temp() / "elsewhere", env_.temp() / "dangling.url");
  EXPECT_EQ(create(u"http://b", File(env_.temp() / "dangling.url")), S_OK);
  EXPECT_FALSE(fs::exists(env_.temp() / "elsewhere"));

  const fs::path other = env_.folder() / "other.url";
  EXPECT_EQ(create(u"", File(other)), E_INVALIDARG);
  EXPECT_FALSE(Exists(other));
  EXPECT_EQ(create(u"http://b", {}), E_INVALIDARG);
  EXPECT_EQ(create(u"http://b", File(env_.folder())), E_INVALIDARG);
  EXPECT_EQ(create(u"http://b", File(env_.folder() / "none" / "x")), E_INVALIDARG);
}

// What each of the two resolvers finds; "-" stands for nothing.
TEST_F(Shortcuts, ResolvesShortcutsAndLinkFilesOfEveryKind) {
  const std::tuple<std::string, const char16_t*, const char16_t*> cases[] = {
      {"[InternetShortcut]\nURL=http://a\n", u"http://a", u"http://a"},
      {"[InternetShortcut]\r\nURL=http://a\r\n", u"http://a", u"http://a"},
      {"[InternetShortcut]\nURL= http://a second\n", u"http://a", u"http://a"},
      {"[InternetShortcut]\nIcon=x\nURL=\"http://a\"", u"http://a", u"http://a"},
      {"[InternetShortcut]URL=\xE9", u"\u00E9", u"-"},
      {"[InternetShortcut]\nURL=http://a/\u00E9\n", u"http://a/\u00C3\u00A9", u"http://a/\u00E9"},
      {"\n[InternetShortcut]\nURL=http://a\n", u"-", u"-"},
      {"\xEF\xBB\xBF[InternetShortcut]\nURL=http://a\n", u"-", u"http://a"},
      {"[InternetShortcut]\nurl=http://a\n", u"-", u"-"},
      {"[InternetShortcut]\nURL=", u"-", u"-"},
      {"[InternetShortcut]\nURL= \t\r\n", u"-", u"-"},
      {"[InternetShortcut]\nURL=\xFF\n", u"\u00FF", u"-"},
      {std::string("[InternetShortcut]\nURL=a\0b\n", 25), u"a", u"a"},
      {"", u"-", u"-"},
      {"x<key>URL</key>\n\t<string>http://p a&amp;b</string>\n</dict>", u"http://p a&amp;b",
       u"http://p a&amp;b"},
      {"<key>URL</key>\n\t<string>http://p</string>", u"-", u"-"},
      {"<key>URL</key>\r\n\t<string>http://p</string>\n", u"-", u"-"},
      {"[InternetShortcut]\nURL=x\n<key>URL</key>\n\t<string>y</string>\n", u"y", u"y"},
      {Utf16(u"\uFEFF[InternetShortcut]\nURL=\u20AC\n", false), u"-", u"\u20AC"},
      {Utf16(u"\uFEFF<key>URL</key>\n\t<string>p</string>\n", true), u"-", u"p"},
      {"# a comment\n\n[Desktop Entry]\nVersion=1.0\nType = Link\nURL = http://a b\\sc\n", u"-",
       u"http://a b c"},
      {"[Desktop Entry]\r\nURL=http://a\r\nType=Link\r\n[Other]\r\nURL=http://b\r\n", u"-",
       u"http://a"},
      {"[Desktop Entry]\nType=Link\nURL=a\\\\b\\x", u"-", u"a\\b\\x"},
      {"[Desktop Entry]\nType=Application\nURL=http://a\nExec=rm\n", u"-", u"-"},
      {"[Other]\nType=Link\nURL=http://a\n", u"-", u"-"},
      {"URL=http://a\n[Desktop Entry]\nType=Link\n", u"-", u"-"},
      {"\xFF\xFE", u"-", u"-"},
      {"\xEF\xBB\xBF", u"-", u"-"},
  };
  const auto shown = [](const CAtlString& url) { return url.IsEmpty() ? u"-" : Units(url); };
  for (const auto& [content, url, link] : cases) {
    WriteFile(path_, content);
    EXPECT_EQ(shown(CFileManipulator::ResolveURLShortcut(File(path_))), url) << content;
    EXPECT_EQ(shown(CFileManipulator::ResolveLinkFile(File(path_))), link) << content;
  }
  for (const COrvikFilePath& none : {File(env_.folder() / "none"), File(env_.folder())}) {
    EXPECT_EQ(shown(CFileManipulator::ResolveURLShortcut(none)), u"-");
    EXPECT_EQ(shown(CFileManipulator::ResolveLinkFile(none)), u"-");
  }
}

TEST_F(Shortcuts, KeepsThePathOfAFile) {
  const COrvikFilePath shortcut = File(path_);
  for (const char* name : {"a b", "caf\xE9", "caf\xC3\xA9", "\xED\xA0\x80", "\xF0\x9F\x98\x80"}) {
    WriteFile(path_, std::string(1000, 'x'));
    EXPECT_EQ(CFileManipulator::CreateShortcut(shortcut, File(At(name))), S_OK);
    EXPECT_EQ(ReadFile(path_), At(name));
    EXPECT_EQ(Units(CFileManipulator::ResolveShortcut(shortcut)), Units(File(At(name))));
  }
  // Whoever read it would take the "\" for a separator.
  const COrvikFilePath backslash(PathFromBytes(At("back\\slash").string()));
  EXPECT_EQ(CFileManipulator::CreateShortcut(shortcut, backslash), E_INVALIDARG);
  EXPECT_EQ(CFileManipulator::CreateShortcut(shortcut, {}), E_INVALIDARG);
  EXPECT_NE(ReadFile(path_), "");
  WriteFile(path_, "C:\\d\\");
  EXPECT_EQ(Units(CFileManipulator::ResolveShortcut(shortcut)), u"C:/d");
  for (const fs::path& none : {env_.folder() / "none", env_.folder()}) {
    EXPECT_TRUE(CFileManipulator::ResolveShortcut(File(none)).IsEmptyPath());
  }
}

TEST(Urls, FindsTheScheme) {
  const std::tuple<const char16_t*, int, const char16_t*> cases[] = {
      {u"http://a", 0, u"http://"},          {u"FILE:///a", 1, u"file://"},
      {u"MAILTO:x", 2, u"mailto://"},        {u"ftp://a", 3, u"ftp://"},
      {u"Gopher://a", 4, u"gopher://"},      {u"nntp://a", 5, u"nntp://"},
      {u"telnet://a", 6, u"telnet://"},      {u"news:comp.lang", 7, u"news:"},
      {u"wais://a", 8, u"wais://"},          {u"HTTPS://a", 10, u"https://"},
      {u"prospero://a", 11, u"prospero://"}, {u"www.a.b", 9, u"http://"},
      {u"xhttp://a", 9, u"http://"},         {u" http://a", 9, u"http://"},
      {u"http:/a", 9, u"http://"},           {u"", 9, u"http://"},
      {u"ht\u0130tp://", 9, u"http://"}};
  for (const auto& [url, number, written] : cases) {
    EXPECT_EQ(GetUrlProtocol(url), number) << testing::PrintToString(url);
    EXPECT_EQ(GetAppropriateProtocol(number).View(), written);
  }
  EXPECT_EQ(GetAppropriateProtocol(-1).View(), u"http://");
  EXPECT_EQ(GetAppropriateProtocol(12).View(), u"http://");
}

TEST(Urls, RepairsAndJudgesLinks) {
  const std::tuple<const char16_t*, BOOL, const char16_t*, BOOL> cases[] = {
      {u"  www.abc\\index.html ", TRUE, u"http://www.abc/index.html", FALSE},
      {u"WWW.abc", TRUE, u"http://WWW.abc", FALSE},
      {u"Www.abc", FALSE, u"Www.abc", FALSE},
      {u"host/path", TRUE, u"http://host/path", FALSE},
      {u"abc.def", FALSE, u"abc.def", FALSE},
      {u"ftp://", FALSE, u"ftp://", FALSE},
      {u"HTTP://", FALSE, u"HTTP://", FALSE},
      {u"http:\\\\a", TRUE, u"http://a", FALSE},
      {u" svn://host/x ", FALSE, u"svn://host/x", FALSE},
      {u"news:comp.lang", TRUE, u"news:comp.lang", TRUE},
      {u"news:", FALSE, u"news:", FALSE},
      {u"mailto:", TRUE, u"mailto:", TRUE},  // the written prefix is another one
      {u"mailto://", FALSE, u"mailto://", FALSE},
      {u"https://a", TRUE, u"https://a", TRUE},
      {u"", FALSE, u"", FALSE},
      {u"  ", FALSE, u"", FALSE},
  };
  for (const auto& [url, usable, repaired, valid_as_given] : cases) {
    CAtlString text = url;
    EXPECT_EQ(IsValidURL(text), valid_as_given) << testing::PrintToString(url);
    EXPECT_EQ(MakeValidHyperlink(text), usable) << testing::PrintToString(url);
    EXPECT_EQ(text.View(), repaired);
  }
}

}  // namespace
}  // namespace orvik::test
