#include "prefs/shared_preference_file.h"

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/scalars.h"
#include "prefs/preferences.h"
#include "strings/auto_release.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

class SharedPreferenceFileTest : public StoreTest {
 protected:
  CAutoCFRelease<CFTypeRef> Key(const char16_t* name, const char16_t* value) {
    return CAutoCFRelease<CFTypeRef>(
        CreateObject(plist::Value::Dictionary({{name, value}}), kCFPropertyListImmutable));
  }
  void Set(const char16_t* name, CFTypeRef value) {
    SharedPreferencesSetValue(CFSTR(name), value, domain_);
  }

  CAutoCFRelease<CFStringRef> domain_{CAtlString(kDomain).CreateCFStringRef(kCFAllocatorDefault)};
};

TEST_F(SharedPreferenceFileTest, LiesBelowTheSharedUserFolder) {
  EXPECT_EQ(SharedPreferenceFilePath(domain_), SharedFile());
  const CAutoCFRelease<CFStringRef> refused(
      CAtlString(u'x', 1024).CreateCFStringRef(kCFAllocatorDefault));
  EXPECT_EQ(LibPref_CopySharedCFURLRef(refused), nullptr);
  EXPECT_EQ(SharedPropertyList(refused), nullptr);
  EXPECT_EQ(SavePropertiesToSharedFile(Key(u"k", u"v"), refused), -4960);
  EXPECT_EQ(SavePropertiesToSharedFile(nullptr, domain_), -4960);
  EXPECT_EQ(SharedPropertyList(nullptr), nullptr);
  EXPECT_EQ(SharedPreferenceFilePath(nullptr), "");
  EXPECT_EQ(SharedPreferenceFilePath(kCFPreferencesCurrentApplication), "");
  EXPECT_EQ(SharedPreferencesCopyValue(nullptr, domain_), nullptr);
  EXPECT_EQ(SharedPreferencesCopyValue(CFSTR(u"k"), nullptr), nullptr);
  SharedPreferencesSetValue(CFSTR(u"k"), Key(u"n", u"v"), nullptr);
  SharedPreferencesSetValue(nullptr, Key(u"n", u"v"), domain_);
  EXPECT_FALSE(fs::exists(SharedFile()));
  EXPECT_EQ(SavePropertiesToSharedFile(Key(u"k", u"v"), domain_), 0);
  EXPECT_EQ(OnDisk(SharedFile()), R"({"k":"v"})");
  const CAutoCFRelease<CFURLRef> url(LibPref_CopySharedCFURLRef(domain_));
  EXPECT_EQ(url.Get()->Path(), SharedFile());
  fs::remove(SharedFile());
  fs::create_directory(SharedFile());
  EXPECT_EQ(SavePropertiesToSharedFile(Key(u"k", u"v"), domain_), host::StatusFromErrno(EISDIR));
  fs::remove(SharedFile());
}

TEST_F(SharedPreferenceFileTest, OnlyADictionaryBringsTheFileIntoBeing) {
  const auto offer_others = [this] {
    Set(u"top", CFSTR(u"v"));
    Set(u"top", nullptr);
    WritePreferenceInt(0, u"", u"top", 1, kDomain);
  };
  offer_others();
  EXPECT_FALSE(fs::exists(SharedFile().parent_path()));
  Set(u"K", Key(u"n", u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
  Set(u"top", CFSTR(u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"},"top":"v"})");
  Set(u"K", nullptr);
  for (int i = 0; i < 2; ++i) Set(u"top", nullptr);
  EXPECT_EQ(OnDisk(SharedFile()), "{}");
  // Other values do not replace a damaged file, either.
  WriteFile(SharedFile(), "<plist><dict><key>half");
  offer_others();
  EXPECT_EQ(ReadFile(SharedFile()), "<plist><dict><key>half");
  Set(u"K", Key(u"n", u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
  EXPECT_EQ(ReadFile(SharedFile().string() + ".damaged"), "<plist><dict><key>half");
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
  EXPECT_EQ(SharedPreferencesCopyValue(CFSTR(u"a"), domain_), nullptr);
}

}  // namespace
}  // namespace orvik::test
