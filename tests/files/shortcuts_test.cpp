// Shortcut files, which files/file_manipulator.h declares, and their URLs.

#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "files/urls.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

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

TEST_F(Shortcuts, ResolvesInternetShortcuts) {
  const std::pair<std::string, const char16_t*> cases[] = {
      {"[InternetShortcut]\nURL=http://a\n", u"http://a"},
      {"[InternetShortcut]\r\nURL=http://a\r\n", u"http://a"},
      {"[InternetShortcut]\nURL= http://a second\n", u"http://a"},
      {"[InternetShortcut]\nIcon=x\nURL=\"http://a\"", u"http://a"},
      {"[InternetShortcut]URL=\xE9", u"\u00E9"},
      {"\n[InternetShortcut]\nURL=http://a\n", u""},
      {"\xEF\xBB\xBF[InternetShortcut]\nURL=http://a\n", u""},
      {"[InternetShortcut]\nurl=http://a\n", u""},
      {"[InternetShortcut]\nURL=", u""},
      {"[InternetShortcut]\nURL= \t\r\n", u""},
      {std::string("[InternetShortcut]\nURL=a\0b\n", 25), u"a"},
      {"", u""},
      {"x<key>URL</key>\n\t<string>http://p a&amp;b</string>\n</dict>", u"http://p a&amp;b"},
      {"<key>URL</key>\n\t<string>http://p</string>", u""},
      {"<key>URL</key>\r\n\t<string>http://p</string>\n", u""},
      {"[InternetShortcut]\nURL=x\n<key>URL</key>\n\t<string>y</string>\n", u"y"},
  };
  for (const auto& [content, url] : cases) {
    WriteFile(path_, content);
    EXPECT_EQ(Units(CFileManipulator::ResolveURLShortcut(File(path_))), url) << content;
  }
  EXPECT_EQ(Units(CFileManipulator::ResolveURLShortcut(File(env_.folder() / "none"))), u"");
  EXPECT_EQ(Units(CFileManipulator::ResolveURLShortcut(File(env_.folder()))), u"");
}

TEST_F(Shortcuts, ResolvesLinkFilesOfEveryKind) {
  const std::pair<std::string, const char16_t*> cases[] = {
      {"[InternetShortcut]\nURL=http://a/\u00E9\n", u"http://a/\u00E9"},
      {"\xEF\xBB\xBF[InternetShortcut]\r\nURL=http://a\r\n", u"http://a"},
      {Utf16(u"\uFEFF[InternetShortcut]\nURL=\u20AC\n", false), u"\u20AC"},
      {Utf16(u"\uFEFF<key>URL</key>\n\t<string>p</string>\n", true), u"p"},
      {"# a comment\n\n[Desktop Entry]\nVersion=1.0\nType = Link\nURL = http://a b\\sc\n",
       u"http://a b c"},
      {"[Desktop Entry]\r\nURL=http://a\r\nType=Link\r\n[Other]\r\nURL=http://b\r\n", u"http://a"},
      {"[Desktop Entry]\nType=Link\nURL=a\\\\b\\x", u"a\\b\\x"},
      {"[Desktop Entry]\nType=Application\nURL=http://a\nExec=rm\n", u""},
      {"[Other]\nType=Link\nURL=http://a\n", u""},
      {"URL=http://a\n[Desktop Entry]\nType=Link\n", u""},
      {"\xFF\xFE", u""},
      {"\xEF\xBB\xBF", u""},
      {"[InternetShortcut]\nURL=\xFF\n", u""},
  };
  for (const auto& [content, url] : cases) {
    WriteFile(path_, content);
    EXPECT_EQ(Units(CFileManipulator::ResolveLinkFile(File(path_))), url) << content;
  }
  EXPECT_EQ(Units(CFileManipulator::ResolveLinkFile(File(env_.folder() / "none"))), u"");
}

TEST_F(Shortcuts, KeepsThePathOfAFile) {
  const COrvikFilePath target(u"/a b/\u20AC\U0001F600.txt");
  WriteFile(path_, std::string(100, 'x'));
  EXPECT_EQ(CFileManipulator::CreateShortcut(File(path_), target), S_OK);
  EXPECT_EQ(ReadFile(path_), "/a b/\xE2\x82\xAC\xF0\x9F\x98\x80.txt");
  EXPECT_EQ(Units(CFileManipulator::ResolveShortcut(File(path_))), Units(target));

  EXPECT_EQ(CFileManipulator::CreateShortcut(File(path_), {}), E_INVALIDARG);
  EXPECT_NE(ReadFile(path_), "");
  WriteFile(path_, "C:\\d\\");
  EXPECT_EQ(Units(CFileManipulator::ResolveShortcut(File(path_))), u"C:/d");
  EXPECT_TRUE(CFileManipulator::ResolveShortcut(File(env_.folder() / "none")).IsEmptyPath());
  EXPECT_TRUE(CFileManipulator::ResolveShortcut(File(env_.folder())).IsEmptyPath());
}

// Each leads to its target, or is refused.
TEST_F(Shortcuts, OddNames) {
  for (const char* name : {"caf\xE9", "caf\xC3\xA9", "a b", "\xED\xA0\x80"}) {
    WriteFile(At(name), name);
    const COrvikFilePath shortcut = File(At("s.lnk"));
    EXPECT_EQ(CFileManipulator::CreateShortcut(shortcut, File(At(name))), S_OK);
    const COrvikFilePath target = CFileManipulator::ResolveShortcut(shortcut);
    CAtlStringA text;
    EXPECT_EQ(CFileManipulator::ReadAsciiFileIntoAsciiString(target, text, nullptr), S_OK);
    EXPECT_EQ(text.View(), name);
  }
  WriteFile(At("back\\slash"), "x");
  const COrvikFilePath target = COrvikFilePath(PathFromBytes(At("back\\slash").string()));
  ASSERT_TRUE(target.FileExists());
  EXPECT_EQ(CFileManipulator::CreateShortcut(File(At("new.lnk")), target), E_INVALIDARG);
  EXPECT_FALSE(Exists(At("new.lnk")));
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
