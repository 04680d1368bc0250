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
  const CAtlString longest(u'x', 243);
  for (const CAtlString& domain : {CAtlString(u"com.orviktech.Registry"), CAtlString(u".hidden"),
                                   CAtlString(u"a..b"), longest}) {
    EXPECT_TRUE(IsUsableDomain(domain)) << testing::PrintToString(domain.View());
  }
  for (const CAtlString& domain :
       {CAtlString(), CAtlString(u"/etc/x"), CAtlString(u".."), CAtlString(u"../x"),
        CAtlString(u"a/../../x"), CAtlString(u"a//b"), CAtlString(u"a\0b", 3),
        CAtlString(u'x', 244), CAtlString(u'\u00e9', 122), CAtlString(u'\xd800', 1),
        CAtlString(u"a\xdc80"), CAtlString(u"a\\b"), CAtlString(u"a/") + CAtlString(u'x', 244),
        Wide(Repeated("abcdefghi/", 102)) + u"abcd"}) {
    EXPECT_FALSE(IsUsableDomain(domain)) << testing::PrintToString(domain.View());
  }
  EXPECT_TRUE(EffectiveDomain(0, longest).usable());
  // Alone usable, but not once the scope has put its dot before it.
  EXPECT_FALSE(EffectiveDomain(2, longest).usable());
}

}  // namespace
}  // namespace orvik::test
