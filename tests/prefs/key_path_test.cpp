// The address of a preference: scope, domain and key path.
#include "prefs/key_path.h"

#include "prefs/scope.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

TEST(KeyPath, ComponentsOfEveryShape) {
  const std::pair<const char*, std::vector<std::string>> kCases[] = {
      {"", {}},
      {"/", {}},
      {"\\//\\", {}},
      {"Software", {"Software"}},
      {"/Software/ORVIK Technologies/", {"Software", "ORVIK Technologies"}},
      {"\\Software\\ORVIK Technologies", {"Software", "ORVIK Technologies"}},
      {"a/b\\c", {"a", "b", "c"}},
      {"a//b", {"a", "", "b"}},
      {" a / B ", {" a ", " B "}},
      {"Größe/😀", {"Größe", "😀"}},
  };
  for (const auto& [text, expected] : kCases) {
    SCOPED_TRACE(text);
    const CAtlString path = Wide(text);
    const int count = GetDirCountFromPath(path);
    std::vector<std::string> components;
    for (int i = 1; i <= count; ++i) components.push_back(Utf8(GetPreferenceNameFromPath(path, i)));
    EXPECT_EQ(components, expected);
    for (const int outside : {-1, 0, count + 1, 1 << 30}) {
      EXPECT_TRUE(GetPreferenceNameFromPath(path, outside).IsEmpty());
    }
    EXPECT_EQ(Utf8(path), text);
  }
  EXPECT_EQ(Utf8(GetCompanyName()), "ORVIK Technologies");
}

TEST(KeyPath, ParentDropsTheLastComponentAlone) {
  EXPECT_EQ(KeyPath(u"a/b/c").Parent().text().Compare(CAtlString(u"a\\b")), 0);
  EXPECT_EQ(KeyPath(u"a//c").Parent().count(), 2);
  EXPECT_TRUE(KeyPath(u"a").Parent().empty());
  EXPECT_TRUE(KeyPath(u"").Parent().empty());
}

TEST(KeyPath, MakersPrefixIsTakenOutOfCapitalPathsOnly) {
  const std::pair<const char*, const char*> kCases[] = {
      {"SOFTWARE/ORVIK Technologies/Pagewell Software/Install Information",
       "Pagewell Software\\Install Information"},
      {"Software/ORVIK Technologies/Pagewell Software",
       "Software\\ORVIK Technologies\\Pagewell Software"},
      {"SOFTWARE/ORVIK Technologies", "SOFTWARE\\ORVIK Technologies"},
      {"SOFTWARE/ORVIK Technologies/a/SOFTWARE/ORVIK Technologies/b", "a\\b"},
      {"SOFTWARE/x/SOFTWARE/ORVIK Technologies/b", "SOFTWARE\\x\\b"},
      {"/SOFTWARE/Other/", "SOFTWARE\\Other"},
      {"", ""},
  };
  for (const auto& [path, result] : kCases) {
    EXPECT_EQ(Utf8(ExtractMacPreferencePathFromFullPath(Wide(path))), result) << path;
  }
}

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
