#include "prefs/transaction.h"

#include <fstream>
#include <sstream>

#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/shared_preference_file.h"
#include "strings/auto_release.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

using TransactionTest = StoreTest;
using T = Transaction&;

// Every pointer converts to CFTypeRef, so pointers to other objects must be refused.
template <class Object>
concept IsTaken = requires(Object object) {
  SharedPreferencesSetValue(nullptr, object, nullptr);
}
|| requires(Object object) {
  SavePropertiesToSharedFile(object, nullptr);
};
static_assert(!IsTaken<const char16_t*> && !IsTaken<CAtlString*> && !IsTaken<plist::Value>);

CAtlString Deep(int levels) {
  return CAtlString::FromUtf8(Repeated("d/", levels));
}

using plist::Value;

Value Dictionary(const char16_t* key, const Value& value) {
  return Value::Dictionary({{key, value}});
}

TEST_F(TransactionTest, AFailureAnywhereLeavesTheFile) {
  using enum PrefError;
  const std::tuple<const char*, PrefError, void (*)(T)> kCases[] = {
      {"value on the path", kNotAKey, [](T t) { t.Set(u"A/s", u"x", 1); }},
      {"value as top-level key", kNotAKey, [](T t) { t.Set(u"top", u"x", 1); }},
      {"missing value", kNotFound, [](T t) { t.Delete(u"A", u"no", IfMissing::kFail); }},
      {"missing key", kNotFound, [](T t) { t.DeleteKey(u"A/no", IfMissing::kFail); }},
      {"another value", kConditionNotMet, [](T t) { t.RequireEqual(u"A", u"s", u"Text"); }},
      {"another type", kConditionNotMet, [](T t) { t.RequireEqual(u"A", u"s", 0); }},
      {"nothing to compare", kConditionNotMet, [](T t) { t.RequireEqual(u"A", u"no", 0); }},
      {"present", kConditionNotMet, [](T t) { t.RequireAbsent(u"A", u"s"); }},
      {"blocked is not absent", kConditionNotMet, [](T t) { t.RequireAbsent(u"top", u"s"); }},
      {"a key of that name", kIsAKey, [](T t) { t.RequireNotKey(u"", u"A"); }},
      {"a value for a key", kNotAKey, [](T t) { t.ReplaceKey(u"A/s", Value::Dictionary()); }},
      {"no key", kNotFound, [](T t) { t.RequireKey(u"B"); }},
      {"not an empty key", kKeyNotEmpty, [](T t) { t.RequireEmptyKey(u"A"); }},
      {"no key to be empty", kNotFound, [](T t) { t.RequireEmptyKey(u"B"); }},
      {"other entries", kConditionNotMet,
       [](T t) { t.RequireKeyEqual(u"A", Dictionary(u"s", 1)); }},
      {"entries of none", kConditionNotMet,
       [](T t) { t.RequireKeyEqual(u"B", Value::Dictionary()); }},
      {"no key, but a value above", kConditionNotMet,
       [](T t) { t.RequireKeyEqual(u"top/B", Value()); }},
      {"a key for a value", kIsAKey, [](T t) { t.Set(u"", u"A", 1, ReplaceKeys::kNo); }},
      {"a value for a new key", kIsAValue,
       [](T t) { t.Set(u"A", u"s", Value::Dictionary(), ReplaceKeys::kNo); }},
      {"nothing made of it", kConditionNotMet,
       [](T t) { t.Update(u"A", u"s", [](const Value&) { return Value(); }); }},
      {"a key of no dictionary", kNotSerializable, [](T t) { t.ReplaceKey(u"A", 1); }},
      {"a merge of no dictionary", kNotSerializable, [](T t) { t.Merge(u"A", 1); }},
      {"a merge into a value", kIsAValue, [](T t) { t.Merge(u"A/s", Dictionary(u"s", 1)); }},
      {"a merge below a value", kNotAKey, [](T t) { t.Merge(u"top/A", Dictionary(u"s", 1)); }},
      {"a key below a value", kNotAKey, [](T t) { t.MakeKey(u"top/A"); }},
      {"a merge over a value", kIsAValue,
       [](T t) { t.Merge(u"", Dictionary(u"top", Value::Dictionary())); }},
      {"a condition of its own", kConditionNotMet,
       [](T t) { t.RequireThat(u"A", u"no", &Value::is_string); }},
      {"nothing to copy", kNotFound, [](T t) { t.Copy(u"A", u"no", u"A", u"x"); }},
      {"nowhere to move", kNotAKey, [](T t) { t.Rename(u"A", u"s", u"top", u"x"); }},
      {"a merge over a key", kIsAKey, [](T t) { t.Merge(u"", Dictionary(u"A", 1)); }},
      {"no value", kNotSerializable, [](T t) { t.Set(u"A", u"x", Value()); }},
      {"too deep", kNotSerializable, [](T t) { t.Set(Deep(1000), u"x", 1); }},
  };
  for (const int scope : {0, 1, 4}) {
    WritePlist(FileOf(scope), R"({"A":{"s":"text"},"top":"t"})");
    const std::string bytes = ReadFile(FileOf(scope));
    for (const auto& [title, error, last] : kCases) {
      SCOPED_TRACE(title);
      Transaction change(scope, kDomain);
      change.Set(u"A/new", u"n", u"v");
      change.Delete(u"", u"top-level that is not there");
      last(change);
      const PrefStatus status = change.Commit();
      EXPECT_EQ(status.error, error);
      EXPECT_EQ(status.step, 2);
      const bool names_value = status.path == "A/s" || status.path == "top";
      EXPECT_TRUE(error != kNotAKey || names_value) << status;
      EXPECT_EQ(ReadFile(FileOf(scope)), bytes);
      TransactionResult result;
      EXPECT_EQ(change.DryRun(&result).error, error);
      EXPECT_FALSE(result.after);
    }
  }
}

