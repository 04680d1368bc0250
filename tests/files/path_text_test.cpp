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

// A path in a buffer of the fixed size, with a unit after it that must not change.
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
  const auto cases = Rows<5>(
      "/a/b.txt b.txt /a .txt /a/b.txt; /a/b/ b/ /a - /a/b; /a.d/b// b// /a.d - /a.d/b;"
      "/a a - - /a; b b - - b; dir/.hid .hid dir .hid dir/.hid; a.b.c a.b.c - .c a.b.c;"
      "/ / - - /; // // - - /");
  for (const auto& [path, name, folder, ending, without_slashes] : cases) {
    const int extension = ending.empty() ? -1 : static_cast<int>(path.size() - ending.size());
    std::string narrow(path.begin(), path.end());
    EXPECT_EQ(PathFindFileName(path.c_str()), name) << narrow;
    EXPECT_EQ(GetExtensionIndex(path.c_str()), extension);
    EXPECT_EQ(GetExtensionIndexA(narrow.c_str()), extension);
    const char16_t* const found = PathFindExtension(path.c_str());
    EXPECT_EQ(found == nullptr ? -1 : found - path.c_str(), extension);
    Buffer cut(path);
    EXPECT_TRUE(PathRemoveFileSpec(cut.units));
    EXPECT_EQ(cut.View(), folder);
    Buffer bare(path);
    EXPECT_EQ(PathRemoveBackslash(bare.units), bare.units + without_slashes.size());
    EXPECT_EQ(bare.View(), without_slashes);
    Buffer base(path);
    EXPECT_EQ(PathRemoveExtension(base.units), extension);
    EXPECT_EQ(base.View(), path.substr(0, path.size() - ending.size()));
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
  auto cases = Rows<3>("/a b /a/b; /a/ b /a/b; /a /b /a/b; /a/ /b /a//b; - b /b; /a - /a/");
  cases.insert(cases.end(), {{longest, u"b", longest + u"/"},
                             {longest, u"/b", longest + u"/"},
                             {longest.substr(2), u"bcd", longest.substr(2) + u"/bc"}});
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
  for (int i = 0; i < 2; ++i) EXPECT_EQ(PathAddBackslash(path.units), path.units);
  EXPECT_EQ(path.View(), u"/a/");
  const u16string longest(257, u'x');
  auto cases = Rows<3>("/a/b.txt md /a/b.md; /a/b.txt - /a/b.; /a/b md -; /a.b/c md -");
  cases.insert(cases.end(), {{u"a.b", longest, u"a." + longest}, {u"a.b", longest + u"x", u""}});
  for (const auto& [text, extension, renamed] : cases) {
    Buffer buffer(text);
    EXPECT_EQ(PathRenameExtension(buffer.units, extension.c_str()), renamed.empty() ? FALSE : TRUE);
    EXPECT_EQ(buffer.View(), renamed.empty() ? text : renamed);
  }
}

TEST(PathText, Canonicalizes) {
  const auto cases = Rows<2>(
      ". -; .. -; ../a /a; a/b/.. a; /a/../ /; /a/./b /a/b; /a/../b /b; /a/b/.. /a; /a/./.. -;"
      "/../../a /a; /a//../b /a/b; /a/b/../.. -; /a//b/ /a//b/; /a/..x/.b/... /a/..x/.b/...;"
      "/a/../../b/c/./.. /b");
  for (const auto& [path, expected] : cases) {
    Buffer out(u"");
    EXPECT_TRUE(PathCanonicalize(out.units, path.c_str()));
    EXPECT_EQ(out.View(), expected) << testing::PrintToString(path);
  }
  char16_t out[2] = u"x";
  EXPECT_FALSE(PathCanonicalize(out, u""));
}

TEST(PathRules, NormalFormHasSlashesAndLosesOneAtTheEnd) {
  for (const auto& [path, fixed] : Rows<2>("C:\\Users\\x\\ C:/Users/x; /a// /a/; / -; - -; \\ -;"
                                           "a/../b a/../b; /a\\b /a/b")) {
    EXPECT_EQ(FixFolderPathForPlatform(CAtlString(path)).View(), fixed);
    EXPECT_EQ(FixFilePathForPlatform(CAtlString(path)).View(), fixed);
  }
}

