#include "prefs/transaction.h"

#include <sys/wait.h>

#include <csignal>
#include <memory>
#include <sstream>

#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/shared_preference_file.h"
#include "strings/auto_release.h"
#include "tests/prefs/store_fixture.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using TransactionTest = StoreTest;
using T = Transaction&;

// Every pointer converts to CFTypeRef: what is not a platform object is refused.
template <class Object>
concept IsTaken = requires(Object object) {
  IsADictionaryType(object);
}
|| requires(Object object) {
  SharedPreferencesSetValue(nullptr, object, nullptr);
}
|| requires(Object object) {
  SavePropertiesToSharedFile(object, nullptr);
}
|| requires(Object object) {
  CAutoCFRelease<CFTypeRef>(object);
}
|| requires(Object object) {
  CAutoCFRelease<CFTypeRef>::Retaining(object);
};
template <class... Objects>
constexpr bool kAreTaken = (IsTaken<Objects> || ...);
static_assert(
    !kAreTaken<const char16_t (&)[5], const char (&)[5], const char16_t*, const char*,
               const wchar_t*, std::u16string_view, std::string_view, std::u16string, std::string,
               CAtlString, CAtlString*, int, long, bool, double, int*, PrefStatus*, plist::Value>);

template <class Object>
concept IsSettable = requires(T t, CAtlString name, Object value) {
  t.Set(name, name, value);
  t.RequireEqual(name, name, value);
  SetPreferenceIfAbsent(0, name, name, value, name);
};
template <class... Values>
constexpr bool kAreSettable = (IsSettable<Values> && ...);
static_assert(
    kAreSettable<const char16_t (&)[5], const char16_t*, std::u16string_view, std::u16string,
                 CAtlString, int, long, unsigned long, bool, double, plist::Value>);
template <class... Values>
constexpr bool kIsAnySettable = (IsSettable<Values> || ...);
static_assert(!kIsAnySettable<const char (&)[5], const char*, const wchar_t*, std::string_view,
                              std::string, CAtlString*, int*, PrefStatus*, std::nullptr_t, void*,
                              CFTypeRef, CFStringRef, const CAutoCFRelease<CFTypeRef>&>);

CAtlString Deep(int levels) {
  std::u16string path;
  for (int i = 0; i < levels; ++i) path += u"d/";
  return CAtlString(std::u16string_view(path));
}

using plist::Value;

