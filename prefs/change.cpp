#include "prefs/change.h"

#include "prefs/domain_store.h"
#include "prefs/key_walk.h"

namespace orvik {

namespace {

DWORD ChangeEntry(const EffectiveDomain& effective, const CAtlString& given_domain,
                  const KeyPath& path, const CAtlString& name, CFTypeRef value) {
  const bool writes = value != nullptr;
  const auto store =
      OpenStore(effective, given_domain,
                writes && !path.empty() ? StorePurpose::kCreate : StorePurpose::kChange);
  if (store == nullptr) {
    return kPreferenceLockNotObtained;
  }
  if (writes) {
    static_cast<void>(store->Synchronize());
  }
  const PrefStatus status =
      ApplyChange(*store, path, name, value, writes ? MissingKeys::kMake : MissingKeys::kFail);
  if (status.error == PrefError::kNotAKey || status.error == PrefError::kNotFound) {
    return writes ? kPreferenceBadKey : kPreferenceNotFound;
  }
  if (status.ok()) {
    static_cast<void>(store->Save());
  }
  return kPreferenceSuccess;
}

}  // namespace

DWORD WriteEntry(int scope, const CAtlString& domain, const KeyPath& path, const CAtlString& name,
                 CFTypeRef value) {
  const EffectiveDomain effective(scope, domain);
  if (!IsKnownScope(effective.scope)) {
    return kPreferenceSuccess;
  }
  if (!effective.usable()) {
    return kPreferenceInvalidDomain;
  }
  return IsTooDeep(path) ? kPreferenceBadKey : ChangeEntry(effective, domain, path, name, value);
}

DWORD DeleteEntry(int scope, const CAtlString& domain, const KeyPath& path,
                  const CAtlString& name) {
  const EffectiveDomain effective(scope, domain);
  if (!IsKnownScope(effective.scope)) {
    return path.empty() ? kPreferenceSuccess : kPreferenceNotFound;
  }
  if (!effective.usable()) {
    return kPreferenceInvalidDomain;
  }
  return ChangeEntry(effective, domain, path, name, nullptr);
}

}  // namespace orvik
