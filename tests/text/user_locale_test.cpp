#include "text/user_locale.h"

#include <stdlib.h>

#include <string>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class UserLocale : public EnvironmentTest {
 protected:
  static std::string Current() { return CurrentLocaleIdentifier(LocaleCategory::kCharacters); }
};

TEST_F(UserLocale, IsTheFirstThatIsSet) {
  EXPECT_EQ(Current(), "");
  setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(Current(), "de_DE");
  setenv("LC_CTYPE", "tr_TR", 1);
  EXPECT_EQ(Current(), "tr_TR");
  setenv("LC_ALL", "", 1);
  EXPECT_EQ(Current(), "tr_TR");
  setenv("LC_ALL", "POSIX", 1);
  EXPECT_EQ(Current(), "");
  setenv("LC_ALL", "C.UTF-8", 1);
  EXPECT_EQ(Current(), "");
}

}  // namespace
}  // namespace orvik::test
