#include "prefs/change.h"

#include "prefs/platform_values.h"
#include "tests/prefs/store_fixture.h"

namespace orvik::test {
namespace {

// Stores without files that note what is asked of them, in order.
class NotingStores final : public StoreAccess, public DomainGuard {
 public:
  std::unique_ptr<DomainStore> Open(const EffectiveDomain& domain, StorePurpose) override {
    Note("open " + std::to_string(domain.scope) + " " + Utf8(domain.domain));
    return is_busy ? nullptr : std::make_unique<Store>(*this);
  }
  DomainGuard& Guard() override { return *this; }
  bool Take(const CAtlString& domain) override {
    Note("take " + Utf8(domain));
    return is_free;
  }
  void Release(const CAtlString& domain) override { Note("release " + Utf8(domain)); }

  std::string Notes() { return std::exchange(notes_, {}); }

  bool is_free = true;
  bool is_busy = false;
  CAutoCFRelease<CFTypeRef> entry;
  PrefError save = PrefError::kNone;

 private:
  class Store final : public DomainStore {
   public:
    explicit Store(NotingStores& owner) : owner_(owner) {}
    PrefStatus Synchronize() override { return owner_.Note("synchronize"); }
    CAutoCFRelease<CFTypeRef> CopyEntry(CFStringRef name) override {
      owner_.Note("copy " + Utf8(CAtlString(name)));
      return CAutoCFRelease<CFTypeRef>::Retaining(owner_.entry);
    }
    PrefStatus SetEntry(CFStringRef name, CFTypeRef value) override {
      return owner_.Note((value == nullptr ? "remove " : "set ") + Utf8(CAtlString(name)));
    }
    PrefStatus Save() override {
      owner_.Note("save");
      return {owner_.save};
    }

   private:
    NotingStores& owner_;
  };

  PrefStatus Note(const std::string& what) {
    notes_ += notes_.empty() ? what : ", " + what;
    return PrefStatus::Ok();
  }

  std::string notes_;
};

TEST(Change, StepsOfWritersAndDeleters) {
  NotingStores stores;
  const auto write = [&](int scope, const char16_t* path) {
    return WriteEntry(stores, scope, u"d", KeyPath(path), u"n", PlatformNumber(1));
  };
  const auto remove = [&](int scope, const char16_t* path) {
    return DeleteEntry(stores, scope, u"d", KeyPath(path), u"n");
  };
  // The lock is that of the domain as given, also where the dot is put before it.
  EXPECT_EQ(write(2, u"A/B"), 0u);
  EXPECT_EQ(stores.Notes(), "take d, open 0 .d, synchronize, copy A, set A, save, release d");
  EXPECT_EQ(write(1, u""), 0u);
  EXPECT_EQ(stores.Notes(), "open 1 d, synchronize, set n, save");
  EXPECT_EQ(remove(1, u""), 0u);
  EXPECT_EQ(stores.Notes(), "open 1 d, remove n, save");
  EXPECT_EQ(remove(0, u"A"), kPreferenceNotFound);
  EXPECT_EQ(stores.Notes(), "take d, open 0 d, copy A, release d");
  stores.entry = PlatformNumber(1);
  EXPECT_EQ(write(1, u"A"), kPreferenceBadKey);
  EXPECT_EQ(stores.Notes(), "open 1 d, synchronize, copy A");
  EXPECT_EQ(remove(5, u"A"), kPreferenceNotFound);
  EXPECT_EQ(stores.Notes(), "open 4 .d, copy A");
}

TEST(Change, WhatCannotBeHadOrSaved) {
  NotingStores stores;
  const auto write = [&](int scope) {
    return WriteEntry(stores, scope, u"d", KeyPath(u"A"), u"n", PlatformNumber(1));
  };
  stores.save = PrefError::kDiskFull;
  EXPECT_EQ(write(0), 0u);
  EXPECT_TRUE(stores.Notes().ends_with("save, release d"));
  stores.is_busy = true;
  EXPECT_EQ(write(0), kPreferenceLockNotObtained);
  EXPECT_EQ(stores.Notes(), "take d, open 0 d, release d");
  stores.is_free = false;
  EXPECT_EQ(write(3), kPreferenceLockNotObtained);
  EXPECT_EQ(stores.Notes(), "take d");
  EXPECT_EQ(write(9), 0u);
  EXPECT_EQ(stores.Notes(), "");
}

}  // namespace
}  // namespace orvik::test
