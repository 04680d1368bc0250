#include "prefs/change.h"

#include "prefs/key_walk.h"

namespace orvik {

namespace {

DWORD ChangeEntry(StoreAccess& stores, const EffectiveDomain& effective,
                  const CAtlString& given_domain, const KeyPath& path, const CAtlString& name,
                  CFTypeRef value) {
  const bool writes = value != nullptr;
  const GuardHold guard(stores, effective, given_domain);
  if (!guard.held()) {
    return kPreferenceLockNotObtained;
  }
  const auto store = stores.Open(
      effective, writes && !path.empty() ? StorePurpose::kCreate : StorePurpose::kChange);
  if (store == nullptr) {
    return kPreferenceLockNotObtained;
  }
  if (writes) {
    store->Synchronize();
  }
  const PrefStatus status =
      ApplyChange(*store, path, name, value, writes ? MissingKeys::kMake : MissingKeys::kFail);
  if (status.error == PrefError::kNotAKey || status.error == PrefError::kNotFound) {
    return writes ? kPreferenceBadKey : kPreferenceNotFound;
  }
  store->Save();
  return kPreferenceSuccess;
}

}  // namespace

GuardHold::GuardHold(StoreAccess& stores, const EffectiveDomain& effective,
                     const CAtlString& given_domain)
    : domain_(given_domain) {
  if (effective.scope == kSharedScope) {
    guard_ = &stores.Guard();
    held_ = guard_->Take(domain_);
  }
}

GuardHold::~GuardHold() {
  if (guard_ != nullptr && held_) {
    guard_->Release(domain_);
  }
}

DWORD WriteEntry(StoreAccess& stores, int scope, const CAtlString& domain, const KeyPath& path,
                 const CAtlString& name, CFTypeRef value) {
  const EffectiveDomain effective(scope, domain);
  if (!IsKnownScope(effective.scope)) {
    return kPreferenceSuccess;
  }
  if (!effective.usable()) {
    return kPreferenceInvalidDomain;
  }
  return ChangeEntry(stores, effective, domain, path, name, value);
}

DWORD DeleteEntry(StoreAccess& stores, int scope, const CAtlString& domain, const KeyPath& path,
                  const CAtlString& name) {
  const EffectiveDomain effective(scope, domain);
  if (!IsKnownScope(effective.scope)) {
    return path.empty() ? kPreferenceSuccess : kPreferenceNotFound;
  }
  if (!effective.usable()) {
    return kPreferenceInvalidDomain;
  }
  return ChangeEntry(stores, effective, domain, path, name, nullptr);
}

}  // namespace orvik
