#include "files/pascal_strings.h"

#include <gtest/gtest.h>

#include <string>

namespace orvik {
namespace {

TEST(PascalStrings, AreCutAt255Bytes) {
  unsigned char pascal[257] = {};
  pascal[256] = '#';
  EXPECT_EQ(CToPStr(pascal, "ab"), 2);
  EXPECT_EQ(std::string(pascal, pascal + 3),
            "\x02"
            "ab");
  EXPECT_EQ(WideToPStr(pascal, u"\u0141b"), 2);  // the low byte
  EXPECT_EQ(pascal[1], 0x41);
  EXPECT_EQ(WideToPStr(pascal, std::u16string(300, u'x').c_str()), 255);
  EXPECT_EQ(pascal[0], 255);
  EXPECT_EQ(pascal[256], '#');
  EXPECT_EQ(CToPStr(pascal, ""), 0);
}

}  // namespace
}  // namespace orvik
