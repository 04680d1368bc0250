#include "prefs/preferences.h"

#include <map>
#include <set>

#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

namespace fs = std::filesystem;

// What a domain should hold, worked out independently of the store.
struct Model {
  std::map<std::string, Model> entries;
  std::string leaf;  // JSON of a value; empty for a key

  std::string Json() const {
    if (!leaf.empty()) {
      return leaf;
    }
    std::string json = "{";
    for (const auto& [name, entry] : entries) {
      json += (json.size() > 1 ? ",\"" : "\"") + name + "\":" + entry.Json();
    }
    return json + "}";
  }

  // The key of the path; null when it is not there, with *blocked when a value stands on it.
  Model* Find(const std::vector<std::string>& path, bool make, bool* blocked) {
    Model* key = this;
    for (const std::string& name : path) {
      if (!key->entries.contains(name) && !make) {
        return nullptr;
      }
      key = &key->entries[name];
      if (!key->leaf.empty()) {
        *blocked = true;
        return nullptr;
      }
    }
    return key;
  }
};

struct Shape {
  const char* path;
  std::vector<std::string> components;
};

const Shape kShapes[] = {{"", {}},
                         {"A", {"A"}},
                         {"\\Software/ORVIK Technologies", {"Software", "ORVIK Technologies"}},
                         {"A//C/D", {"A", "", "C", "D"}}};

enum class Op { kString, kInt, kDelete, kDeleteKey };

struct Step {
  Op op;
  const char* below;  // appended to the key path
  const char* name;
  const char* text;
  int number;
};

const Step kSteps[] = {
    {Op::kInt, "K", "seed", "", 7},        {Op::kString, "", "n", "v", 0},
    {Op::kInt, "", "m", "", -42},          {Op::kString, "", "m", "text", 0},
    {Op::kString, "Sub", "x", "y", 0},     {Op::kString, "", "", "unnamed", 0},
    {Op::kString, "m", "x", "lost?", 0},   {Op::kInt, "m/deeper", "x", "", 1},
    {Op::kDelete, "", "n", "", 0},         {Op::kDelete, "", "never", "", 0},
    {Op::kDelete, "nope", "n", "", 0},     {Op::kDelete, "m", "n", "", 0},
    {Op::kDeleteKey, "nope/x", "", "", 0}, {Op::kDelete, "K", "seed", "", 0},
    {Op::kDeleteKey, "Sub", "", "", 0},    {Op::kDeleteKey, "", "", "", 0},
};

class PreferencesTest : public StoreTest {
 protected:
  // Carries out one step on the store, checks its result, and does the same to the model.
  void Do(int scope, const Shape& shape, const Step& step, const std::string& domain,
          Model& model) {
    const bool empty_below = *step.below == '\0';
    std::string path = shape.path;
    if (!empty_below) {
      path += std::string("/") + step.below;
    }
    std::vector<std::string> components = shape.components;
    for (std::string rest = step.below; !rest.empty();) {
      const std::size_t end = rest.find('/');
      components.push_back(rest.substr(0, end));
      rest = end == std::string::npos ? "" : rest.substr(end + 1);
    }
    std::string name = step.name;
    DWORD result = 0;
    switch (step.op) {
      case Op::kString:
        result =
            WritePreferenceString(scope, Wide(path), Wide(name), Wide(step.text), Wide(domain));
        break;
      case Op::kInt:
        result = WritePreferenceInt(scope, Wide(path), Wide(name), step.number, Wide(domain));
        break;
      case Op::kDelete:
        result = DeletePreference(scope, Wide(path), Wide(name), Wide(domain));
        break;
      case Op::kDeleteKey:
        result = RecursivePreferenceDelete(scope, Wide(path), Wide(domain));
        name = components.empty() ? "" : components.back();
        if (!components.empty()) {
          components.pop_back();
        }
        break;
    }
    const bool writes = step.op == Op::kString || step.op == Op::kInt;
    bool blocked = false;
    Model* key = model.Find(components, writes, &blocked);
    DWORD expected = 0;
    if (key == nullptr) {
      expected = writes ? kPreferenceBadKey : step.op == Op::kDelete ? kPreferenceNotFound : 0;
    } else if (writes) {
      key->entries[name] = Model{
          {},
          step.op == Op::kInt ? std::to_string(step.number) : "\"" + std::string(step.text) + "\""};
    } else {
      key->entries.erase(name);
    }
    EXPECT_EQ(result, expected);
    if (key != nullptr && writes) {
      unsigned long error = 99;
      const CAtlString read =
          GetPreferenceString(scope, Wide(path), Wide(name), u"default", &error, Wide(domain));
      EXPECT_EQ(error, 0u);
      EXPECT_EQ(Utf8(read), step.op == Op::kInt ? std::to_string(step.number) : step.text);
    }
  }

