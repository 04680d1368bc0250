#include "prefs/domain_store.h"

#include "platform/core_foundation/preferences.h"
#include "prefs/file_domain_store.h"
#include "prefs/platform_values.h"
#include "prefs/shared_lock.h"

namespace orvik {

namespace {

class PlatformDomainStore : public DomainStore {
 public:
  PlatformDomainStore(const CAtlString& domain, CFStringRef user, CFStringRef host)
      : domain_(PlatformString(domain)), user_(user), host_(host) {}

  CAutoCFRelease<CFTypeRef> CopyEntry(CFStringRef name) override {
    return CAutoCFRelease<CFTypeRef>(CFPreferencesCopyValue(name, domain_, user_, host_));
  }

  PrefStatus SetEntry(CFStringRef name, CFTypeRef value) override {
    return PrefStatusFromSave(host::PreferencesSetValue(name, value, domain_, user_, host_));
  }

  PrefStatus Save() override { return PrefStatus::Ok(); }

 protected:
  PrefStatus SynchronizeDomain() {
    return PrefStatusFromSave(host::PreferencesSynchronize(domain_, user_, host_));
  }

 private:
  CAutoCFRelease<CFStringRef> domain_;
  CFStringRef user_;
  CFStringRef host_;
};

class UserDomainStore final : public PlatformDomainStore {
 public:
  explicit UserDomainStore(const CAtlString& domain)
      : PlatformDomainStore(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost) {}

  PrefStatus Synchronize() override { return SynchronizeDomain(); }
  PrefStatus Save() override { return SynchronizeDomain(); }
};

class SharedGuard final : public DomainGuard {
 public:
  bool Take(const CAtlString& domain) override { return LockGlobalSharedPList(domain); }
  void Release(const CAtlString& domain) override { UnlockGlobalSharedPList(domain); }
};

class SystemStoreAccess final : public StoreAccess {
 public:
  std::unique_ptr<DomainStore> Open(const EffectiveDomain& domain, StorePurpose purpose) override {
    switch (domain.scope) {
      case kSharedScope: {
        auto store = std::make_unique<SharedDomainStore>(PlatformString(domain.domain), purpose);
        return store->opened() ? std::move(store) : nullptr;
      }
      case kUserScope:
        return std::make_unique<UserDomainStore>(domain.domain);
      default:
        return std::make_unique<PlatformDomainStore>(domain.domain, kCFPreferencesAnyUser,
                                                     kCFPreferencesCurrentHost);
    }
  }

  DomainGuard& Guard() override { return guard_; }

 private:
  SharedGuard guard_;
};

}  // namespace

StoreAccess& SystemStores() {
  static SystemStoreAccess access;
  return access;
}

}  // namespace orvik
