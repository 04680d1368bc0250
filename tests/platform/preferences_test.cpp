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
  // What another program saves.
  static void WritePlist(const fs::path& file, const std::string& entries) {
    WriteFile(file, "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
  }
  static std::string Entry(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
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
  EXPECT_TRUE(fs::is_empty(env_.home()));
  EXPECT_TRUE(fs::is_empty(env_.system_root()));
}

TEST_F(CFPreferencesTest, UserValuesWaitForSynchronizeAndMergeWithWhatOthersSaved) {
  Set(u"mine", u"1");
  EXPECT_EQ(Get(u"mine"), "1");
  EXPECT_FALSE(fs::exists(file_));
  WritePlist(file_, Entry("mine", "0") + Entry("other", "kept") + Entry("gone", "x"));
  EXPECT_EQ(Get(u"other"), "kept");
  Set(u"gone", nullptr);
  EXPECT_EQ(Get(u"gone"), "(none)");
  EXPECT_TRUE(Synchronize());
  const std::string saved = ReadFile(file_);
  EXPECT_TRUE(Contains(saved, "<key>mine</key>\n\t<string>1</string>"));
  EXPECT_TRUE(Contains(saved, "<key>other</key>\n\t<string>kept</string>"));
  EXPECT_EQ(saved.find("gone"), std::string::npos);
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
  WriteFile(env_.home() / "Library", "no folder");
  Set(u"a", u"1");
  EXPECT_FALSE(Synchronize());
  fs::remove(env_.home() / "Library");
  fs::create_directories(file_);  // cannot be read, so it is not saved over
  EXPECT_FALSE(Synchronize());
  EXPECT_EQ(Get(u"a"), "1");
  fs::remove(file_);
  EXPECT_TRUE(Synchronize());
  EXPECT_TRUE(Contains(ReadFile(file_), "<key>a</key>"));
}

TEST_F(CFPreferencesTest, ADamagedFileReadsAsEmptyAndIsKeptBesideTheNewOne) {
  WriteFile(file_, "<plist><dict><key>half");
  EXPECT_EQ(Get(u"half"), "(none)");
  Set(u"half", nullptr);
  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(ReadFile(file_), "<plist><dict><key>half");
  Set(u"a", u"1");
  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(Get(u"a"), "1");
  EXPECT_EQ(ReadFile(file_.string() + ".damaged"), "<plist><dict><key>half");
  WriteFile(file_, "[1]");
  Set(u"a", u"2");
  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(ReadFile(file_.string() + ".damaged-2"), "[1]");
}

TEST_F(CFPreferencesTest, NoticesFilesThatOthersReplacedAndWritesNothingThatIsThere) {
  for (int turn = 0; turn < 200; ++turn) {
    const std::string value = std::to_string(100 + turn % 2);
    WritePlist(file_.string() + ".new", Entry("k", value));
    fs::rename(file_.string() + ".new", file_);
    ASSERT_EQ(Get(u"k"), value);
  }
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
  const auto set = [&](CFTypeRef value) {
    CFPreferencesSetValue(CFSTR(u"list"), value, domain_, user_, any_);
  };
  set(list);
  list->addObject(CFSTR(u"y"));
  // As deep as a property list may be, but not inside the dictionary of the domain.
  NSArray* nested = NSArray::arrayWithCapacity(0);
  for (std::size_t depth = 1; depth < plist::kMaximumDepth; ++depth) {
    NSArray* outer = NSArray::arrayWithCapacity(0);
    outer->addObject(nested);
    nested = outer;
  }
  set(nested);
  const OwnedObject kept(ObjectOf(CFPreferencesCopyValue(CFSTR(u"list"), domain_, user_, any_)));
  EXPECT_EQ(kept->value(), plist::Value::Array({u"x"}));
}

}  // namespace
}  // namespace orvik::test