TEST_F(TransactionTest, MakesAllChangesInOrderInEveryScope) {
  for (const int scope : {0, 1, 4}) {
    SCOPED_TRACE(scope);
    WritePlist(FileOf(scope), R"({"A":{"B":{"old":1},"gone":"x"},"top":"t","list":[1]})", "binary");
    Transaction change(scope, kDomain);
    change.RequireEqual(u"A/B", u"old", 1);
    change.Set(u"A/B", u"new", u"v");
    change.Set(u"A/C/D", u"n", 2);
    change.Delete(u"A", u"gone");
    change.Delete(u"A/never", u"x");
    change.RequireAbsent(u"A", u"gone");
    change.Set(u"", u"top", u"u");
    change.DeleteKey(u"A/B");
    change.Set(u"A/B", u"again", u"w");
    EXPECT_EQ(change.Commit().error, PrefError::kNone);
    EXPECT_EQ(OnDisk(FileOf(scope)),
              R"({"A":{"B":{"again":"w"},"C":{"D":{"n":2}}},"list":[1],"top":"u"})");
    // What the transaction saved is what the other operations read.
    unsigned long error = 9;
    EXPECT_EQ(GetPreferenceInt(scope, u"A/C/D", u"n", 0, &error, kDomain), 2);
  }
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
      {"a key in the place of a value", kIsAKey, [](T t) { t.RequireNotKey(u"", u"A"); }},
      {"a value in the place of a key", kNotAKey,
       [](T t) { t.ReplaceKey(u"A/s", Value::Dictionary()); }},
      {"no key", kNotFound, [](T t) { t.RequireKey(u"B"); }},
      {"not an empty key", kKeyNotEmpty, [](T t) { t.RequireEmptyKey(u"A"); }},
      {"a condition of its own", kConditionNotMet,
       [](T t) {
         t.RequireThat(u"A", u"no", [](const Value& value) { return value.is_string(); });
       }},
      {"nothing to copy", kNotFound, [](T t) { t.Copy(u"A", u"no", u"A", u"x"); }},
      {"nowhere to move", kNotAKey, [](T t) { t.Rename(u"A", u"s", u"top", u"x"); }},
      {"a merge over a key", kIsAKey,
       [](T t) {
         t.Merge(u"", Value::Dictionary({{u"A", 1}}));
       }},
      {"blocked is not absent", kConditionNotMet, [](T t) { t.RequireAbsent(u"top", u"s"); }},
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
         const Value one = 1, two = 2;
         t.Merge(u"", Value::Dictionary(
                          {{u"A", Value::Dictionary(
                                      {{u"B", Value::Dictionary({{u"m", two}})}, {u"s", one}})},
                           {u"w", one}}));
         t.Merge(u"A/D", Value::Dictionary({{u"x", two}}));
         t.Merge(u"A", Value::Dictionary({{u"B", one}}), ReplaceKeys::kYes);
       },
       R"({"A":{"B":1,"D":{"x":2},"s":1},"v":true,"w":1})"},
      {"makes and replaces keys",
       [](T t) {
         t.MakeKey(u"A/B");
         t.MakeKey(u"E/F");
         t.ReplaceKey(u"A/B", Value::Dictionary({{u"m", 1}}));
         t.ReplaceKey(u"G", Value::Dictionary());
         t.RequireEmptyKey(u"G");
       },
       R"({"A":{"B":{"m":1},"s":"t"},"E":{"F":{}},"G":{},"v":true})"},
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

// The file's form shows whether it was written: what is written has no comments.
TEST_F(TransactionTest, WritesNothingThatIsThere) {
  for (const int scope : {0, 1, 4}) {
    for (const char* form : {"binary", "xml"}) {
      WritePlist(FileOf(scope), R"({"K":{"n":1,"r":1.5,"list":[true,{"x":0}],"s":"t"}})", form);
      if (form[0] == 'x') WriteFile(FileOf(scope), ReadFile(FileOf(scope)) + "<!-- by hand -->\n");
      const std::string bytes = ReadFile(FileOf(scope));
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

      // A real is not the integer that equals it.
      Transaction other(scope, kDomain);
      other.Set(u"K", u"n", 1.0);
      EXPECT_TRUE(other.Commit().ok());
      EXPECT_EQ(OnDisk(FileOf(scope)), R"({"K":{"list":[true,{"x":0}],"n":1.0,"r":1.5,"s":"t"}})");
    }
  }
}

// One file for all users, wherever their homes lie.
TEST_F(TransactionTest, TheSharedFileIsTheSameBehindLinksInAHome) {
  const fs::path elsewhere = env_.folder() / "a longer way to elsewhere";
  for (const std::string link : {"home", "home/Library", "home/Library/Preferences"}) {
    SCOPED_TRACE(link);
    for (const fs::path& old : {SharedFile().parent_path(), top_ / "home", elsewhere}) {
      fs::remove_all(old);
    }
    fs::create_directories(elsewhere);
    fs::create_directories(At(link).parent_path());
    fs::create_symlink(elsewhere, At(link));
    const ScopedVariable variable("HOME", At("home").string());
    EXPECT_EQ(WritePreferenceInt(0, u"K", u"n", 1, kDomain), 0u);
    EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":1}})");
  }
}

