#include "prefs/typed_preferences.h"

#include <poll.h>

#include <thread>

#include "prefs/preference_watch.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

class TypedPreferencesTest : public StoreTest {
 protected:
  TypedPreferences settings_{u"com.example.Store", kUserScope};
};

TEST_F(TypedPreferencesTest, EveryTypeComesBackAsItWasSet) {
  const PreferenceDate date(std::chrono::duration<double>(1'700'000'000.0));
  const PreferenceDictionary key = {{u"inner", 1}, {u"list", PreferenceArray{u"a", true, 2.5}}};
  const std::pair<const char16_t*, PreferenceValue> kCases[] = {
      {u"string", u"t\u00e4xt"},
      {u"integer", std::int64_t{-1} << 40},
      {u"zero", 0},
      {u"real", 0.1},
      {u"yes", true},
      {u"no", false},
      {u"date", date},
      {u"data", PreferenceData{std::byte{0}, std::byte{255}}},
      {u"none", PreferenceData()},
      {u"array", PreferenceArray{1, u"two", PreferenceArray()}},
      {u"key", key},
      {u"", u"the empty name"},
  };
  for (const auto& [name, value] : kCases) EXPECT_TRUE(settings_.Set(u"A/B", name, value).ok());
  for (const auto& [name, value] : kCases) {
    EXPECT_EQ(settings_.Value(u"A/B", name), value) << testing::PrintToString(name);
  }
  EXPECT_EQ(settings_.Integer(u"A/B/key", u"inner"), 1);
  EXPECT_EQ(settings_.Key(u"A/B/key"), key);
  EXPECT_EQ(settings_.Real(u"A/B", u"zero"), 0.0);
  EXPECT_EQ(settings_.Boolean(u"A/B", u"zero"), std::nullopt);
  EXPECT_EQ(settings_.Integer(u"A/B", u"real"), std::nullopt);
  EXPECT_EQ(settings_.String(u"A/B", u"missing"), std::nullopt);
  PrefStatus status;
  EXPECT_EQ(settings_.Value(u"A/B/real", u"x", &status), std::nullopt);
  EXPECT_EQ(status.error, PrefError::kNotAKey);

  for (int i = 0; i < 2; ++i) EXPECT_TRUE(settings_.Remove(u"A/B", u"string").ok());
  EXPECT_EQ(settings_.String(u"A/B", u"string"), std::nullopt);
  EXPECT_TRUE(settings_.RemoveKey(u"A/B").ok());
  EXPECT_EQ(settings_.Key(u""), (PreferenceDictionary{{u"A", PreferenceDictionary()}}));
  EXPECT_EQ(settings_.RemoveKey(u"").error, PrefError::kEmptyPath);
}

TEST_F(TypedPreferencesTest, ThreadsReadAndChangeAtOnce) {
  constexpr int kThreads = 4, kValues = 20;
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([this, number] {
      const std::u16string name(1, static_cast<char16_t>(u'a' + number));
      for (int value = 0; value < kValues; ++value) {
        EXPECT_TRUE(settings_.Set(u"Software/Threads", name, value).ok());
        EXPECT_EQ(settings_.Integer(u"Software/Threads", name), value);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(settings_.Key(u"Software/Threads")->size(), std::size_t{kThreads});
}

using Changes = std::vector<PreferenceChange>;

class PreferenceWatchTest : public StoreTest {
 protected:
  // As an event loop does; several signs may come for one change.
  static Changes Next(PreferenceWatch& watch) {
    for (int tries = 0; tries < 100; ++tries) {
      pollfd polled = {watch.descriptor(), POLLIN, 0};
      poll(&polled, 1, 10'000);
      Changes changes = watch.TakeChanges();
      if (!changes.empty()) return changes;
    }
    return {};
  }

  TypedPreferences settings_{u"com.example.Store", kSharedScope};
};

TEST_F(PreferenceWatchTest, ReportsOldAndNewValuesOfTheKey) {
  PreferenceWatch watch(kSharedScope, u"A", u"com.example.Store");
  ASSERT_TRUE(watch.status().ok());
  EXPECT_EQ(watch.TakeChanges(), Changes());
  settings_.Set(u"A/B", u"n", 1);
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, std::nullopt, 1}}));
  settings_.Set(u"Other", u"n", 1);
  settings_.Set(u"A/B", u"n", u"text");
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, 1, u"text"}}));
  // A file that cannot be understood says nothing about the values.
  const std::string sound = ReadFile(SharedFile());
  WriteFile(SharedFile(), "<plist>");
  while (watch.status().ok()) {
    EXPECT_EQ(watch.TakeChanges(), Changes());
  }
  EXPECT_EQ(watch.status().error, PrefError::kDamaged);
  WriteFile(SharedFile(), sound);
  settings_.Set(u"A", u"m", true);
  EXPECT_EQ(Next(watch), (Changes{{{u"m"}, std::nullopt, true}}));
  EXPECT_EQ(watch.values().size(), 2u);
  fs::remove(SharedFile());
  EXPECT_EQ(Next(watch),
            (Changes{{{u"B", u"n"}, u"text", std::nullopt}, {{u"m"}, true, std::nullopt}}));
}

TEST_F(PreferenceWatchTest, SeesTheFileBehindLinksAndALinkThatIsChanged) {
  const fs::path one = top_ / "one" / "real.plist", two = top_ / "two" / "real.plist";
  WritePlist(one, R"({"n":"one"})");
  WritePlist(two, R"({"n":"two"})");
  fs::create_directories(UserFile().parent_path());
  fs::create_symlink(top_ / "link", UserFile());
  fs::create_symlink(one, top_ / "link");
  PreferenceWatch watch(kUserScope, u"", u"com.example.Store");
  EXPECT_EQ(watch.values(), (PreferenceDictionary{{u"n", u"one"}}));
  WritePlist(one, R"({"n":"changed"})");
  EXPECT_EQ(Next(watch), (Changes{{{u"n"}, u"one", u"changed"}}));
  fs::create_symlink(two, top_ / "new link");
  fs::rename(top_ / "new link", top_ / "link");
  EXPECT_EQ(Next(watch), (Changes{{{u"n"}, u"changed", u"two"}}));
  WritePlist(two, R"({"n":"last"})");
  EXPECT_EQ(Next(watch), (Changes{{{u"n"}, u"two", u"last"}}));
}

TEST_F(PreferenceWatchTest, RefusesWhatNamesNoFile) {
  EXPECT_EQ(PreferenceWatch(kSharedScope, u"", u"../x").status().error, PrefError::kRefusedDomain);
  EXPECT_EQ(PreferenceWatch(7, u"", u"x").status().error, PrefError::kUnknownScope);
}

}  // namespace
}  // namespace orvik::test
