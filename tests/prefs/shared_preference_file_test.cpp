#include "prefs/shared_preference_file.h"

#include <grp.h>

#include "platform/core_foundation/collections.h"
#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "strings/auto_release.h"
#include "tests/prefs/store_fixture.h"
#include "tests/support/file_trees.h"

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
}

TEST_F(SharedPreferenceFileTest, OnlyADictionaryBringsTheFileIntoBeing) {
  Set(u"top", CFSTR(u"v"));
  Set(u"top", nullptr);
  WritePreferenceInt(0, u"", u"top", 1, kDomain);
  EXPECT_FALSE(fs::exists(SharedFile()));
  EXPECT_FALSE(fs::exists(SharedFile().parent_path()));
  Set(u"K", Key(u"n", u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
  Set(u"top", CFSTR(u"v"));
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
  EXPECT_EQ(SharedPreferencesCopyValue(CFSTR(u"a"), domain_), nullptr);
}

TEST_F(SharedPreferenceFileTest, ADamagedFileIsReplacedByADictionaryAndKeptBeside) {
  WriteFile(SharedFile(), "<plist><dict><key>half");
  Set(u"top", CFSTR(u"v"));
  EXPECT_EQ(ReadFile(SharedFile()), "<plist><dict><key>half");
  Set(u"K", Key(u"n", u"v"));
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
  EXPECT_EQ(ReadFile(SharedFile().string() + ".damaged"), "<plist><dict><key>half");
}

// Several users who share the preferences of the shared scope, as docs/prefs.md sets them up.
TEST_F(SharedPreferenceFileTest, MembersOfTheGroupChangeOneFileAndOthersReadIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as several users";
  constexpr gid_t kGroup = 30000;
  constexpr int kMembers = 3;
  fs::permissions(env_.folder(), fs::perms(0755));
  fs::create_directories(SharedFile().parent_path());
  ASSERT_EQ(chown(SharedFile().parent_path().c_str(), 0, kGroup), 0);
  ASSERT_EQ(chmod(SharedFile().parent_path().c_str(), 02775), 0);
  const std::vector<int> statuses = InProcesses(kMembers + 1, [&](int number) {
    const bool is_member = number < kMembers;
    const uid_t user = kGroup + 1 + static_cast<uid_t>(number);
    const fs::path home = env_.folder() / ("home" + std::to_string(number));
    fs::create_directories(home);
    setenv("HOME", home.c_str(), 1);
    umask(022);
    if (chown(home.c_str(), user, user) != 0 || setgroups(is_member ? 1 : 0, &kGroup) != 0 ||
        setgid(user) != 0 || setuid(user) != 0) {
      return 99;
    }
    PrefStatus status;
    for (int value = 0; value < 10 && status.ok(); ++value) {
      Transaction change(kSharedScope, kDomain);
      change.Set(Wide("User" + std::to_string(number)), Wide(std::to_string(value)), value);
      status = change.Commit();
    }
    return static_cast<int>(status.error);
  });
  const int not_permitted = static_cast<int>(PrefError::kNotPermitted);
  EXPECT_EQ(statuses, (std::vector<int>{0, 0, 0, not_permitted}));
  EXPECT_EQ(StatOf(SharedFile()).st_gid, kGroup);
  EXPECT_EQ(ModeOf(SharedFile()), 0664u);
  EXPECT_EQ(ReadDomain(kSharedScope, kDomain).value.count(), std::size_t{kMembers});
}

}  // namespace
}  // namespace orvik::test