TEST_F(TransactionTest, CopiesMovesMergesAndReplaces) {
  const struct {
    const char* title;
    void (*change)(T);
    const char* after;
  } kCases[] = {
      {"makes all changes in order",
       [](T t) {
         t.RequireEqual(u"A/B", u"n", 1);
         t.Set(u"A/C/D", u"n", 2);
         t.Delete(u"A", u"s");
         t.RequireAbsent(u"A", u"s");
         t.DeleteKey(u"A/B");
         t.Set(u"A/B", u"again", u"w");
       },
       R"({"A":{"B":{"again":"w"},"C":{"D":{"n":2}}},"v":true})"},
      {"copies a key below itself", [](T t) { t.Copy(u"", u"A", u"A/B", u"C"); },
       R"({"A":{"B":{"C":{"B":{"n":1},"s":"t"},"n":1},"s":"t"},"v":true})"},
      {"moves a key below its own path", [](T t) { t.Rename(u"", u"A", u"A/B", u"C"); },
       R"({"A":{"B":{"C":{"B":{"n":1},"s":"t"}}},"v":true})"},
      {"moves a value over another", [](T t) { t.Rename(u"", u"v", u"A", u"s"); },
       R"({"A":{"B":{"n":1},"s":true}})"},
      {"moves to where it is", [](T t) { t.Rename(u"A", u"B", u"A/", u"B"); },
       R"({"A":{"B":{"n":1},"s":"t"},"v":true})"},
      {"merges",
       [](T t) {
         t.Merge(u"", Value::Dictionary(
                          {{u"A", Value::Dictionary({{u"B", Dictionary(u"m", 2)}, {u"s", 1}})},
                           {u"w", 1}}));
         t.Merge(u"A/D", Dictionary(u"x", 2));
         t.Merge(u"A", Dictionary(u"B", 1), ReplaceKeys::kYes);
       },
       R"({"A":{"B":1,"D":{"x":2},"s":1},"v":true,"w":1})"},
      {"makes and replaces keys",
       [](T t) {
         t.MakeKey(u"A/B");
         t.MakeKey(u"E/F");
         t.ReplaceKey(u"A/B", Dictionary(u"m", 1));
         t.ReplaceKey(u"G", Value::Dictionary());
         t.RequireEmptyKey(u"G");
       },
       R"({"A":{"B":{"m":1},"s":"t"},"E":{"F":{}},"G":{},"v":true})"},
      {"replaces what it may, and clears keys",
       [](T t) {
         t.RequireKeyEqual(u"A/B", Dictionary(u"n", 1));
         t.RequireKeyEqual(u"none", Value());
         t.RequireNotKey(u"", u"v");
         t.Set(u"", u"v", 2, ReplaceKeys::kNo);
         t.Set(u"", u"A", Dictionary(u"B", Dictionary(u"n", 1)), ReplaceKeys::kNo);
         t.Merge(u"v", Dictionary(u"x", 1), ReplaceKeys::kYes);
         t.ClearKey(u"A/B");
         t.ClearKey(u"none");
         t.RequireEmptyKey(u"A/B");
       },
       R"({"A":{"B":{}},"v":{"x":1}})"},
      {"clears the domain", [](T t) { t.ClearKey(u""); }, "{}"},
      {"replaces the domain",
       [](T t) {
         t.ReplaceDomain(Dictionary(u"K", Value::Dictionary()));
         t.Set(u"K", u"m", u"v");
       },
       R"({"K":{"m":"v"}})"},
      {"takes names with separators",
       [](T t) {
         t.Set(KeyPath::FromNames({u"a/b", u"c\\d"}), u"e/f", 1);
         t.DeleteKey(u"A");
       },
       R"({"a/b":{"c\\d":{"e/f":1}},"v":true})"},
  };
  int scope = 0;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.title);
    scope = scope == 0 ? 1 : scope == 1 ? 4 : 0;
    WritePlist(FileOf(scope), R"({"A":{"B":{"n":1},"s":"t"},"v":true})", "binary");
    const std::string bytes = ReadFile(FileOf(scope));
    Transaction change(scope, kDomain);
    c.change(change);
    TransactionResult rehearsed, done;
    ASSERT_TRUE(change.DryRun(&rehearsed).ok());
    EXPECT_EQ(ReadFile(FileOf(scope)), bytes);
    ASSERT_TRUE(change.Commit(IfDamaged::kFail, &done).ok());
    EXPECT_EQ(OnDisk(FileOf(scope)), c.after);
    EXPECT_EQ(rehearsed.after, done.after);
    EXPECT_EQ(rehearsed.before, done.before);
    EXPECT_EQ(done.after, ReadDomain(scope, kDomain).value);
    change.Set(u"refused", u"n", 1);
    change.Set(u"refused/n", u"below a value", 1);
    TransactionResult none;
    EXPECT_FALSE(change.Commit(IfDamaged::kFail, &none).ok());
    EXPECT_TRUE(!none.before && !none.after);
  }
}