TEST_F(TransactionTest, SetsIfEqualOrAbsentAndReplacesADomain) {
  const Value one = 1, two = 2;
  EXPECT_EQ(SetPreferenceIfEqual(0, u"K", u"n", one, two, kDomain).error,
            PrefError::kConditionNotMet);
  // On a fresh machine the failure leaves neither folders nor a lock behind.
  EXPECT_FALSE(fs::exists(env_.system_root() / "Users") || fs::exists(env_.home() / "Library"));
  EXPECT_TRUE(SetPreferenceIfAbsent(0, u"K", u"n", one, kDomain).ok());
  EXPECT_EQ(SetPreferenceIfAbsent(0, u"K", u"n", two, kDomain).error, PrefError::kConditionNotMet);
  EXPECT_TRUE(SetPreferenceIfEqual(0, u"K", u"n", one, two, kDomain).ok());
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"n":2}})");
  const Value entries = Value::Dictionary({{u"K", Value::Dictionary()}});
  Transaction change(3, kDomain);
  change.ReplaceDomain(entries);
  change.Set(u"K", u"m", u"v");
  EXPECT_TRUE(change.Commit().ok());
  EXPECT_EQ(OnDisk(SharedFile()), R"({"K":{"m":"v"}})");
  EXPECT_EQ(entries.Find(u"K")->count(), 0u);
}

