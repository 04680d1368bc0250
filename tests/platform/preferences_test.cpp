#include "platform/core_foundation/cf_preferences.h"

#include "host/descriptor.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/string.h"
#include "plist/file.h"
#include "plist/forms.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using OwnedObject = Owned<const NSObject>;

class CFPreferencesTest : public EnvironmentTest {
 protected:
  void Set(const char16_t* key, const char16_t* value) {
    CFPreferencesSetValue(CFSTR(key), value == nullptr ? nullptr : CFSTR(value), domain_, user_,
                          any_);
  }
  bool Synchronize() { return CFPreferencesSynchronize(domain_, user_, any_); }
  std::string Get(const char16_t* key) {
    const OwnedObject value(ObjectOf(CFPreferencesCopyValue(CFSTR(key), domain_, user_, any_)));
    return value == nullptr ? "(none)" : static_cast<const NSString*>(value.get())->ToUtf8();
  }
  // Writes the file as another program would.
  static void WriteEntry(const fs::path& file, const std::string& key, const std::string& value) {
    WriteFile(file, "<plist version=\"1.0\"><dict><key>" + key + "</key><string>" + value +
                        "</string></dict></plist>");
  }

  const CFStringRef user_ = kCFPreferencesCurrentUser, any_ = kCFPreferencesAnyHost;
  const CFStringRef machine_ = kCFPreferencesAnyUser, host_ = kCFPreferencesCurrentHost;
  const CFStringRef domain_ = CFSTR(u"com.orviktech.Test");
  const fs::path file_ = env_.home() / "Library/Preferences/com.orviktech.Test.plist";
  const NSAutoreleasePool pool_;
};

TEST_F(CFPreferencesTest, DomainsUsersAndHostsWithoutAFileHoldNothing) {
  CFPreferencesSetValue(CFSTR(u"k"), CFSTR(u"v"), CFSTR(u"../a"), machine_, host_);
  CFPreferencesSetValue(CFSTR(u"k"), CFSTR(u"v"), domain_, machine_, any_);
  EXPECT_FALSE(CFPreferencesSynchronize(CFSTR(u"../a"), user_, any_));
  EXPECT_FALSE(CFPreferencesSynchronize(domain_, user_, host_));
  CFPreferencesSetValue(CFSTR(u"k"), CFSTR(u"v"), nullptr, machine_, host_);
  CFPreferencesSetValue(nullptr, CFSTR(u"v"), domain_, machine_, host_);
  CFPreferencesSetValue(CFSTR(u"k"), CFSTR(u"v"), domain_, nullptr, nullptr);
  EXPECT_FALSE(CFPreferencesSynchronize(nullptr, user_, any_));
  EXPECT_EQ(CFPreferencesCopyValue(nullptr, domain_, user_, any_), nullptr);
  EXPECT_EQ(CFPreferencesCopyValue(CFSTR(u"k"), domain_, user_, host_), nullptr);
  EXPECT_TRUE(fs::is_empty(env_.home()));
  EXPECT_TRUE(fs::is_empty(env_.system_root()));
}

TEST_F(CFPreferencesTest, UserValuesWaitForSynchronizeAndMergeWithWhatOthersSaved) {
  Set(u"mine", u"1");
  EXPECT_EQ(Get(u"mine"), "1");
  EXPECT_FALSE(fs::exists(file_));
  WriteEntry(file_, "gone",
             "x</string><key>mine</key><string>0</string><key>other</key><string>kept");
  EXPECT_EQ(Get(u"other"), "kept");
  Set(u"again", nullptr);
  Set(u"again", u"set");
  Set(u"never", u"set");
  Set(u"never", nullptr);
  Set(u"gone", nullptr);
  EXPECT_EQ(Get(u"gone") + Get(u"again") + Get(u"never"), "(none)set(none)");
  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(plist::Read(ReadFile(file_)).root,
            plist::Value::Dictionary({{u"mine", u"1"}, {u"other", u"kept"}, {u"again", u"set"}}));
}

