#include "prefs/preference_watch.h"

#include <poll.h>

#include "prefs/typed_preferences.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

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
  EXPECT_TRUE(settings_.Set(u"A/B", u"n", 1));
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, {}, 1}}));
  EXPECT_TRUE(settings_.Set(u"Other", u"n", 1));
  EXPECT_TRUE(settings_.Set(u"A/B", u"n", u"text"));
  EXPECT_EQ(Next(watch), (Changes{{{u"B", u"n"}, 1, u"text"}}));
  // A file that cannot be understood says nothing about the values.
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

TEST_F(PreferenceWatchTest, SeesTheFileBehindLinksAndALinkThatIsChanged) {
  const fs::path one = top_ / "one" / "real.plist", two = top_ / "two" / "real.plist";
  WritePlist(one, R"({"n":"one"})");
  WritePlist(two, R"({"n":"two"})");
  fs::create_directories(UserFile().parent_path());
  fs::create_symlink(top_ / "link", UserFile());
  fs::create_symlink(one, top_ / "link");
  PreferenceWatch watch(kUserScope, u"", u"com.example.Store");
  EXPECT_EQ(watch.values(), PreferenceValue::Dictionary({{u"n", u"one"}}));
  WritePlist(one, R"({"n":"changed"})");
  EXPECT_EQ(Next(watch), (Changes{{{u"n"}, u"one", u"changed"}}));
  fs::create_symlink(two, top_ / "new link");
  fs::rename(top_ / "new link", top_ / "link");
  EXPECT_EQ(Next(watch), (Changes{{{u"n"}, u"changed", u"two"}}));
  WritePlist(two, R"({"n":"last"})");
  EXPECT_EQ(Next(watch), (Changes{{{u"n"}, u"two", u"last"}}));
}

TEST_F(PreferenceWatchTest, GoesOnInAnotherObject) {
  std::vector<PreferenceWatch> watches;
  watches.emplace_back(kSharedScope, u"A", u"com.example.Store");
  const int descriptor = watches.front().descriptor();
  watches.emplace_back(kSharedScope, u"B", u"com.example.Store");  // the first one moves
  EXPECT_EQ(watches.front().descriptor(), descriptor);
  EXPECT_TRUE(settings_.Set(u"A", u"n", 1).ok());
  EXPECT_EQ(Next(watches.front()), (Changes{{{u"n"}, {}, 1}}));
  watches.front() = std::move(watches.back());
  EXPECT_TRUE(settings_.Set(u"B", u"n", 2).ok());
  EXPECT_EQ(Next(watches.front()), (Changes{{{u"n"}, {}, 2}}));
}

TEST_F(PreferenceWatchTest, RefusesWhatNamesNoFile) {
  EXPECT_EQ(PreferenceWatch(kSharedScope, u"", u"../x").status().error, PrefError::kRefusedDomain);
  EXPECT_EQ(PreferenceWatch(7, u"", u"x").status().error, PrefError::kUnknownScope);
}

}  // namespace
}  // namespace orvik::test
