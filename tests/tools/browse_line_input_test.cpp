#include "tools/orvikprefs/browse/line_input.h"

#include <gtest/gtest.h>

#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {
namespace {

TEST(BrowseLineInput, EditsWholeCharacters) {
  LineInput line("a\u4E2De\u0301\U0001F600");
  EXPECT_EQ(line.text(), "a\u4E2De\u0301\U0001F600");
  line.Take(Terminal::kLeft);
  line.Take(Terminal::kLeft);  // over the letter and its accent
  EXPECT_EQ(line.before_cursor(), "a\u4E2D");
  line.Take('\b');
  line.Take(0x1F3B5);
  EXPECT_EQ(line.text(), "a\U0001F3B5e\u0301\U0001F600");
  line.Take(Terminal::kHome);
  line.Take(Terminal::kDelete);
  line.Take('x');
  line.Take(Terminal::kRight);
  line.Take('K' - '@');
  EXPECT_EQ(line.text(), "x\U0001F3B5");
  line.Replace("one two  ");
  line.Take('W' - '@');
  EXPECT_EQ(line.text(), "one ");
  line.Take('U' - '@');
  EXPECT_EQ(line.text(), "");
  line.Take('\b');
  line.Take(Terminal::kLeft);
  EXPECT_FALSE(line.Take(Terminal::kPageUp));
  EXPECT_FALSE(line.Take(7));
  EXPECT_EQ(line.text(), "");
}

TEST(BrowseTerminal, CutsTextAtColumns) {
  const std::tuple<const char*, int, const char*> cases[] = {{"abc", 3, "abc"},
                                                             {"abcd", 3, "ab\u2026"},
                                                             {"\u4E2D\u6587", 4, "\u4E2D\u6587"},
                                                             {"\u4E2D\u6587", 3, "\u4E2D\u2026"},
                                                             {"\u4E2D\u6587", 2, "\u2026"},
                                                             {"e\u0301x", 2, "e\u0301x"},
                                                             {"abc", 0, ""}};
  for (const auto& [text, width, fitted] : cases) EXPECT_EQ(FitColumns(text, width), fitted);
}

}  // namespace
}  // namespace orvik::prefstool::browse
