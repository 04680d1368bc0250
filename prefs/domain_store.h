// The two seams between the operations on key paths and what keeps the values.
#pragma once

#include <memory>

#include "platform/core_foundation/property_list.h"
#include "prefs/auto_release.h"
#include "prefs/pref_status.h"
#include "prefs/scope.h"

namespace orvik {

// The top-level entries of one domain in one scope, opened for the length of one operation.
//
//   scope     entries                                  Synchronize, Save
//   shared    the shared preference file               nothing; writes the file
//   user      the platform's preferences, this user    CFPreferencesSynchronize, both
//   machine   the platform's preferences, any user     nothing: setting an entry saves it
class DomainStore {
 public:
  virtual ~DomainStore() = default;

  // Picks up what other processes saved.
  virtual PrefStatus Synchronize() { return PrefStatus::Ok(); }

  // An entry, or null. With OwnsEntries() every dictionary in it is the store's own and modifiable.
  virtual CAutoCFRelease<CFTypeRef> CopyEntry(CFStringRef name) = 0;
  virtual bool OwnsEntries() const { return false; }

  // Sets an entry, or removes it (null). The store retains the value.
  virtual PrefStatus SetEntry(CFStringRef name, CFTypeRef value) = 0;

  // Saves what was set.
  virtual PrefStatus Save() = 0;
};

// What holds others off while a domain of the shared scope is changed.
class DomainGuard {
 public:
  virtual ~DomainGuard() = default;
  // False when it could not be had; then nothing is to be released.
  virtual bool Take(const CAtlString& domain) = 0;
  virtual void Release(const CAtlString& domain) = 0;
};

// What a domain is opened for.
enum class StorePurpose {
  kRead,
  kRehearse,  // a change that is never saved: nothing is locked
  kChange,
  kCreate,  // a change that may bring the file and its folder into being
};

// How the operations reach their stores and the guard of the shared scope.
class StoreAccess {
 public:
  virtual ~StoreAccess() = default;
  // For a usable domain and a known scope. Null when another process keeps the domain from being
  // changed.
  virtual std::unique_ptr<DomainStore> Open(const EffectiveDomain& domain,
                                            StorePurpose purpose) = 0;
  virtual DomainGuard& Guard() = 0;
};

// The stores and the guard of the system.
StoreAccess& SystemStores();

}  // namespace orvik