  std::string FileOf(int scope, const std::string& domain) {
    switch (scope) {
      case 1:
        return UserFile(domain);
      case 2:
        return SharedFile("." + domain);
      case 4:
        return MachineFile(domain);
      case 5:
        return MachineFile("." + domain);
      default:
        return SharedFile(domain);
    }
  }
};

TEST_F(PreferencesTest, EveryScopeOperationAndKeyPathShapeLeavesTheRightFile) {
  std::vector<fs::path> snapshots;
  std::vector<std::string> expected;
  std::vector<std::string> titles;
  for (int scope = 0; scope <= 5; ++scope) {
    for (const Shape& shape : kShapes) {
      const std::string domain =
          "com.example.s" + std::to_string(scope) + "-" + std::to_string(titles.size());
      Model model;
      for (const Step& step : kSteps) {
        titles.push_back("scope " + std::to_string(scope) + " path '" + shape.path + "' step " +
                         std::to_string(&step - kSteps));
        SCOPED_TRACE(titles.back());
        Do(scope, shape, step, domain, model);
        snapshots.push_back(env_.folder() / std::to_string(titles.size()));
        fs::copy_file(FileOf(scope, domain), snapshots.back());
        expected.push_back(model.Json());
      }
    }
  }
  const std::vector<std::string> found = OnDisk(snapshots);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(found[i], expected[i]) << titles[i];
  }
  EXPECT_EQ(waits_, 0);
}

TEST_F(PreferencesTest, UnknownScopesAndRefusedDomainsTouchNothing) {
  const struct {
    int scope;
    CAtlString domain;
    DWORD write, remove, remove_top, remove_key;
  } kCases[] = {
      {6, u"com.example.Store", 0, 2, 0, 0},  {-1, u"com.example.Store", 0, 2, 0, 0},
      {0, u"../escape", 123, 123, 123, 123},  {1, u"", 123, 123, 123, 123},
      {4, u"/etc/orvik", 123, 123, 123, 123}, {1, CAtlString(u'd', 1024), 123, 123, 123, 123},
      {2, u"./x", 123, 123, 123, 123},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.scope);
    EXPECT_EQ(WritePreferenceString(c.scope, u"A", u"n", u"v", c.domain), c.write);
    EXPECT_EQ(WritePreferenceInt(c.scope, u"", u"n", 1, c.domain), c.write);
    EXPECT_EQ(DeletePreference(c.scope, u"A", u"n", c.domain), c.remove);
    EXPECT_EQ(DeletePreference(c.scope, u"", u"n", c.domain), c.remove_top);
    EXPECT_EQ(RecursivePreferenceDelete(c.scope, u"A", c.domain), c.remove_key);
    unsigned long error = 0;
    EXPECT_EQ(GetPreferenceInt(c.scope, u"A", u"n", 17, &error, c.domain), 17);
    EXPECT_EQ(error, 2u);
  }
  for (const auto& entry : fs::recursive_directory_iterator(env_.folder())) {
    EXPECT_FALSE(entry.is_regular_file()) << entry.path();
  }
}