TEST_F(TransactionTest, RefusesWhatItCannotAddressAndWaitsForTheLock) {
  Transaction unknown(9, kDomain), refused(1, u"../x"), deep(0, kDomain), empty(0, kDomain);
  for (Transaction* change : {&unknown, &refused}) change->Set(u"K", u"n", 1);
  deep.Set(Deep(200'000), u"n", 1);
  empty.DeleteKey(u"//");
  EXPECT_EQ(unknown.Commit().error, PrefError::kUnknownScope);
  EXPECT_EQ(refused.Commit().error, PrefError::kRefusedDomain);
  EXPECT_EQ(deep.Commit().error, PrefError::kNotSerializable);
  Transaction nested(0, kDomain);
  nested.Set(u"K/L", u"n",
             Value::Dictionary({{u"a", 1}, {u"b", Value::Dictionary({{u"c", Value()}})}}));
  EXPECT_EQ(nested.Commit().path, "K/L/n/b/c");
  EXPECT_EQ(empty.Commit().error, PrefError::kEmptyPath);
  for (const int levels : {512, 200'000}) {
    for (const int scope : {0, 1}) {
      EXPECT_EQ(WritePreferenceInt(scope, Deep(levels), u"n", 1, kDomain), kPreferenceBadKey);
    }
  }
  EXPECT_FALSE(fs::exists(SharedFile()));
  Transaction locked(2, kDomain);
  locked.Set(u"K", u"n", 1);
  ASSERT_TRUE(LockGlobalSharedPList(kDomain));
  EXPECT_EQ(locked.Commit().error, PrefError::kLockNotObtained);
  UnlockGlobalSharedPList(kDomain);
  EXPECT_TRUE(locked.Commit().ok());
  EXPECT_EQ(OnDisk(FileOf(2)), R"({"K":{"n":1}})");
}

TEST_F(TransactionTest, ADamagedFileStaysUnlessItIsToBeReplaced) {
  const std::pair<std::string, PrefError> kCases[] = {
      {"<plist><dict>", PrefError::kDamaged},
      {"<plist><array/></plist>", PrefError::kRootNotDictionary}};
  for (const int scope : {0, 1, 4}) {
    Transaction change(scope, kDomain);
    change.Set(u"K", u"n", 1);
    for (const auto& [bytes, error] : kCases) {
      const fs::path kept = FileOf(scope).string() + ".damaged";
      fs::remove(kept);
      WriteFile(FileOf(scope), bytes);
      EXPECT_EQ(change.Commit().error, error);
      EXPECT_EQ(ReadFile(FileOf(scope)), bytes);
      EXPECT_TRUE(change.Commit(IfDamaged::kReplace).ok());
      EXPECT_EQ(OnDisk(FileOf(scope)), R"({"K":{"n":1}})");
      EXPECT_EQ(ReadFile(kept), bytes);
    }
    fs::remove(FileOf(scope));
    fs::create_directories(FileOf(scope));
    EXPECT_EQ(change.Commit().error, PrefError::kUnreadable);
    fs::remove(FileOf(scope));
    const WithoutRootRights without(env_.folder());
    fs::permissions(FileOf(scope).parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(change.Commit().error, PrefError::kNotPermitted);
  }
}

// Sixteen processes of two users write, some are killed on the way, and a reader watches and
// removes the file of the lock, as cleaners do.
TEST_F(TransactionTest, ManyWritersLoseNothingThatWasReported) {
  constexpr int kProcesses = 16, kValues = 50, kKilled = 4;
  // In memory, where there is some: flushing takes no time there.
  const ScopedVariable temporary("TMPDIR", access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
  const ScopedEnvironment memory;
  const fs::path file = PreferenceFilePath(0, kDomain);
  WritePlist(file, R"({"Untouched":{"n":"v"}})");
  const fs::path reports = memory.folder() / "reports";
  fs::create_directories(reports);
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      ExchangeSharedLockWait([] { usleep(2000); });
      // Neither user sees the lock record of the other.
      if (i % 2 == 1) setenv("HOME", (memory.folder() / "other").c_str(), 1);
      std::FILE* report = std::fopen((reports / std::to_string(i)).c_str(), "w");
      CAtlString path, name;
      path.Format(u"Software/P%d", i % 4);
      for (int value = 0; value < kValues; ++value) {
        name.Format(u"p%d-%d", i, value);
        while (WritePreferenceInt(0, path, name, value, kDomain) != 0) continue;
        std::fprintf(report, "\"p%d-%d\":%d\n", i, value, value);
        std::fflush(report);
      }
      _exit(0);
    }
    children.push_back(child);
  }
  int alive = kProcesses, reads = 0;
  while (alive > 0) {
    EXPECT_TRUE(ReadDomain(0, kDomain).ok());
    if (++reads % 20 == 0 && reads / 20 <= kKilled) {
      kill(children[static_cast<std::size_t>(reads / 20)], SIGKILL);
    }
    unlink((file.parent_path() / ".orvik.lock").c_str());
    while (waitpid(-1, nullptr, WNOHANG) > 0) --alive;
    usleep(1000);
  }
  const std::string stored = OnDisk(file);
  EXPECT_TRUE(stored.starts_with(R"({"Software":)") &&
              stored.ends_with(R"("Untouched":{"n":"v"}})"));
  int reported = 0;
  for (const std::string& report : NamesIn(reports)) {
    std::istringstream lines(ReadFile(reports / report));
    for (std::string entry; lines >> entry; ++reported) {
      EXPECT_NE(stored.find(entry), std::string::npos) << entry;
    }
  }
  EXPECT_GE(reported, (kProcesses - kKilled) * kValues);
  // A killed holder blocks nobody.
  waits_ = 0;
  EXPECT_EQ(WritePreferenceInt(0, u"Software", u"last", 1, kDomain), 0u);
  EXPECT_EQ(waits_, 0);
}

// Shared strings that only the written form would make larger than a file may be.
TEST_F(TransactionTest, SavesNothingThatIsTooLargeToBeReadAgain) {
  const Value data = Value::Data(std::string(4 << 20, 'x'));
  Transaction change(1, kDomain);
  change.Set(u"A", u"n", u"v");
  ASSERT_TRUE(change.Commit().ok());
  const std::string before = ReadFile(FileOf(1));
  change.Set(u"A", u"list", Value::Array(std::vector<Value>(100, data)));
  TransactionResult result;
  EXPECT_EQ(change.DryRun(&result).error, PrefError::kTooLarge);
  EXPECT_EQ(change.Commit().error, PrefError::kTooLarge);
  EXPECT_EQ(ReadFile(FileOf(1)), before);
}

}  // namespace
}  // namespace orvik::test
