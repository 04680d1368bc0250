// Addresses of preferences, and reading, writing and deleting there.
#include "prefs/preferences.h"

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/scalars.h"
#include "prefs/key_path.h"
#include "prefs/key_walk.h"
#include "prefs/pref_status.h"
#include "prefs/scope.h"
#include "prefs/shared_preference_file.h"
#include "prefs/transaction.h"
#include "strings/auto_release.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

// The fuzz target key_path covers the components of every shape.
TEST(KeyPath, ParentsHaveOneComponentLess) {
  EXPECT_EQ(Utf8(GetCompanyName()), "ORVIK Technologies");
  EXPECT_EQ(Utf8(KeyPath(u"a/b/c").Parent().text()), "a\\b");
  EXPECT_EQ(KeyPath(u"a//c").Parent().count(), 2);
  EXPECT_TRUE(KeyPath(u"a").Parent().empty() && KeyPath(u"").Parent().empty());
}

TEST(KeyPath, MakersPrefixIsTakenOutOfCapitalPathsOnly) {
  const std::pair<const char*, const char*> kCases[] = {
      {"SOFTWARE/ORVIK Technologies/P/I", "P\\I"},
      {"/SOFTWARE/Other/", "SOFTWARE\\Other"},
      {"Software/ORVIK Technologies/P", "Software\\ORVIK Technologies\\P"},
      {"", ""},
      {"SOFTWARE/ORVIK Technologies", "SOFTWARE\\ORVIK Technologies"},
      {"SOFTWARE/ORVIK Technologies/a/SOFTWARE/ORVIK Technologies/b", "a\\b"},
      {"SOFTWARE/x/SOFTWARE/ORVIK Technologies/b", "SOFTWARE\\x\\b"}};
  for (const auto& [path, result] : kCases) {
    EXPECT_EQ(Utf8(ExtractMacPreferencePathFromFullPath(Wide(path))), result) << path;
  }
}

// Constructed before the objects of the library, which is linked statically here.
const bool kIsUsableBeforeMain = IsUsableDomain(u"com.orviktech.Registry");

// A key path, the text around its content on disk, and the file after the key is deleted.
struct Shape {
  const char *path, *before, *after, *deleted;
};

const Shape kShapes[] = {{"", "", "", R"({"K":{},"m":"text"})"},
                         {"A", R"({"A":)", "}", "{}"},
                         {"\\Software/ORVIK Technologies", R"({"Software":{"ORVIK Technologies":)",
                          "}}", R"({"Software":{}})"},
                         {"A//C/D", R"({"A":{"":{"C":{"D":)", "}}}}", R"({"A":{"":{"C":{}}}})"}};

enum class Op { kString, kInt, kDelete, kDeleteKey };

struct Step {
  Op op;
  const char *below, *name, *text;  // `below` is appended to the key path
  int number;
  DWORD result;
  const char* content;  // of the key after the call
};

constexpr char kFull[] = R"({"":"unnamed","K":{"seed":7},"Sub":{"x":"y"},"m":"text","n":"v"})";
constexpr char kLess[] = R"({"":"unnamed","K":{"seed":7},"Sub":{"x":"y"},"m":"text"})";
const Step kSteps[] = {
    {Op::kInt, "K", "seed", "", 7, 0, R"({"K":{"seed":7}})"},
    {Op::kString, "", "n", "v", 0, 0, R"({"K":{"seed":7},"n":"v"})"},
    {Op::kInt, "", "m", "", -42, 0, R"({"K":{"seed":7},"m":-42,"n":"v"})"},
    {Op::kString, "", "m", "text", 0, 0, R"({"K":{"seed":7},"m":"text","n":"v"})"},
    {Op::kString, "Sub", "x", "y", 0, 0, R"({"K":{"seed":7},"Sub":{"x":"y"},"m":"text","n":"v"})"},
    {Op::kString, "", "", "unnamed", 0, 0, kFull},
    {Op::kString, "m", "x", "lost?", 0, kPreferenceBadKey, kFull},
    {Op::kInt, "m/deeper", "x", "", 1, kPreferenceBadKey, kFull},
    {Op::kDelete, "", "n", "", 0, 0, kLess},
    {Op::kDelete, "", "never", "", 0, 0, kLess},
    {Op::kDelete, "nope", "n", "", 0, kPreferenceNotFound, kLess},
    {Op::kDelete, "m", "n", "", 0, kPreferenceNotFound, kLess},
    {Op::kDeleteKey, "nope/x", "", "", 0, 0, kLess},
    {Op::kDelete, "K", "seed", "", 0, 0, R"({"":"unnamed","K":{},"Sub":{"x":"y"},"m":"text"})"},
    {Op::kDeleteKey, "Sub", "", "", 0, 0, R"({"":"unnamed","K":{},"m":"text"})"},
    {Op::kDeleteKey, "", "", "", 0, 0, nullptr}};

