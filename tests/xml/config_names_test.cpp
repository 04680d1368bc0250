#include "xml/config_names.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace orvik {
namespace {

// Letters of both cases, digits, and bytes of Mac OS Roman with and without an equal in the other
// case; 0xA7 is one letter that equals two, 0xDE and 0xDF are ligatures.
TEST(AnyCaseNameTest, AgreesWithTheFullComparison) {
  const std::string bytes = "aAbsSsfFil1_ \xA7\xA7\xDE\xDF\x8A\x80\xC3\xBC\x9C\xF2\xE9\x8E";
  std::mt19937 random(1);
  const auto text = [&] {
    std::string made;
    for (unsigned i = random() % 4; i > 0; --i) made += bytes[random() % bytes.size()];
    return made;
  };
  int equal = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string a = text(), b = text();
    const bool expected = CAtlStringA(a.c_str()).CompareNoCase(b.c_str()) == 0;
    equal += expected ? 1 : 0;
    ASSERT_EQ(AnyCaseName(CAtlStringA(a.c_str())).Matches(b.c_str()), expected) << a << "|" << b;
  }
  EXPECT_GT(equal, 100);
  EXPECT_FALSE(AnyCaseName(CAtlStringA()).Matches(nullptr));
  EXPECT_TRUE(AnyCaseName(CAtlStringA()).Matches(""));
}

}  // namespace
}  // namespace orvik
