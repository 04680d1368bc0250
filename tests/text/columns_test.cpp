#include "text/columns.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

TEST(Columns, FollowWhatTerminalsShow) {
  const struct {
    std::u16string text;
    int columns;
  } cases[] = {
      {u"", 0},
      {u"abc", 3},
      {u"\u00E9e\u0301", 2},
      {u"\u4E2D\u6587", 4},
      {u"\uFF21", 2},
      {u"\U0001F600", 2},
      {u"a\u200Bb\u200D\u2068", 2},
      {u"\xD800", 1},
      {u"\u00AD", 1},
      {u"\t\x1B", 0},
      {u"\uAC00", 2},
      {u"\u05D0\u05B0", 1},
  };
  for (const auto& [text, columns] : cases) EXPECT_EQ(ColumnsOf(text), columns);
}

}  // namespace
}  // namespace orvik
