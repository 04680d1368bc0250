#include "prefs/shared_preference_file.h"
#include "platform/core_foundation/collections.h"

#include <grp.h>

#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/scope.h"
#include "prefs/transaction.h"
#include "strings/auto_release.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

class SharedPreferenceFileTest : public StoreTest {
 protected:
  CAutoCFRelease<CFTypeRef> Key(const char16_t* name, const char16_t* value) {
    CAutoCFRelease<CFTypeRef> key(
        CreateObject(plist::Value::Dictionary({{name, value}}), kCFPropertyListImmutable));
    return key;
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
  for (const char* kept : {".damaged", ".damaged-2"}) {
    const std::string damaged = std::string("<plist><dict><key>half") + kept;
    WriteFile(SharedFile(), damaged);
    Set(u"top", CFSTR(u"v"));
    EXPECT_EQ(ReadFile(SharedFile()), damaged);
    Set(u"K", Key(u"n", u"v"));
    EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":"v"}})");
    EXPECT_EQ(ReadFile(SharedFile().string() + kept), damaged);
    WriteFile(SharedFile(), damaged);  // needs no second copy
    Set(u"K", Key(u"n", u"v"));
  }
  EXPECT_FALSE(fs::exists(SharedFile().string() + ".damaged-3"));
}

// Several users who share the preferences of the shared scope, as docs/prefs.md sets them up.
constexpr uid_t kFirstUser = 30001;
constexpr gid_t kGroup = 30000;

class SeveralUsersTest : public StoreTest {
 protected:
  fs::path HomeOf(int number) const { return env_.folder() / ("home" + std::to_string(number)); }

  // Goes on as a user of its own, in the group or not.
  void Become(int number, bool is_member) {
    const uid_t user = kFirstUser + static_cast<uid_t>(number);
    const gid_t group = kGroup;
    setenv("HOME", HomeOf(number).c_str(), 1);
    umask(022);
    if (setgroups(is_member ? 1 : 0, &group) != 0 || setgid(user) != 0 || setuid(user) != 0) {
      _exit(99);
    }
  }
};

TEST_F(SeveralUsersTest, MembersOfTheGroupChangeOneFileAndOthersReadIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as several users";
  constexpr int kMembers = 3;
  fs::permissions(env_.folder(), fs::perms(0755));
  fs::create_directories(SharedFile().parent_path());
  ASSERT_EQ(chown(SharedFile().parent_path().c_str(), 0, kGroup), 0);
  ASSERT_EQ(chmod(SharedFile().parent_path().c_str(), 02775), 0);
  for (int number = 0; number <= kMembers; ++number) {
    const uid_t user = kFirstUser + static_cast<uid_t>(number);
    fs::create_directories(HomeOf(number));
    ASSERT_EQ(chown(HomeOf(number).c_str(), user, user), 0);
  }
  const std::vector<int> statuses = InProcesses(kMembers, [&](int number) {
    Become(number, true);
    for (int value = 0; value < 10; ++value) {
      Transaction change(kSharedScope, kDomain);
      change.Set(Wide("User" + std::to_string(number)), Wide(std::to_string(value)), value);
      const PrefStatus status = change.Commit();
      if (!status.ok()) return static_cast<int>(status.error);
    }
    return 0;
  });
  EXPECT_EQ(statuses, std::vector<int>(kMembers, 0));
  struct stat attributes;
  ASSERT_EQ(stat(SharedFile().c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_gid, kGroup);
  EXPECT_EQ(attributes.st_mode & 0777, 0664u);
  const PrefValue all = ReadDomain(kSharedScope, kDomain);
  ASSERT_TRUE(all.ok());
  EXPECT_EQ(all.value.count(), std::size_t{kMembers});

  const int outsider = InProcesses(1, [&](int) {
    Become(kMembers, false);
    if (!ReadDomain(kSharedScope, kDomain).ok()) return 1;
    Transaction change(kSharedScope, kDomain);
    change.Set(u"Outsider", u"n", 1);
    return change.Commit().error == PrefError::kNotPermitted ? 0 : 2;
  })[0];
  EXPECT_EQ(outsider, 0);
}

}  // namespace
}  // namespace orvik::test
