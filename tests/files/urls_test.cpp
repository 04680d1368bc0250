#include "files/urls.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

TEST(Urls, FindsTheScheme) {
  const struct {
    const char16_t* url;
    int number;
    const char16_t* written;
  } cases[] = {{u"http://a", 0, u"http://"},          {u"FILE:///a", 1, u"file://"},
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
  const struct {
    const char16_t* url;
    BOOL usable;
    const char16_t* repaired;
    BOOL valid_as_given;
  } cases[] = {
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
}  // namespace orvik
