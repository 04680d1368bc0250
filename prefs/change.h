// The one way in which a single value of a domain is changed.
#pragma once

#include "prefs/domain_store.h"
#include "prefs/key_path.h"
#include "prefs/preferences.h"

namespace orvik {

// Holds the guard of the shared scope to the end of the C++ scope; other scopes have none to hold.
class GuardHold {
 public:
  // The guard is the one of the domain as the caller gave it.
  GuardHold(StoreAccess& stores, const EffectiveDomain& effective, const CAtlString& given_domain);
  ~GuardHold();
  GuardHold(const GuardHold&) = delete;
  GuardHold& operator=(const GuardHold&) = delete;

  // False when it could not be had.
  bool held() const { return held_; }

 private:
  DomainGuard* guard_ = nullptr;
  const CAtlString& domain_;
  bool held_ = true;
};

// The writers: sets one value, making missing keys. Results as in preferences.h.
DWORD WriteEntry(StoreAccess& stores, int scope, const CAtlString& domain, const KeyPath& path,
                 const CAtlString& name, CFTypeRef value);

// The deleters: removes one value or key.
DWORD DeleteEntry(StoreAccess& stores, int scope, const CAtlString& domain, const KeyPath& path,
                  const CAtlString& name);

}  // namespace orvik