// A table of whole paths: each path, whether it is valid, and its repaired form.
TEST(PathRules, TellsAndRemovesWhatOtherPlatformsRefuse) {
  for (const char16_t bad : u16string(u"|><?*\":")) {
    const CAtlString name = CAtlString(u"a") + bad;
    EXPECT_FALSE(FileNameIsValidForAllPlatforms(name));
    EXPECT_FALSE(FilePathIsValidForAllPlatforms(name));
  }
  EXPECT_TRUE(FileNameIsValidForAllPlatforms(u"a\\b/c.txt"));
  CAtlString name = u"|a>b<c?d*e\"f:g/\\";
  FixFileNameInvalidCharacters(name);
  EXPECT_EQ(name, u"abcdefg/\\");
  const auto paths = Rows<3>(
      "C:\\dir\\file yes C:\\dir\\file; dir\\a:b no dir\\ab; C:\\a?b:c no C:\\abc; C:/dir no C/dir;"
      "CD:\\x no CD\\x; /a/b yes /a/b; - yes -; :\\a no \\a; a:b:\\ no ab\\; ?C:\\a:\\b no "
      "C:\\a\\b");
  for (const auto& [text, valid, repaired] : paths) {
    CAtlString path(text);
    EXPECT_EQ(FilePathIsValidForAllPlatforms(path), valid == u"yes")
        << testing::PrintToString(text);
    FixFilePathInvalidCharacters(path);
    EXPECT_EQ(path.View(), repaired);
  }
}

TEST(PathRules, KeepsThePathThatWasPastedLast) {
  for (const auto& [text, last] :
       Rows<2>("C:\\x\\D:\\y D:\\y; C:\\x\\D: C:\\x\\D:; abc:\\y abc:\\y; abcd:\\y d:\\y")) {
    CAtlString path(text);
    CleanupPathNameBecauseWindowsHasBugs(path);
    EXPECT_EQ(path.View(), last);
  }
}

