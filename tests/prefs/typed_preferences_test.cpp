// Values with types, watches of them, and results with reasons.
#include <poll.h>

#include <sstream>

#include "prefs/preference_watch.h"
#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "prefs/typed_preferences.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

using namespace std::string_literals;

constexpr char16_t kName[] = u"com.example.Store";

class TypedPreferencesTest : public StoreTest {
 protected:
  TypedPreferences settings_{kName, kUserScope};
};

TEST_F(TypedPreferencesTest, EveryTypeComesBackAsItWasSet) {
  const PreferenceDate date(std::chrono::duration<double>(1'700'000'000.0));
  const std::uint64_t large = ~std::uint64_t{0};
  const PreferenceValue list = PreferenceValue::Array({u"a", true, 2.5});
  const PreferenceValue key = PreferenceValue::Dictionary({{u"inner", 1}, {u"list", list}});
  const std::pair<const char16_t*, PreferenceValue> kCases[] = {
      {u"string", u"t\u00e4xt"},
      {u"large", large},
      {u"zero", 0},
      {u"real", 0.1},
      {u"no", false},
      {u"date", PreferenceValue::Date(date)},
      {u"data", PreferenceValue::Data("\0\xFF"s)},
      {u"array", list},
      {u"key", key},
      {u"", u"the empty name"}};
  for (const auto& [name, value] : kCases) EXPECT_TRUE(settings_.Set(u"A/B", name, value).ok());
  for (const auto& [name, value] : kCases) EXPECT_EQ(settings_.Value(u"A/B", name), value);
  EXPECT_EQ(settings_.Date(u"A/B", u"date"), date);
  EXPECT_EQ(settings_.Data(u"A/B", u"data"), "\0\xFF"s);
  EXPECT_EQ(settings_.Array(u"A/B", u"array")->size(), 3u);
  EXPECT_EQ(settings_.Integer(u"A/B/key", u"inner"), 1);
  EXPECT_EQ(settings_.Key(u"A/B/key"), key);
  EXPECT_EQ(settings_.Real(u"A/B", u"zero"), 0.0);
  EXPECT_EQ(settings_.Real(u"A/B", u"large"), static_cast<double>(large));
  EXPECT_EQ(settings_.Boolean(u"A/B", u"no"), false);
  EXPECT_FALSE(settings_.Boolean(u"A/B", u"zero") || settings_.Integer(u"A/B", u"real") ||
               settings_.Integer(u"A/B", u"large"));

  for (int i = 0; i < 2; ++i) EXPECT_TRUE(settings_.Remove(u"A/B", u"string").ok());
  EXPECT_EQ(settings_.String(u"A/B", u"string"), std::nullopt);
  EXPECT_TRUE(settings_.RemoveKey(u"A/B").ok());
  EXPECT_EQ(settings_.Key(u"A"), PreferenceValue::Dictionary());
  std::ostringstream out;
  out << PrefStatus() << ", " << settings_.RemoveKey(u"");
  EXPECT_EQ(out.str(), "ok, the key path is empty");
}

TEST_F(TypedPreferencesTest, ASnapshotStaysAndSaysWhyNothingIsFound) {
  const PreferenceSnapshot before(kName, kUserScope);
  EXPECT_EQ(before.status().error, PrefError::kNotFound);
  EXPECT_TRUE(settings_.Set(u"A", u"n", 1).ok());
  const PreferenceSnapshot snapshot(kName, kUserScope);
  EXPECT_TRUE(settings_.Set(u"A", u"n", 2).ok());
  PrefStatus status{PrefError::kNotFound};
  EXPECT_EQ(before.Integer(u"A", u"n"), std::nullopt);
  EXPECT_EQ(snapshot.Integer(u"A", u"n", &status), 1);
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(settings_.Integer(u"A", u"n"), 2);
  EXPECT_EQ(snapshot.Key(u"A"), PreferenceValue::Dictionary({{u"n", 1}}));
  EXPECT_EQ(snapshot.Key(u""), snapshot.entries());
  WriteFile(UserFile(), "<plist>");
  using enum PrefError;
  const std::tuple<const PreferenceReader&, const char16_t*, const char16_t*, PrefError> kCases[] =
      {{snapshot, u"A", u"n", kWrongType}, {snapshot, u"", u"A", kWrongType},
       {snapshot, u"A", u"m", kNotFound},  {snapshot, u"B", u"n", kNotFound},
       {snapshot, u"A/n", u"x", kNotAKey}, {settings_, u"A", u"n", kDamaged}};
  for (const auto& [reader, path, name, error] : kCases) {
    EXPECT_EQ(reader.String(path, name, &status), std::nullopt);
    EXPECT_EQ(status.error, error) << status;
  }
}

using Changes = std::vector<PreferenceChange>;

class PreferenceWatchTest : public StoreTest {
 protected:
  // Like an event loop; the descriptor may become readable several times for one change.
  static Changes Next(PreferenceWatch& watch) {
    for (int tries = 0; tries < 100; ++tries) {
      pollfd polled = {watch.descriptor(), POLLIN, 0};
      poll(&polled, 1, 10'000);
      Changes changes = watch.TakeChanges();
      if (!changes.empty()) return changes;
    }
    return {};
  }

  TypedPreferences settings_{kName, kSharedScope};
};

TEST_F(PreferenceWatchTest, ReportsOldAndNewValuesOfTheKey) {
  PreferenceWatch made(kSharedScope, u"A", kName), watch(std::move(made));
  ASSERT_TRUE(watch.status().ok());
  EXPECT_EQ(watch.TakeChanges(), Changes());
  EXPECT_TRUE(settings_.Set(u"A/B", u"n", 1));
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, {}, 1}}));
  EXPECT_TRUE(settings_.Set(u"Other", u"n", 1));
  EXPECT_TRUE(settings_.Set(u"A/B", u"n", u"text"));
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, 1, u"text"}}));
  // A damaged file tells nothing about the values.
  const std::string sound = ReadFile(SharedFile());
  WriteFile(SharedFile(), "<plist>");
  while (watch.status().ok()) {
    EXPECT_EQ(watch.TakeChanges(), Changes());
  }
  EXPECT_EQ(watch.status().error, PrefError::kDamaged);
  WriteFile(SharedFile(), sound);
  EXPECT_TRUE(settings_.Set(u"A", u"m", true));
  EXPECT_EQ(Next(watch), (Changes{{{u"m"}, {}, true}}));
  EXPECT_EQ(watch.values().count(), 2u);
  fs::remove(SharedFile());
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, u"text", {}}, {{u"m"}, true, {}}}));
}

TEST_F(PreferenceWatchTest, RefusesWhatNamesNoFile) {
  EXPECT_EQ(PreferenceWatch(kSharedScope, u"", u"../x").status().error, PrefError::kRefusedDomain);
  EXPECT_EQ(PreferenceWatch(7, u"", u"x").status().error, PrefError::kUnknownScope);
}

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
