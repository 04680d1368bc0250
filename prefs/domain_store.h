// What the operations on key paths need of whatever keeps the values.
#pragma once

#include <memory>

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

  // Sets an entry, or removes it (null). The store retains the value. An entry that is set to what
  // it is already is not a change.
  virtual PrefStatus SetEntry(CFStringRef name, CFTypeRef value) = 0;

  // Saves what was set.
  virtual PrefStatus Save() = 0;
};

// What a domain is opened for.
enum class StorePurpose {
  kRead,
  kRehearse,  // a change that is never saved: nothing is locked
  kChange,
  kCreate,  // a change that may bring the file and its folder into being
};

// The store of a usable domain in a known scope. `given_domain` is the domain before its scope
// changed it, whose lock the shared scope takes. Null when another process holds the lock.
std::unique_ptr<DomainStore> OpenStore(const EffectiveDomain& domain,
                                       const CAtlString& given_domain, StorePurpose purpose);

}  // namespace orvik