// An asterisk stops at the first unit that equals the pattern's next unit, and matches nothing
// before a question mark.
TEST(Wildcard, MatchesWithoutGoingBack) {
  const auto cases = Rows<3>(
      "data? data1 yes; *.txt a.txt yes; ** abc yes; *b* abc yes; [a] [a] yes; *? x yes; * a.b yes;"
      "- a no; ? - no; data? data12 no; *.txt a.b.txt no; *.txt a.TXT no; *.* a no; a*c abcc no;"
      "*** abc no; *? xy no; *? - no");
  for (const auto& [pattern, name, matches] : cases) {
    EXPECT_EQ(MatchesWildcard(name, pattern), matches == u"yes") << testing::PrintToString(pattern);
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

using Shortcuts = FileTest;

TEST_F(Shortcuts, WritesInternetShortcuts) {
  const auto create = &CFileManipulator::CreateURLShortcut;
  EXPECT_EQ(create(u" www.a\\caf\u00E9\u20AC ", path_), S_OK);
  EXPECT_EQ(ReadFile(file_), "[InternetShortcut]\nURL=http://www.a/caf\xE9?\n");
  EXPECT_EQ(Units(CFileManipulator::ResolveURLShortcut(path_)), u"http://www.a/caf\u00E9?");

  Plant(top_, "mine dangling->elsewhere");
  for (const char* name : {"mine", "dangling"}) {
    EXPECT_EQ(create(u"http://b", File(At(name))), S_OK);
  }
  EXPECT_EQ(create(u"", File(At("mine"))), S_OK);
  EXPECT_EQ(create(u"", File(At("other"))), E_INVALIDARG);
  for (const COrvikFilePath& none : {COrvikFilePath(), File(top_), File(At("none/x"))}) {
    EXPECT_EQ(create(u"http://b", none), E_INVALIDARG);
  }
  EXPECT_EQ(TreeText(top_), "dangling->elsewhere mine=x");
}

// The result of each of the two resolvers; "-" means an empty one.
TEST_F(Shortcuts, ResolvesShortcutsAndLinkFilesOfEveryKind) {
  const std::tuple<std::string, const char16_t*, const char16_t*> cases[] = {
      {"[InternetShortcut]\nURL=http://a\n", u"http://a", u"http://a"},
      {"[InternetShortcut]\r\nURL=http://a\r\n", u"http://a", u"http://a"},
      {"[InternetShortcut]\nURL= http://a second\n", u"http://a", u"http://a"},
      {"[InternetShortcut]\nIcon=x\nURL=\"http://a\"", u"http://a", u"http://a"},
      {"[InternetShortcut]URL=\xE9", u"\u00E9", u"\u00E9"},
      {"[InternetShortcut]\nURL=http://a/\u00E9\n", u"http://a/\u00C3\u00A9", u"http://a/\u00E9"},
      {"\n[InternetShortcut]\nURL=http://a\n", u"-", u"-"},
      {"\xEF\xBB\xBF[InternetShortcut]\nURL=http://a\n", u"-", u"http://a"},
      {"[InternetShortcut]\nurl=http://a\n", u"-", u"-"},
      {"[InternetShortcut]\nURL= \t\r\n", u"-", u"-"},
      {"\xEF\xBB\xBF[InternetShortcut]\nURL=\xFF\n", u"-", u"-"},
      {std::string("[InternetShortcut]\nURL=a\0b\n", 25), u"a", u"a"},
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
      {"[Desktop Entry]\nType=Link\nURL=\xFF", u"-", u"-"},
      {"[Desktop Entry]\nType=Application\nURL=http://a\nExec=rm\n", u"-", u"-"},
      {"[Other]\nType=Link\nURL=http://a\n", u"-", u"-"},
      {"URL=http://a\n[Desktop Entry]\nType=Link\n", u"-", u"-"},
      {"\xFF\xFE", u"-", u"-"}};
  const auto shown = [](const CAtlString& url) { return url.IsEmpty() ? u"-" : Units(url); };
  for (const auto& [content, url, link] : cases) {
    WriteFile(file_, content);
    EXPECT_EQ(shown(CFileManipulator::ResolveURLShortcut(path_)), url) << content;
    EXPECT_EQ(shown(CFileManipulator::ResolveLinkFile(path_)), link) << content;
  }
  for (const COrvikFilePath& none : {File(env_.folder() / "none"), File(env_.folder())}) {
    EXPECT_EQ(shown(CFileManipulator::ResolveURLShortcut(none)), u"-");
    EXPECT_EQ(shown(CFileManipulator::ResolveLinkFile(none)), u"-");
  }
}

TEST_F(Shortcuts, KeepsThePathOfAFile) {
  for (const char* name : {"a b", "caf\xE9", "caf\xC3\xA9", "\xED\xA0\x80", "\xF0\x9F\x98\x80"}) {
    WriteFile(file_, std::string(1000, 'x'));
    EXPECT_EQ(CFileManipulator::CreateShortcut(path_, File(At(name))), S_OK);
    EXPECT_EQ(ReadFile(file_), At(name));
    EXPECT_EQ(Units(CFileManipulator::ResolveShortcut(path_)), Units(File(At(name))));
  }
  // A reader would take the "\" as a separator.
  const COrvikFilePath backslash(PathFromBytes(At("back\\slash").string()));
  EXPECT_EQ(CFileManipulator::CreateShortcut(path_, backslash), E_INVALIDARG);
  EXPECT_EQ(CFileManipulator::CreateShortcut(path_, {}), E_INVALIDARG);
  EXPECT_NE(ReadFile(file_), "");
  WriteFile(file_, "C:\\d\\");
  EXPECT_EQ(Units(CFileManipulator::ResolveShortcut(path_)), u"C:/d");
  for (const fs::path& none : {env_.folder() / "none", env_.folder()}) {
    EXPECT_TRUE(CFileManipulator::ResolveShortcut(File(none)).IsEmptyPath());
  }
}

TEST(Urls, FindsTheScheme) {
  const auto cases = Rows<3>(
      "http://a 0 http://; FILE:///a 1 file://; MAILTO:x 2 mailto://; ftp://a 3 ftp://;"
      "Gopher://a 4 gopher://; nntp://a 5 nntp://; telnet://a 6 telnet://; news:comp.lang 7 news:;"
      "wais://a 8 wais://; www.a.b 9 http://; xhttp://a 9 http://; http:/a 9 http://; - 9 http://;"
      "HTTPS://a 10 https://; prospero://a 11 prospero://; - -1 http://; - 12 http://");
  for (const auto& [url, digits, written] : cases) {
    const int number = std::stoi(std::string(digits.begin(), digits.end()));
    EXPECT_EQ(GetUrlProtocol(url), std::clamp(number, 0, 11) == number ? number : 9);
    EXPECT_EQ(GetAppropriateProtocol(number).View(), written);
  }
  for (const char16_t* url : {u" http://a", u"ht\u0130tp://"}) EXPECT_EQ(GetUrlProtocol(url), 9);
}

// Each link, its repaired form, whether that is usable, and whether the link was valid before.
TEST(Urls, RepairsAndJudgesLinks) {
  auto cases = Rows<4>(
      "WWW.abc http://WWW.abc yes no; Www.abc Www.abc no no; host/path http://host/path yes no;"
      "abc.def abc.def no no; ftp:// ftp:// no no; HTTP:// HTTP:// no no; - - no no;"
      "http:\\\\a http://a yes no; news:comp.lang news:comp.lang yes yes; news: news: no no;"
      "mailto: mailto: yes yes; mailto:// mailto:// no no; https://a https://a yes yes");
  cases.insert(cases.end(),
               {{u"  www.abc\\index.html ", u"http://www.abc/index.html", u"yes", u"no"},
                {u" svn://host/x ", u"svn://host/x", u"no", u"no"},
                {u"  ", u"", u"no", u"no"}});
  for (const auto& [url, repaired, usable, valid_as_given] : cases) {
    CAtlString text(url);
    EXPECT_EQ(IsValidURL(text), valid_as_given == u"yes") << testing::PrintToString(url);
    EXPECT_EQ(MakeValidHyperlink(text), usable == u"yes") << testing::PrintToString(url);
    EXPECT_EQ(text.View(), repaired);
  }
}

}  // namespace
}  // namespace orvik::test