TEST_F(PreferencesTest, ReadsConvertWhatOtherProgramsWrote) {
  WriteFile(SharedFile(), R"(<plist version="1.0"><dict><key>K</key><dict>
<key>text</key><string>42 apples</string><key>words</key><string>none</string>
<key>whole</key><integer>-7</integer><key>wide</key><integer>4294967297</integer>
<key>real</key><real>2.5</real><key>flag</key><true/><key>key</key><dict/>
<key>list</key><array/><key>date</key><date>2026-01-01T00:00:00Z</date></dict>
<key>top</key><string>t</string></dict></plist>)");
  const struct {
    const char16_t* name;
    const char* text;
    int number;
    unsigned long error;
  } kCases[] = {{u"text", "42 apples", 42, 0},
                {u"words", "none", 0, 0},
                {u"whole", "-7", -7, 0},
                {u"real", "2.500000000", 2, 0},
                {u"wide", "2147483647", 2147483647, 0},
                {u"flag", "default", 99, 2},
                {u"key", "default", 99, 2},
                {u"list", "default", 99, 2},
                {u"date", "default", 99, 2},
                {u"absent", "default", 99, 2}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(Utf8(c.name));
    unsigned long error = 2;
    EXPECT_EQ(Utf8(GetPreferenceString(0, u"K", c.name, u"default", &error, kDomain)), c.text);
    EXPECT_EQ(error, c.error);
    error = 2;
    EXPECT_EQ(GetPreferenceInt(0, u"/K", c.name, 99, &error, kDomain), c.number);
    EXPECT_EQ(error, c.error);
  }
  unsigned long error = 0;
  EXPECT_EQ(Utf8(GetPreferenceString(0, u"/", u"top", u"", &error, kDomain)), "t");
  EXPECT_EQ(GetPreferenceInt(0, u"K/text", u"x", 5, &error, kDomain), 5);
  EXPECT_EQ(error, 2u);
  EXPECT_EQ(GetPreferenceInt(0, u"top/K", u"x", 5, &error, kDomain), 5);
}

TEST_F(PreferencesTest, ListingAppendsKeysAndValueNames) {
  WritePlist(SharedFile(), R"({"K":{"Install Information":{},"UELogging":1,"":"x"},"t":"v"})",
             "binary");
  CAtlArray<CAtlString> names;
  names.Add(u"before");
  ListPreferences(0, u"", names, kDomain);
  ListPreferences(0, u"none", names, kDomain);
  ListPreferences(0, u"t", names, kDomain);
  ListPreferences(7, u"K", names, kDomain);
  EXPECT_EQ(names.GetCount(), 1u);
  ListPreferences(3, u"K", names, kDomain);
  std::multiset<std::string> found;
  for (const CAtlString& name : names) {
    found.insert(Utf8(name));
  }
  EXPECT_EQ(found, (std::multiset<std::string>{"", "Install Information", "UELogging", "before"}));
}

TEST_F(PreferencesTest, WhatOtherReadersCannotHoldCostsNothingStoredBefore) {
  WritePreferenceString(0, u"K", u"kept", u"old", kDomain);
  const CAtlString odd(u"a\0b\x01\xd800\xfffe\r\n", 8);
  EXPECT_EQ(WritePreferenceString(0, u"K", odd, odd, kDomain), 0u);
  unsigned long error = 0;
  const CAtlString back = GetPreferenceString(0, u"K", odd, u"", &error, kDomain);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(back.Compare(odd), 0);
  EXPECT_EQ(RunCommand({"xmllint", "--nonet", "--noout", SharedFile().string()}).status, 0);
  EXPECT_EQ(Utf8(GetPreferenceString(0, u"K", u"kept", u"", &error, kDomain)), "old");
}

TEST_F(PreferencesTest, ApplicationFolders) {
  const std::string base = env_.home().string() + "/Library/Application Support/ORVIK Technologies";
  const struct {
    const char16_t* name;
    const char* folder;
  } kCases[] = {{u"vistago", "/Vistgo/"},
                {u"SHARED", "/Shared/"},
                {u"orvik tavlo software", "/ORVIK Tavlo Software/"},
                {u"ORVIK Conceptra", "/ORVIK Conceptra/"},
                {u"ORVIK PAGEWELL", "/Pagewell Software/"},
                {u"Glyphra", "/Glyphra/"},
                {u"", "//"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(Utf8(GetPreferenceApplicationPath(c.name)), base + c.folder);
  }
  EXPECT_FALSE(fs::exists(base));
}

}  // namespace
}  // namespace orvik::test