// The comment in the file shows whether the file was written: a written file has no comments.
TEST_F(TransactionTest, WritesNothingThatIsThere) {
  for (const int scope : {0, 1, 4}) {
    WritePlist(FileOf(scope), R"({"K":{"n":1,"r":1.5,"list":[true,{"x":0}],"s":"t"}})");
    const std::string bytes = ReadFile(FileOf(scope)) + "<!-- by hand -->\n";
    WriteFile(FileOf(scope), bytes);
    const PrefValue domain = ReadDomain(scope, kDomain);
    Transaction same(scope, kDomain);
    same.Set(u"K", u"n", 1);
    same.Set(u"K", u"s", u"t");
    same.MakeKey(u"K");
    same.Delete(u"K", u"none");
    same.Merge(u"", domain.value);
    same.ReplaceKey(u"K", *domain.value.Find(u"K"));
    same.ReplaceDomain(domain.value);
    EXPECT_TRUE(same.Commit().ok());
    EXPECT_EQ(WritePreferenceInt(scope, u"K", u"n", 1, kDomain), 0u);
    EXPECT_EQ(DeletePreference(scope, u"K", u"missing", kDomain), 0u);
    EXPECT_EQ(ReadFile(FileOf(scope)), bytes);
    // A real never equals an integer.
    Transaction other(scope, kDomain);
    other.Set(u"K", u"n", 1.0);
    EXPECT_TRUE(other.Commit().ok());
    EXPECT_EQ(OnDisk(FileOf(scope)), R"({"K":{"list":[true,{"x":0}],"n":1.0,"r":1.5,"s":"t"}})");
  }
}

TEST_F(TransactionTest, NoEntriesMakeNoFile) {
  Transaction nothing(0, kDomain);
  nothing.ReplaceDomain(Value::Dictionary());
  nothing.Merge(u"", Value::Dictionary());
  EXPECT_TRUE(nothing.Commit().ok());
  EXPECT_FALSE(fs::exists(SharedFile().parent_path()));
}

TEST_F(TransactionTest, SetsIfEqualOrAbsent) {
  using enum PrefError;
  EXPECT_EQ(SetPreferenceIfEqual(0, u"K", u"n", 1, 2, kDomain).error, kConditionNotMet);
  EXPECT_TRUE(SetPreferenceIfAbsent(0, u"K", u"n", 1, kDomain).ok());
  EXPECT_EQ(SetPreferenceIfAbsent(0, u"K", u"n", 2, kDomain).error, kConditionNotMet);
  EXPECT_TRUE(SetPreferenceIfEqual(0, u"K", u"n", 1, 2, kDomain).ok());
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":2}})");
}