class PreferencesTest : public StoreTest {
 protected:
  void Do(int scope, const Shape& shape, const Step& step, const CAtlString& domain) {
    const CAtlString path =
        Wide(*step.below == '\0' ? shape.path : std::string(shape.path) + "/" + step.below);
    const CAtlString name = Wide(step.name);
    if (step.op == Op::kDelete) {
      EXPECT_EQ(DeletePreference(scope, path, name, domain), step.result);
    } else if (step.op == Op::kDeleteKey) {
      EXPECT_EQ(RecursivePreferenceDelete(scope, path, domain), step.result);
    } else {
      const bool is_text = step.op == Op::kString;
      EXPECT_EQ(is_text ? WritePreferenceString(scope, path, name, Wide(step.text), domain)
                        : WritePreferenceInt(scope, path, name, step.number, domain),
                step.result);
      unsigned long error = 99;
      const CAtlString read = GetPreferenceString(scope, path, name, u"default", &error, domain);
      EXPECT_EQ(error, step.result == 0 ? 0u : 2u);
      const std::string written = is_text ? step.text : std::to_string(step.number);
      EXPECT_EQ(Utf8(read), step.result == 0 ? written : "default");
    }
  }
};

TEST_F(PreferencesTest, EveryScopeOperationAndKeyPathShapeLeavesTheRightFile) {
  std::vector<fs::path> snapshots;
  std::vector<std::string> expected, titles;
  for (int scope = 0; scope <= 5; ++scope) {
    for (const Shape& shape : kShapes) {
      const std::string domain =
          "com.example.s" + std::to_string(scope) + "-" + std::to_string(titles.size());
      for (const Step& step : kSteps) {
        titles.push_back("scope " + std::to_string(scope) + " path '" + shape.path + "' step " +
                         std::to_string(&step - kSteps));
        SCOPED_TRACE(titles.back());
        Do(scope, shape, step, Wide(domain));
        snapshots.push_back(env_.folder() / std::to_string(titles.size()));
        fs::copy_file(FileOf(scope, domain), snapshots.back());
        expected.push_back(step.content == nullptr
                               ? shape.deleted
                               : std::string(shape.before) + step.content + shape.after);
      }
    }
  }
  const std::vector<std::string> found = OnDisk(snapshots);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(found[i], expected[i]) << titles[i];
  }
  EXPECT_EQ(waits_, 0);
}

