#include "prefs/domain_store.h"

#include "platform/core_foundation/cf_preferences.h"
#include "prefs/file_domain_store.h"
#include "prefs/platform_values.h"

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
    CFPreferencesSetValue(name, value, domain_, user_, host_);
    return PrefStatus::Ok();
  }

  PrefStatus Save() override { return PrefStatus::Ok(); }

 protected:
  PrefStatus SynchronizeDomain() {
    const bool is_saved = CFPreferencesSynchronize(domain_, user_, host_) != 0;
    return is_saved ? PrefStatus::Ok() : PrefStatus{PrefError::kNotSaved};
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

}  // namespace

std::unique_ptr<DomainStore> OpenStore(const EffectiveDomain& domain,
                                       const CAtlString& given_domain, StorePurpose purpose) {
  switch (domain.scope) {
    case kSharedScope: {
      auto store = std::make_unique<SharedDomainStore>(domain, given_domain, purpose);
      const bool is_held_by_another = store->status().error == PrefError::kLockNotObtained;
      return is_held_by_another ? nullptr : std::move(store);
    }
    case kUserScope:
      return std::make_unique<UserDomainStore>(domain.domain);
    default:
      return std::make_unique<PlatformDomainStore>(domain.domain, kCFPreferencesAnyUser,
                                                   kCFPreferencesCurrentHost);
  }
}

}  // namespace orvik
