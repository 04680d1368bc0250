#include "prefs/scope.h"

#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

TEST(Scope, RemapsOntoSharedAndMachine) {
  const struct {
    int given;
    int effective;
    const char* domain;
  } kCases[] = {{0, 0, "d"}, {1, 1, "d"},  {2, 0, ".d"}, {3, 0, "d"},
                {4, 4, "d"}, {5, 4, ".d"}, {6, 6, "d"},  {-1, -1, "d"}};
  for (const auto& c : kCases) {
    int scope = c.given;
    const CAtlString domain =
        HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
            scope, u"ignored", u"d");
    EXPECT_EQ(scope, c.effective) << c.given;
    EXPECT_EQ(Utf8(domain), c.domain) << c.given;
  }
}

TEST(Scope, DomainsThatCannotNameAFileAreRefused) {
  const auto usable = [](const CAtlString& domain) { return IsUsableDomain(domain); };
  EXPECT_TRUE(usable(u"com.orviktech.Registry"));
  EXPECT_TRUE(usable(u".hidden"));
  EXPECT_TRUE(usable(u"a..b"));
  EXPECT_TRUE(usable(CAtlString(u'x', 1023)));
  EXPECT_FALSE(usable(u""));
  EXPECT_FALSE(usable(u"/etc/x"));
  EXPECT_FALSE(usable(u".."));
  EXPECT_FALSE(usable(u"../x"));
  EXPECT_FALSE(usable(u"a/../../x"));
  EXPECT_FALSE(usable(u"a//b"));
  EXPECT_FALSE(usable(CAtlString(u"a\0b", 3)));
  EXPECT_FALSE(usable(CAtlString(u'x', 1024)));
  EXPECT_FALSE(usable(CAtlString(u'\u00e9', 512)));
  EXPECT_FALSE(usable(CAtlString(u'\xd800', 1)));
  // Alone usable, but not once the scope has put its dot before it.
  EXPECT_TRUE(EffectiveDomain(0, CAtlString(u'x', 1023)).usable());
  EXPECT_FALSE(EffectiveDomain(2, CAtlString(u'x', 1023)).usable());
}

}  // namespace
}  // namespace orvik::test
