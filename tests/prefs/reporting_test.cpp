#include "prefs/reporting.h"

#include "prefs/preferences.h"
#include "prefs/transaction.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

using ReportingTest = StoreTest;

TEST_F(ReportingTest, TellsWhatIsThereAndWhyNot) {
  EXPECT_EQ(ReadDomain(0, kDomain).status.error, PrefError::kNotFound);
  EXPECT_EQ(ReadDomain(1, u"/x").status.error, PrefError::kRefusedDomain);
  EXPECT_EQ(ReadDomain(-2, kDomain).status.error, PrefError::kUnknownScope);
  for (const int scope : {0, 1, 4}) {
    SCOPED_TRACE(scope);
    WriteFile(FileOf(scope), "{top = t; K = {b = 1; S = {x = (y);}; a = 2;};}");
    EXPECT_EQ(ReadPreference(scope, u"K", u"b", kDomain).value, u"1");
    EXPECT_TRUE(ReadPreference(scope, u"", u"top", kDomain).ok());
    EXPECT_EQ(ReadPreferenceKey(scope, u"no/x", kDomain).status.error, PrefError::kNotFound);
    CAtlArray<CAtlString> names;
    for (const char16_t* key : {u"", u"K"}) {
      EXPECT_TRUE(ListPreferenceNames(scope, key, kDomain, names).ok());
    }
    std::string joined;
    for (const CAtlString& name : names) joined += Utf8(name) + " ";
    EXPECT_EQ(joined, "K top S a b ");
    WriteFile(FileOf(scope), "<plist><string>x</string></plist>");
    EXPECT_EQ(ReadDomain(scope, kDomain).status.error, PrefError::kRootNotDictionary);
  }
}

TEST_F(ReportingTest, AnUnreadableFileIsNeitherRepairedNorChanged) {
  for (const int scope : {0, 1, 4}) {
    SCOPED_TRACE(scope);
    const fs::path file = FileOf(scope);
    Transaction change(scope, kDomain);
    change.Set(u"K", u"n", u"v");
    const auto expect_error = [&](PrefError error) {
      EXPECT_EQ(CheckDomain(scope, kDomain).status.error, error);
      EXPECT_EQ(RepairDomain(scope, kDomain).status.error, error);
      EXPECT_EQ(change.Commit().error, error);
    };
    fs::create_directories(file);
    expect_error(PrefError::kUnreadable);
    fs::remove(file);
    WriteFile(file, "");
    fs::resize_file(file, std::uintmax_t{1} << 40);
    expect_error(PrefError::kTooLarge);
    WritePreferenceString(scope, u"K", u"n", u"v", kDomain);
    EXPECT_EQ(fs::file_size(file), std::uintmax_t{1} << 40);
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
  }
}

// plist/salvage.h decides which entries are saved.
TEST_F(ReportingTest, RepairSavesWhatIsWholeAndKeepsTheDamagedFile) {
  const std::string damaged = "<plist><dict><key>A</key><true/><key>B</key><integer>x</integer>";
  for (const int scope : {0, 1, 4}) {
    SCOPED_TRACE(scope);
    const fs::path file = FileOf(scope);
    WriteFile(file, damaged);
    const PrefCheck check = CheckDomain(scope, kDomain);
    EXPECT_EQ(check.status.error, PrefError::kDamaged);
    EXPECT_GE(check.damage.Find(u"in line 1, column 45"), 0) << Utf8(check.damage);
    const PrefRepair tried = RepairDomain(scope, kDomain, {}, PrefRepairMode::kDryRun);
    EXPECT_EQ(tried.kept_copy, "");
    EXPECT_EQ(ReadFile(file), damaged);
    const PrefRepair repair = RepairDomain(scope, kDomain);
    for (const PrefRepair* each : {&tried, &repair}) {
      EXPECT_TRUE(each->status.ok() && !each->was_sound) << each->status;
      EXPECT_EQ(each->entries, 1);
      EXPECT_EQ(each->lost, 2u);
      EXPECT_EQ(each->losses.at(0).path, "B");
    }
    EXPECT_EQ(repair.kept_copy, file.string() + ".damaged");
    EXPECT_EQ(ReadFile(repair.kept_copy), damaged);
    EXPECT_EQ(OnDisk(file), R"({"A":true})");
    const PrefRepair again = RepairDomain(scope, kDomain);
    EXPECT_TRUE(again.was_sound && again.status.ok());
  }
  EXPECT_EQ(RepairDomain(4, u"com.example.none").status.error, PrefError::kNotFound);
}

// The lock is taken after the first reading of the file.
TEST_F(ReportingTest, RepairSavesWhatIsThereUnderTheLock) {
  WriteFile(SharedFile(), "<plist><dict><key>A</key><true/>");
  ASSERT_TRUE(LockGlobalSharedPList(kDomain));
  EXPECT_EQ(RepairDomain(0, kDomain).status.error, PrefError::kLockNotObtained);
  UnlockGlobalSharedPList(kDomain);
  // Still recent however long the test takes to reach it.
  fs::last_write_time(SharedFile(), fs::file_time_type::clock::now() + std::chrono::seconds(30));
  int waits = 0;
  plist::ExchangeFileWriterWait([&] {
    if (waits++ == 0) WriteFile(SharedFile(), "<plist><dict><key>B</key><true/>");
  });
  EXPECT_TRUE(RepairDomain(0, kDomain).status.ok());
  EXPECT_EQ(OnDisk(SharedFile()), R"({"B":true})");
  const fs::path lock = SharedFile().parent_path() / ".orvik.lock";
  fs::remove(lock);
  fs::create_symlink("elsewhere", lock);
  WriteFile(SharedFile(), "<plist><dict><key>C</key><true/>");
  EXPECT_EQ(RepairDomain(0, kDomain).status.error, PrefError::kLockRefused);
}

TEST_F(ReportingTest, RepairLeavesAloneWhatGivesNothing) {
  const fs::path file = FileOf(1);
  for (const std::string bytes : {"", "no list", "( a, b )"}) {
    SCOPED_TRACE(bytes);
    WriteFile(file, bytes);
    for (const PrefRepairMode mode : {PrefRepairMode::kDryRun, PrefRepairMode::kSave}) {
      const PrefRepair repair = RepairDomain(1, kDomain, {}, mode);
      EXPECT_EQ(repair.status.error,
                bytes[0] == '(' ? PrefError::kRootNotDictionary : PrefError::kNothingSaved);
      EXPECT_EQ(repair.entries, 0);
      EXPECT_EQ(repair.lost, bytes.empty() ? 0u : 1u);
      EXPECT_EQ(repair.lost, repair.losses.size());
      EXPECT_EQ(ReadFile(file), bytes);
      EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
    }
  }
  const PrefRepair repair = RepairDomain(1, kDomain, {}, PrefRepairMode::kReplace);
  EXPECT_TRUE(repair.status.ok());
  EXPECT_EQ(ReadFile(repair.kept_copy), "( a, b )");
  EXPECT_EQ(OnDisk(file), "{}");
}

}  // namespace
}  // namespace orvik::test