// plist/file.h says which domains are usable as file names.
TEST_F(PreferencesTest, WhatChangesNothingTouchesNothing) {
  EXPECT_TRUE(kIsUsableBeforeMain);
  const auto before = TreeIn(env_.folder());
  const CAtlString longest(u'd', 243);  // too long with the dot of scope 2
  const std::tuple<int, CAtlString, DWORD> kCases[] = {
      {6, kDomain, 0},  {-1, kDomain, 0},        {0, u"../escape", 123},
      {1, u"", 123},    {4, u"/etc/orvik", 123}, {1, CAtlString(u'd', 1024), 123},
      {2, u"./x", 123}, {2, longest, 123},       {0, u"kCFPreferencesCurrentApplication", 123}};
  for (const auto& [scope, domain, result] : kCases) {
    SCOPED_TRACE(scope);
    EXPECT_EQ(WritePreferenceString(scope, u"A", u"n", u"v", domain), result);
    EXPECT_EQ(WritePreferenceInt(scope, u"", u"n", 1, domain), result);
    EXPECT_EQ(DeletePreference(scope, u"A", u"n", domain), result == 0 ? 2 : result);
    EXPECT_EQ(DeletePreference(scope, u"", u"n", domain), result);
    EXPECT_EQ(RecursivePreferenceDelete(scope, u"A", domain), result);
    unsigned long error = 0;
    EXPECT_EQ(GetPreferenceInt(scope, u"A", u"n", 17, &error, domain), 17);
    EXPECT_EQ(error, 2u);
  }
  for (const int scope : {kSharedScope, kUserScope, kMachineScope}) {
    EXPECT_EQ(DeletePreference(scope, u"K", u"n", longest), kPreferenceNotFound);
    Transaction removal(scope, kDomain);
    removal.Delete(u"K", u"n");
    EXPECT_TRUE(removal.Commit().ok());
    removal.RequireEqual(u"K", u"n", 1);
    EXPECT_EQ(removal.Commit().error, PrefError::kConditionNotMet);
  }
  EXPECT_EQ(TreeIn(env_.folder()), before);
}

TEST(KeyWalk, ConvertsNumbersToTheNearest) {
  constexpr int kLeast = std::numeric_limits<int>::min(), kMost = std::numeric_limits<int>::max();
  const std::tuple<plist::Value, int, const char*> kCases[] = {
      {std::int64_t{1} << 31, kMost, "2147483647"},
      {-(std::int64_t{1} << 31) - 1, kLeast, "-2147483648"},
      {kLeast, kLeast, "-2147483648"},
      {~std::uint64_t{0}, kMost, "2147483647"},
      {-1, -1, "-1"},
      {-2.75, -2, "-2.750000000"},
      {1e300, kMost, nullptr},
      {-1e300, kLeast, nullptr},
      {NAN, 0, "nan"}};
  for (const auto& [value, number, text] : kCases) {
    EXPECT_EQ(IntOfValue(value), number);
    EXPECT_TRUE(text == nullptr || Utf8(*TextOfValue(value)) == text) << number;
  }
  EXPECT_FALSE(IsADictionaryType(nullptr));
}

TEST(PrefStatus, NamesTheCauseOfAnErrorNumber) {
  using enum PrefError;
  const std::tuple<int, const char*, PrefError, PrefError, PrefError> kCases[] = {
      // For reading and for saving.
      {EFBIG, "", kTooLarge, kTooLarge, kTooLarge},
      {ENOTDIR, "", kInTheWay, kInTheWay, kInTheWay},
      {ELOOP, "/l", kInTheWay, kInTheWay, kInTheWay},
      {ENOSPC, "", kUnreadable, kDiskFull, kDiskFull},
      {EDQUOT, "", kUnreadable, kDiskFull, kDiskFull},
      {EROFS, "", kUnreadable, kReadOnly, kReadOnly},
      {EACCES, "", kUnreadable, kNotPermitted, kNotPermitted},
      {EPERM, "", kNotPermitted, kNotPermitted, kNotPermitted},
      {EPERM, "/l", kForeignLink, kForeignLink, kForeignLink},
      {EIO, "", kUnreadable, kNotSaved, kLockRefused}};
  for (const auto& [error, path, reading, saving, other] : kCases) {
    EXPECT_EQ(PrefStatusFromErrno(error, path, kUnreadable).error, reading) << error;
    EXPECT_EQ(PrefStatusFromErrno(error, path, kNotSaved).error, saving) << error;
    const PrefStatus status = PrefStatusFromErrno(error, path, kLockRefused);
    EXPECT_EQ(status.error, other) << error;
    EXPECT_EQ(status.path, path);
    EXPECT_EQ(status.error_number, error);
  }
  EXPECT_TRUE(PrefStatusFromErrno(0, "/l", kNotSaved).ok());
  EXPECT_EQ(Describe(PrefStatusFromErrno(EIO, "/f", kNotSaved)),
            "the file cannot be saved: input or output error: \"/f\"");
  EXPECT_EQ(Describe(PrefStatusFromErrno(EINVAL, "", kUnreadable)),
            "the file cannot be read: not a regular file");
  EXPECT_EQ(Describe({kUnreadable}), "the file cannot be read: ");
  EXPECT_EQ(Describe({.error = kUnreadable, .system_status = 1}),
            "the file cannot be read: unknown error");
  EXPECT_EQ(Describe({kNothingSaved}), "nothing of the file can be saved");
  EXPECT_EQ(Describe({static_cast<PrefError>(999)}), "unknown");
}

