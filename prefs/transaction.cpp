#include "prefs/transaction.h"

#include <utility>

#include "platform/core_foundation/property_list.h"
#include "prefs/change.h"
#include "prefs/file_domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/platform_values.h"
#include "prefs/preferences.h"

namespace orvik {

// Carries out the changes of one transaction on an opened domain.
class TransactionRunner {
 public:
  explicit TransactionRunner(FileDomainStore& store) : store_(store) {}

  PrefStatus Run(const std::vector<Transaction::Change>& changes) {
    for (const Transaction::Change& change : changes) {
      if (const PrefStatus status = Apply(change); !status.ok()) {
        return status;
      }
    }
    return store_.Save();
  }

 private:
  using Change = Transaction::Change;
  using Kind = Transaction::Kind;

  PrefStatus Apply(const Change& change) {
    switch (change.kind) {
      case Kind::kSet:
        return Set(change);
      case Kind::kDelete:
        return Delete(change);
      case Kind::kReplaceDomain:
        return ReplaceDomain(static_cast<CFDictionaryRef>(change.value.Get()));
      case Kind::kRequireEqual: {
        const Found found = Find(change);
        return found.value && change.value && CFEqual(found.value, change.value) ? PrefStatus::Ok()
                                                                                 : Unmet();
      }
      case Kind::kRequireAbsent:
        return Find(change).status.error == PrefError::kNotFound ? PrefStatus::Ok() : Unmet();
    }
    return PrefStatus::Ok();
  }

  static PrefStatus Unmet() { return {PrefError::kConditionNotMet}; }

  struct Found {
    PrefStatus status;
    CAutoCFRelease<CFTypeRef> value;
  };

  Found Find(const Change& change) {
    Found found;
    const KeyPath& path = change.key_path;
    if (path.empty()) {
      found.value = store_.CopyEntry(PlatformString(change.name));
    } else {
      const auto top = store_.CopyEntry(PlatformString(path.name(1)));
      const FoundKey key = FindKey(top, path);
      found.status = key.status;
      if (key.status.ok()) {
        found.value = CAutoCFRelease<CFTypeRef>::Retaining(
            CFDictionaryGetValue(key.dictionary, PlatformString(change.name)));
      }
    }
    if (found.status.ok() && !found.value) {
      found.status = {PrefError::kNotFound};
    }
    return found;
  }

  PrefStatus Set(const Change& change) {
    const CAutoCFRelease<CFTypeRef> own = OwnForm(change.value);
    if (!own) {
      return {PrefError::kNotSerializable};
    }
    return ApplyChange(store_, change.key_path, change.name, own, MissingKeys::kMake);
  }

  PrefStatus Delete(const Change& change) {
    const Found present = Find(change);
    if (!present.status.ok()) {
      return change.if_missing == IfMissing::kFail ? present.status : PrefStatus::Ok();
    }
    return ApplyChange(store_, change.key_path, change.name, nullptr, MissingKeys::kFail);
  }

  PrefStatus ReplaceDomain(CFDictionaryRef entries) {
    CAutoCFRelease<CFTypeRef> own = OwnForm(entries);
    if (!IsADictionaryType(own)) {
      return {PrefError::kNotSerializable};
    }
    store_.ReplaceEntries(CAutoCFRelease<CFMutableDictionaryRef>(AsMutable(own.Detach())));
    return PrefStatus::Ok();
  }

  // A value that later changes may go into without touching the caller's.
  static CAutoCFRelease<CFTypeRef> OwnForm(CFTypeRef value) {
    return CAutoCFRelease<CFTypeRef>(
        value == nullptr ? nullptr
                         : CFPropertyListCreateDeepCopy(kCFAllocatorDefault, value,
                                                        kCFPropertyListMutableContainers));
  }

  FileDomainStore& store_;
};

Transaction::Transaction(int scope, CAtlString domain)
    : scope_(scope), domain_(std::move(domain)) {}

void Transaction::Set(CAtlString key_path, CAtlString name, CFTypeRef value) {
  changes_.push_back({Kind::kSet, KeyPath(key_path), std::move(name),
                      CAutoCFRelease<CFTypeRef>::Retaining(value)});
}

void Transaction::SetString(CAtlString key_path, CAtlString name, const CAtlString& value) {
  Set(std::move(key_path), std::move(name), PlatformString(value));
}

void Transaction::SetInt(CAtlString key_path, CAtlString name, int value) {
  Set(std::move(key_path), std::move(name), PlatformNumber(value));
}

void Transaction::Delete(CAtlString key_path, CAtlString name, IfMissing if_missing) {
  changes_.push_back({Kind::kDelete, KeyPath(key_path), std::move(name), {}, if_missing});
}

void Transaction::DeleteKey(CAtlString key_path, IfMissing if_missing) {
  const KeyPath path(key_path);
  if (!path.empty()) {
    changes_.push_back({Kind::kDelete, path.Parent(), path.name(path.count()), {}, if_missing});
  }
}

void Transaction::ReplaceDomain(CFDictionaryRef entries) {
  changes_.push_back({Kind::kReplaceDomain, KeyPath(CAtlString()), CAtlString(),
                      CAutoCFRelease<CFTypeRef>::Retaining(entries)});
}

void Transaction::RequireEqual(CAtlString key_path, CAtlString name, CFTypeRef expected) {
  changes_.push_back({Kind::kRequireEqual, KeyPath(key_path), std::move(name),
                      CAutoCFRelease<CFTypeRef>::Retaining(expected)});
}

void Transaction::RequireAbsent(CAtlString key_path, CAtlString name) {
  changes_.push_back({Kind::kRequireAbsent, KeyPath(key_path), std::move(name), {}});
}

PrefStatus Transaction::Commit(IfDamaged if_damaged) const {
  const EffectiveDomain effective(scope_, domain_);
  if (!IsKnownScope(effective.scope)) {
    return {PrefError::kUnknownScope};
  }
  if (!effective.usable()) {
    return {PrefError::kRefusedDomain};
  }
  const GuardHold guard(SystemStores(), effective, domain_);
  if (!guard.held()) {
    return {PrefError::kLockNotObtained};
  }
  FileDomainStore store(effective, MayCreate() ? StorePurpose::kCreate : StorePurpose::kChange);
  if (!store.opened()) {
    return {PrefError::kLockNotObtained};
  }
  const PrefStatus found = store.file().status();
  if (!found.ok() && found.error != PrefError::kNotFound) {
    if (if_damaged == IfDamaged::kFail) {
      return found;
    }
    if (const PrefStatus status = store.StartAnew(); !status.ok()) {
      return status;
    }
  }
  return TransactionRunner(store).Run(changes_);
}

bool Transaction::MayCreate() const {
  for (const Change& change : changes_) {
    if (change.kind == Kind::kSet || change.kind == Kind::kReplaceDomain) {
      return true;
    }
  }
  return false;
}

PrefStatus SetPreferenceIfEqual(int scope, CAtlString key_path, CAtlString name, CFTypeRef expected,
                                CFTypeRef value, CAtlString domain) {
  Transaction transaction(scope, std::move(domain));
  transaction.RequireEqual(key_path, name, expected);
  transaction.Set(key_path, name, value);
  return transaction.Commit();
}

PrefStatus SetPreferenceIfAbsent(int scope, CAtlString key_path, CAtlString name, CFTypeRef value,
                                 CAtlString domain) {
  Transaction transaction(scope, std::move(domain));
  transaction.RequireAbsent(key_path, name);
  transaction.Set(key_path, name, value);
  return transaction.Commit();
}

}  // namespace orvik