TEST_F(TransactionTest, RefusesWhatItCannotAddress) {
  Transaction unknown(9, kDomain), refused(1, u"../x"), deep(0, kDomain), empty(0, kDomain);
  for (Transaction* change : {&unknown, &refused}) change->Set(u"K", u"n", 1);
  deep.Set(Deep(200'000), u"n", 1);
  empty.DeleteKey(u"//");
  EXPECT_EQ(unknown.Commit().error, PrefError::kUnknownScope);
  EXPECT_EQ(unknown.Commit(IfDamaged::kReplace).error, PrefError::kUnknownScope);
  EXPECT_EQ(refused.Commit().error, PrefError::kRefusedDomain);
  EXPECT_EQ(deep.Commit().error, PrefError::kNotSerializable);
  EXPECT_TRUE(deep.Commit().path.ends_with("d/n"));
  EXPECT_EQ(WritePreferenceInt(1, Deep(511), u"n", 1, kDomain), 0u);
  Transaction nested(0, kDomain);
  nested.Set(u"K/L", u"n", Dictionary(u"b", Dictionary(u"c", Value())));
  EXPECT_EQ(nested.Commit().path, "K/L/n/b/c");
  EXPECT_EQ(empty.Commit().error, PrefError::kEmptyPath);
  for (const int levels : {512, 200'000}) {
    for (const int scope : {0, 1}) {
      EXPECT_EQ(WritePreferenceInt(scope, Deep(levels), u"n", 1, kDomain), kPreferenceBadKey);
    }
  }
  EXPECT_FALSE(fs::exists(SharedFile()));
}

TEST_F(TransactionTest, AFileWithoutEntriesStaysUnlessItIsToBeReplaced) {
  Transaction change(1, kDomain);
  change.Set(u"K", u"n", 1);
  for (const auto& [bytes, error] : {std::pair("<plist><dict>", PrefError::kDamaged),
                                     {"<plist><array/></plist>", PrefError::kRootNotDictionary}}) {
    fs::remove(FileOf(1).string() + ".damaged");
    WriteFile(FileOf(1), bytes);
    EXPECT_EQ(change.Commit().error, error);
    EXPECT_EQ(ReadFile(FileOf(1)), bytes);
    EXPECT_TRUE(change.Commit(IfDamaged::kReplace).ok());
    EXPECT_EQ(OnDisk(FileOf(1)), R"({"K":{"n":1}})");
    EXPECT_EQ(ReadFile(FileOf(1).string() + ".damaged"), bytes);
  }
}

// Sixteen processes of two users write, some are killed, and a reader watches and removes the lock
// file, as cleanup programs do.
TEST_F(TransactionTest, ManyWritersLoseNothingThatWasReported) {
  constexpr int kProcesses = 16, kValues = 50, kKilled = 4;
  // In memory if possible: flushing takes no time there.
  const ScopedVariable temporary("TMPDIR", access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
  const ScopedEnvironment memory;
  const fs::path file = PreferenceFilePath(0, kDomain), reports = memory.folder() / "reports";
  WritePlist(file, R"({"Untouched":{"n":"v"}})");
  fs::create_directories(reports);
  const auto write = [&](int number) {
    ExchangeSharedLockWait([] { usleep(2000); });
    if (number < kKilled) ualarm(static_cast<useconds_t>(40'000 * (number + 1)), 0);
    // Neither user sees the lock record of the other.
    if (number % 2 == 1) setenv("HOME", (memory.folder() / "other").c_str(), 1);
    std::ofstream report(reports / std::to_string(number));
    for (int value = 0; value < kValues; ++value) {
      const std::string name = "p" + std::to_string(number) + "-" + std::to_string(value);
      const CAtlString path = Wide("Software/P" + std::to_string(number % 4));
      while (WritePreferenceInt(0, path, Wide(name), value, kDomain) != 0) continue;
      report << '"' << name << "\":" << value << std::endl;
    }
    return 0;
  };
  const std::vector<int> statuses = InProcesses(kProcesses + 1, [&](int number) {
    if (number < kProcesses) return write(number);
    for (int reads = 0; reads < 200; ++reads) {
      if (!ReadDomain(0, kDomain).ok()) return 1;
      unlink((file.parent_path() / ".orvik.lock").c_str());
      usleep(2000);
    }
    return 0;
  });
  EXPECT_EQ(std::vector<int>(statuses.begin() + kKilled, statuses.end()), std::vector<int>(13, 0));
  const std::string stored = OnDisk(file);
  EXPECT_TRUE(Contains(stored, R"("Untouched":{"n":"v"})"));
  int reported = 0;
  for (const std::string& report : NamesIn(reports)) {
    std::istringstream lines(ReadFile(reports / report));
    for (std::string entry; lines >> entry; ++reported) EXPECT_TRUE(Contains(stored, entry));
  }
  EXPECT_GE(reported, (kProcesses - kKilled) * kValues);
  // A killed holder blocks no other process.
  EXPECT_EQ(WritePreferenceInt(0, u"Software", u"last", 1, kDomain), 0u);
  EXPECT_EQ(waits_, 0);
}

// Shared data becomes larger than a file may be only when it is written out.
TEST_F(TransactionTest, SavesNothingThatIsTooLargeToBeReadAgain) {
  const Value data = Value::Data(std::string(4 << 20, 'x'));
  Transaction change(1, kDomain);
  change.Set(u"A", u"list", Value::Array(std::vector<Value>(100, data)));
  TransactionResult result;
  EXPECT_EQ(change.DryRun(&result).error, PrefError::kTooLarge);
  EXPECT_EQ(change.Commit().error, PrefError::kTooLarge);
  EXPECT_FALSE(fs::exists(FileOf(1)));
}

}  // namespace
}  // namespace orvik::test