TEST_F(CFPreferencesTest, MachineValuesAreSavedAtOnce) {
  const fs::path file = env_.system_root() / "Library/Preferences/com.orviktech.Test.plist";
  const auto set = [&](CFTypeRef value) {
    CFPreferencesSetValue(CFSTR(u"key"), value, domain_, machine_, host_);
  };
  set(CFSTR(u"v"));
  EXPECT_TRUE(Contains(ReadFile(file), "<string>v</string>"));
  set(nullptr);
  EXPECT_EQ(ReadFile(file).find("key>"), std::string::npos);
  fs::remove(file);
  fs::create_directory(file);
  set(CFSTR(u"v"));
  EXPECT_EQ(CFPreferencesCopyValue(CFSTR(u"key"), domain_, machine_, host_), nullptr);
}

TEST_F(CFPreferencesTest, ChangesThatCannotBeSavedAreKeptAndTriedAgain) {
  Set(u"a", u"1");
  fs::create_directories(file_);  // unreadable, so it is not replaced
  EXPECT_FALSE(Synchronize());
  EXPECT_EQ(Get(u"a"), "1");
  fs::remove(file_);
  EXPECT_TRUE(Synchronize());
  EXPECT_TRUE(Contains(ReadFile(file_), "<key>a</key>"));
}

TEST_F(CFPreferencesTest, ADamagedFileReadsAsEmptyAndIsKeptBesideTheNewOne) {
  for (const auto& [damaged, kept] : {std::pair("(a, b)", ".damaged"), {"", ".damaged-2"}}) {
    WriteFile(file_, damaged);
    EXPECT_EQ(Get(u"half"), "(none)");
    Set(u"half", nullptr);
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(ReadFile(file_), damaged);
    Set(u"a", u"1");
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(Get(u"a"), "1");
    EXPECT_TRUE(fs::exists(file_.string() + kept));
    EXPECT_EQ(ReadFile(file_.string() + kept), damaged);
  }
}

TEST_F(CFPreferencesTest, NoticesFilesThatOthersReplacedAndWritesNothingThatIsThere) {
  for (int turn = 0; turn < 200; ++turn) {
    const std::string value = std::to_string(100 + turn % 2);
    WriteEntry(file_.string() + ".new", "k", value);
    fs::rename(file_.string() + ".new", file_);
    ASSERT_EQ(Get(u"k"), value);
  }
  // While the bytes are unchanged, values share their memory.
  const auto list = [this] {
    return OwnedObject(ObjectOf(CFPreferencesCopyValue(CFSTR(u"list"), domain_, user_, any_)))
        ->value();
  };
  WriteFile(file_, "{list = (a);}");
  const plist::Value one = list();
  fs::copy_file(file_, file_.string() + ".new");
  fs::rename(file_.string() + ".new", file_);
  EXPECT_TRUE(list().IsSharedWith(one));
  WriteFile(file_.string() + ".new", "{list = (b);}");
  fs::rename(file_.string() + ".new", file_);
  EXPECT_EQ(list(), plist::Value::Array({u"b"}));
  Set(u"k", u"1");
  EXPECT_TRUE(Synchronize());
  const auto before = host::IdentityOf(file_.string());
  Set(u"k", u"1");
  EXPECT_TRUE(Synchronize());
  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(host::IdentityOf(file_.string()), before);
}

TEST_F(CFPreferencesTest, TheThreadThatHoldsTheFoldersLockMaySynchronize) {
  plist::File file(file_);
  ASSERT_EQ(file.Lock(plist::File::Folder::kMake), 0);
  Set(u"a", u"1");
  EXPECT_TRUE(Synchronize());
}

TEST_F(CFPreferencesTest, ValuesAreCopiedAndOthersThanPropertyListsRefused) {
  NSArray* list = NSArray::arrayWithCapacity(0);
  list->addObject(CFSTR(u"x"));
  CFPreferencesSetValue(CFSTR(u"list"), list, domain_, user_, any_);
  list->addObject(CFSTR(u"y"));
  // The deepest property list does not fit into the dictionary of the domain.
  plist::Value nested = plist::Value::Array();
  for (std::size_t depth = 1; depth < plist::kMaximumDepth; ++depth)
    nested = plist::Value::Array({nested});
  const OwnedObject deep(ObjectOf(CreateObject(nested, kCFPropertyListImmutable)));
  CFPreferencesSetValue(CFSTR(u"list"), deep.get(), domain_, user_, any_);
  const OwnedObject kept(ObjectOf(CFPreferencesCopyValue(CFSTR(u"list"), domain_, user_, any_)));
  EXPECT_EQ(kept->value(), plist::Value::Array({u"x"}));
}

}  // namespace
}  // namespace orvik::test
