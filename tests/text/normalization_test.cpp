#include "text/normalization.h"

#include <gtest/gtest.h>

namespace orvik::test {
namespace {

TEST(Normalization, Composes) {
  EXPECT_EQ(Composed(u"ascii"), u"ascii");
  EXPECT_EQ(Composed(u"e\x301"), u"\xE9");
  EXPECT_EQ(Composed(u"\xFB01"), u"\xFB01") << "a ligature is another spelling of nothing";
  EXPECT_EQ(Composed(u"\xD83D"
                     u"e\x301"),
            u"\xD83D\xE9")
      << "an unpaired surrogate";
}

}  // namespace
}  // namespace orvik::test
