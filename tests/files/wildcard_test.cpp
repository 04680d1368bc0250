#include "files/wildcard.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

TEST(Wildcard, MatchesWithoutGoingBack) {
  const struct {
    const char16_t *pattern, *name;
    bool matches;
  } cases[] = {// The asterisk stops at the first unit that equals the next one of the pattern.
               {u"*", u"", true},
               {u"*", u"anything.at.all", true},
               {u"", u"", true},
               {u"", u"a", false},
               {u"?", u"", false},
               {u"data?", u"data1", true},
               {u"data?", u"data", false},
               {u"data?", u"data12", false},
               {u"*.txt", u"a.txt", true},
               {u"*.txt", u".txt", true},
               {u"*.txt", u"a.b.txt", false},
               {u"*.txt", u"a.TXT", false},
               {u"*.txt", u"txt", false},
               {u"*.*", u"a.b", true},
               {u"*.*", u"a", false},
               {u"a*", u"a", true},
               {u"a*", u"b", false},
               {u"a*c", u"abc", true},
               {u"a*c", u"abcc", false},
               {u"**", u"abc", true},
               {u"***", u"abc", false},
               {u"*b*", u"abc", true},
               {u"[a]", u"[a]", true},
               {u"\u00E9*", u"\u00E9t\u00E9", true},
               // Before a question mark it takes nothing.
               {u"*?", u"x", true},
               {u"*?", u"xy", false},
               {u"*?", u"", false}};
  for (const auto& [pattern, name, matches] : cases) {
    EXPECT_EQ(MatchesWildcard(name, pattern), matches)
        << testing::PrintToString(pattern) << " " << testing::PrintToString(name);
  }
}

}  // namespace
}  // namespace orvik
