#include "prefs/shared_preference_file.h"

#include "prefs/platform_values.h"
#include "prefs/preferences.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

class SharedPreferenceFileTest : public StoreTest {
 protected:
  CAutoCFRelease<CFMutableDictionaryRef> Key(const char16_t* name, const char16_t* value) {
    auto key = NewDictionary();
    CFDictionarySetValue(key, PlatformString(name), PlatformString(value));
    return key;
  }
  void Set(const char16_t* name, CFTypeRef value) {
    SharedPreferencesSetValue(PlatformString(name), value, domain_);
  }

  CAutoCFRelease<CFStringRef> domain_ = PlatformString(kDomain);
};

TEST_F(SharedPreferenceFileTest, LiesBelowTheSharedUserFolder) {
  EXPECT_EQ(SharedPreferenceFilePath(domain_), SharedFile());
  const auto refused = PlatformString(CAtlString(u'x', 1024));
  EXPECT_EQ(LibPref_CopySharedCFURLRef(refused), nullptr);
  EXPECT_EQ(SharedPropertyList(refused), nullptr);
  EXPECT_EQ(SavePropertiesToSharedFile(NewDictionary(), refused), -4960);
  EXPECT_EQ(SharedPropertyList(nullptr), nullptr);
}

TEST_F(SharedPreferenceFileTest, OnlyADictionaryBringsTheFileIntoBeing) {
  Set(u"top", PlatformString(u"v"));
  Set(u"top", nullptr);
  WritePreferenceInt(0, u"", u"top", 1, kDomain);
  EXPECT_FALSE(fs::exists(SharedFile()));
  EXPECT_FALSE(fs::exists(SharedFile().parent_path()));
  Set(u"K", Key(u"n", u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
  Set(u"top", PlatformString(u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"},"top":"v"})");
  Set(u"K", nullptr);
  Set(u"top", nullptr);
  Set(u"top", nullptr);
  EXPECT_EQ(OnDisk(SharedFile()), "{}");
}

TEST_F(SharedPreferenceFileTest, ARootThatIsNoDictionaryIsLeftAlone) {
  WritePlist(SharedFile(), R"(["a"])");
  const std::string before = ReadFile(SharedFile());
  Set(u"K", Key(u"n", u"v"));
  Set(u"a", nullptr);
  EXPECT_EQ(WritePreferenceString(0, u"K", u"n", u"v", kDomain), 0u);
  EXPECT_EQ(ReadFile(SharedFile()), before);
  const CAutoCFRelease<CFTypeRef> root(SharedPropertyList(domain_));
  EXPECT_TRUE(root);
  EXPECT_EQ(SharedPreferencesCopyValue(PlatformString(u"a"), domain_), nullptr);
}

TEST_F(SharedPreferenceFileTest, ADamagedFileIsReplacedByADictionaryAndKeptBeside) {
  const fs::path kept = SharedFile().string() + ".damaged";
  WriteFile(SharedFile(), "<plist><dict><key>half");
  Set(u"top", PlatformString(u"v"));
  EXPECT_EQ(ReadFile(SharedFile()), "<plist><dict><key>half");
  EXPECT_FALSE(fs::exists(kept));
  Set(u"K", Key(u"n", u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
  EXPECT_EQ(ReadFile(kept), "<plist><dict><key>half");
  // The same damage needs no second copy, another one does.
  const fs::path second = SharedFile().string() + ".damaged-2";
  WriteFile(SharedFile(), "<plist><dict><key>half");
  Set(u"K", Key(u"n", u"v"));
  EXPECT_FALSE(fs::exists(second));
  WriteFile(SharedFile(), "other");
  WritePreferenceString(0, u"K", u"n", u"v", kDomain);
  EXPECT_EQ(ReadFile(second), "other");
  EXPECT_EQ(ReadFile(kept), "<plist><dict><key>half");
}

TEST_F(SharedPreferenceFileTest, SaveReportsWhatFails) {
  EXPECT_EQ(SavePropertiesToSharedFile(Key(u"n", u"v"), domain_), 0);
  EXPECT_EQ(SavePropertiesToSharedFile(nullptr, domain_), -4960);
  EXPECT_EQ(OnDisk(SharedFile()), R"({"n":"v"})");
  const fs::path folder = SharedFile().parent_path();
  fs::remove_all(folder);
  WriteFile(folder, "a file where the folder should be");
  EXPECT_NE(SavePropertiesToSharedFile(Key(u"n", u"v"), domain_), 0);
  EXPECT_EQ(WritePreferenceString(0, u"K", u"n", u"v", kDomain), 0u);
}

}  // namespace
}  // namespace orvik::test
