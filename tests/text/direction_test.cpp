#include "text/shown_text.h"

#include <gtest/gtest.h>

#include <utility>

namespace orvik {
namespace {

TEST(Direction, ANameCannotTurnItsSentenceRound) {
  const struct {
    std::u16string name, sentence, shown;
  } cases[] = {{u"/a/photo.png", u"Delete \"%s\"?", u"/a/photo.png"},
               {u"\u00E9\u4E2D\U0001F600", u"", u"\u00E9\u4E2D\U0001F600"},
               {u"photo\u202Egnp.exe", u"", u"photo[U+202E]gnp.exe"},
               {u"a\u2067b\u2069\u200Fc\u061C", u"", u"a[U+2067]b[U+2069][U+200F]c[U+061C]"},
               {u"a\nb\u0085c\u2028\x7F", u"", u"a[U+000A]b[U+0085]c[U+2028][U+007F]"},
               {u"\u05D0.txt", u"Delete?", u"\u2068\u05D0.txt\u2069"},
               {u"a.txt", u"\u0645\u062D\u0648", u"\u2068a.txt\u2069"},
               {u"\U0001E900", u"", u"\u2068\U0001E900\u2069"},
               {u"\xD800x", u"", u"\xD800x"}};
  for (const auto& [name, sentence, shown] : cases) {
    EXPECT_EQ(NameForSentence(name, sentence), shown);
  }
}

TEST(Columns, FollowWhatTerminalsShow) {
  const std::pair<std::u16string, int> cases[] = {
      {u"", 0},       {u"\uAC00", 2},        {u"abc", 3},    {u"\U0001F600", 2},
      {u"\uFF21", 2}, {u"\u4E2D\u6587", 4},  {u"\xD800", 1}, {u"\u05D0\u05B0", 1},
      {u"\u00AD", 1}, {u"\u00E9e\u0301", 2}, {u"\t\x1B", 0}, {u"a\u200Bb\u200D\u2068", 2}};
  for (const auto& [text, columns] : cases) EXPECT_EQ(ColumnsOf(text), columns);
}

}  // namespace
}  // namespace orvik