TEST_F(PreferencesTest, ReadsConvertWhatOtherProgramsWrote) {
  WritePlist(SharedFile(), R"({"K":{"text":"42 apples","words":"none","whole":-7,)"
                           R"("flag":true,"key":{},"list":[]},"top":"t"})");
  const std::tuple<const char16_t*, const char*, int, unsigned long> kCases[] = {
      {u"text", "42 apples", 42, 0}, {u"words", "none", 0, 0},   {u"whole", "-7", -7, 0},
      {u"flag", "default", 99, 2},   {u"key", "default", 99, 2}, {u"list", "default", 99, 2},
      {u"absent", "default", 99, 2}};
  for (const auto& [name, text, number, result] : kCases) {
    unsigned long error = 7, other = 7;
    EXPECT_EQ(Utf8(GetPreferenceString(0, u"K", name, u"default", &error, kDomain)), text);
    EXPECT_EQ(GetPreferenceInt(0, u"/K", name, 99, &other, kDomain), number) << text;
    EXPECT_TRUE(error == result && other == result) << text;
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
  for (const char16_t* none : {u"", u"none", u"t"}) ListPreferences(0, none, names, kDomain);
  ListPreferences(7, u"K", names, kDomain);
  EXPECT_EQ(names.GetCount(), 1u);
  ListPreferences(3, u"K", names, kDomain);
  std::multiset<std::string> found;
  for (const CAtlString& name : names) found.insert(Utf8(name));
  EXPECT_EQ(found, (std::multiset<std::string>{"", "Install Information", "UELogging", "before"}));
}

// A program that takes no lock makes the file after it was read as missing and before it is saved:
// that file is then changed.
TEST_F(PreferencesTest, AFileThatAppearsDuringAChangeKeepsItsEntries) {
  for (const int scope : {0, 1, 4}) {
    const fs::path file = FileOf(scope);
    fs::create_directories(file.parent_path());
    int tries = 0;
    Transaction transaction(scope, kDomain);
    transaction.Update(KeyPath(u"K"), u"n", [&](const plist::Value&) {
      // First without the lock, then with it.
      if (++tries == 2) WriteFile(file, "<plist><dict><key>x</key><true/></dict></plist>");
      return plist::Value(tries);
    });
    EXPECT_TRUE(transaction.Commit().ok());
    EXPECT_EQ(OnDisk(file), R"({"K":{"n":3},"x":true})");
  }
}

TEST_F(PreferencesTest, ApplicationFolders) {
  const std::string base = env_.home().string() + "/Library/Application Support/ORVIK Technologies";
  const std::pair<const char16_t*, const char*> kCases[] = {
      {u"vistago", "/Vistgo/"},
      {u"SHARED", "/Shared/"},
      {u"ORVIK Conceptra", "/ORVIK Conceptra/"},
      {u"orvik tavlo software", "/ORVIK Tavlo Software/"},
      {u"", "//"},
      {u"Glyphra", "/Glyphra/"},
      {u"ORVIK PAGEWELL", "/Pagewell Software/"}};
  for (const auto& [name, folder] : kCases) {
    EXPECT_EQ(Utf8(GetPreferenceApplicationPath(name)), base + folder);
  }
  EXPECT_FALSE(fs::exists(base));
}

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
