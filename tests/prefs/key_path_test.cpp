#include "prefs/key_path.h"

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

}  // namespace
}  // namespace orvik::test
