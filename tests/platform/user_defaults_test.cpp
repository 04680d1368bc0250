#include "platform/foundation/application.h"

#include <gtest/gtest.h>

#include <utility>

#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

std::string Value(const char16_t* name) {
  const NSString* value = NSUserDefaults::standardUserDefaults()->stringForKey(CFSTR(name));
  return value == nullptr ? "(none)" : value->ToUtf8();
}

TEST(NSUserDefaultsTest, TakesPairsInAnyOrder) {
  const ScopedArguments arguments({"stray", "-b", "-2", "-", "-a", "1", "more", "-empty", "", "-a",
                                   "3", "--double", "x", "-last"});
  EXPECT_EQ(Value(u"a"), "3");
  EXPECT_EQ(Value(u"b"), "-2");
  EXPECT_EQ(Value(u"empty"), "");
  EXPECT_EQ(Value(u"-double"), "x");
  for (const char16_t* name : {u"last", u"stray", u"more", u"2", u"", u"A"}) {
    EXPECT_EQ(Value(name), "(none)");
  }
}

TEST(NSUserDefaultsTest, KeepsBytesThatAreNotUtf8) {
  const ScopedArguments arguments({"-path", "/caf\xE9"});
  const NSString* value = NSUserDefaults::standardUserDefaults()->stringForKey(CFSTR(u"path"));
  EXPECT_EQ(value->ToUnits(), u"/caf\xDCE9");
}

TEST(NSUserDefaultsTest, ReadsBooleans) {
  static constexpr std::pair<const char*, ObjCBool> kCases[] = {
      {"YES", YES}, {"yes", YES}, {"True", YES}, {"1", YES},         {" -012x", YES},
      {"NO", NO},   {"", NO},     {"0", NO},     {"yes please", NO}, {"on", NO}};
  for (const auto& [text, is_true] : kCases) {
    const ScopedArguments arguments({"-x", text});
    const NSUserDefaults* defaults = NSUserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults->boolForKey(CFSTR(u"x")), is_true) << text;
    EXPECT_EQ(defaults->boolForKey(CFSTR(u"y")), NO);
  }
}

}  // namespace
}  // namespace orvik
