#include "prefs/transaction.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "plist/differences.h"
#include "plist/forms.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"

namespace orvik {

namespace {

// The reason why the entries cannot be changed; a missing file is not an obstacle.
PrefStatus Problem(const FileDomainStore& store) {
  const PrefStatus& status = store.status();
  return status.error == PrefError::kNotFound ? PrefStatus::Ok() : status;
}

TransactionResult ResultOf(const FileDomainStore& store) {
  return {store.status().ok() ? store.file().root() : plist::Value(), store.entries()};
}

PrefStatus HoldsIf(bool condition, PrefError otherwise = PrefError::kConditionNotMet) {
  return condition ? PrefStatus::Ok() : PrefStatus{otherwise};
}

PrefStatus InTheWay(PrefError error, const KeyPath& path, const CAtlString& name) {
  PrefStatus status{error};
  status.path = WayOf(path);
  AddToWay(status.path, name);
  return status;
}

bool IsSamePath(const KeyPath& one, const KeyPath& other) {
  bool is_same = one.count() == other.count();
  for (int i = 1; is_same && i <= one.count(); ++i) {
    is_same = one.name(i).Compare(other.name(i)) == 0;
  }
  return is_same;
}

bool CanBeKept(const plist::Value& value) {
  return !plist::FindFault(value);
}

// The dictionary at a path; the whole domain for an empty one.
PrefValue FindDictionary(FileDomainStore& store, const KeyPath& path) {
  if (!path.empty()) return FindKeyIn(store, path);
  const plist::Value& all = store.entries();
  return {{all ? PrefError::kNone : PrefError::kNotFound}, all};
}

PrefStatus Put(FileDomainStore& store, const KeyPath& path, const CAtlString& name,
               const plist::Value& value) {
  if (IsTooDeep(path) || !CanBeKept(value)) return NotSerializable(path, &name, value);
  return ApplyChange(store, path, name, value, MissingKeys::kMake);
}

// The same for the last key of a path that is not empty.
PrefStatus PutKey(FileDomainStore& store, const KeyPath& path, const plist::Value& value) {
  return Put(store, path.Parent(), path.name(path.count()), value);
}

PrefStatus PutKeyEntries(FileDomainStore& store, const KeyPath& path, const plist::Value& entries) {
  if (!entries.is_dictionary() || !CanBeKept(entries)) {
    return NotSerializable(path, nullptr, entries);
  }
  const PrefValue present = FindDictionary(store, path);
  if (present.status.error == PrefError::kNotAKey) return present.status;
  if (!path.empty()) return PutKey(store, path, entries);
  if (present.value != entries) store.ReplaceEntries(entries);
  return PrefStatus::Ok();
}

// Merges in place. A missing path gets the entries unchanged.
PrefStatus MergeEntries(FileDomainStore& store, const KeyPath& path, const plist::Value& entries,
                        ReplaceKeys replace) {
  PrefStatus present = FindDictionary(store, path).status;
  if (present.error == PrefError::kNotAKey) {
    // The value may have the key's own name; a value above it stays.
    if (!FindValueIn(store, path.Parent(), path.name(path.count())).ok()) return present;
    return replace == ReplaceKeys::kYes
               ? PutKey(store, path, entries)
               : PrefStatus{.error = PrefError::kIsAValue, .path = present.path};
  }
  if (!present.ok()) {
    return present.error == PrefError::kNotFound ? PutKeyEntries(store, path, entries) : present;
  }
  if (!entries.is_dictionary() || !CanBeKept(entries)) {
    return NotSerializable(path, nullptr, entries);
  }
  // In place: if the merge is refused, the whole transaction is discarded.
  plist::Value* key = store.EntriesToChange();
  for (int i = 1; i <= path.count(); ++i) key = key->Change(path.name(i));
  const plist::MergeResult result = plist::Merge(*key, entries, replace);
  if (result.is_refused) {
    PrefStatus status{result.is_dictionary ? PrefError::kIsAKey : PrefError::kIsAValue};
    status.path = WayOf(path);
    for (const std::u16string& name : result.refused) AddToWay(status.path, CAtlString(name));
    return status;
  }
  if (result.changed) store.NoteChange();
  return PrefStatus::Ok();
}

// A domain without a file already has no entries, so no file is made for an empty domain.
bool IsNothingForDomain(const KeyPath& path, const plist::Value& entries) {
  return path.empty() && entries.is_dictionary() && entries.count() == 0;
}

}  // namespace

Transaction::Transaction(int scope, CAtlString domain)
    : scope_(scope), domain_(std::move(domain)) {}

void Transaction::Set(const KeyPath& key_path, CAtlString name, plist::Value value,
                      ReplaceKeys replace) {
  Change([=](FileDomainStore& store) {
    if (replace == ReplaceKeys::kNo) {
      const plist::Value present = FindValueIn(store, key_path, name).value;
      if (!plist::MayReplace(present, value, replace)) {
        const bool is_key = present.is_dictionary();
        return InTheWay(is_key ? PrefError::kIsAKey : PrefError::kIsAValue, key_path, name);
      }
    }
    return Put(store, key_path, name, value);
  });
}

void Transaction::Update(const KeyPath& key_path, CAtlString name, Updater update) {
  Change([=](FileDomainStore& store) {
    const plist::Value made = update(FindValueIn(store, key_path, name).value);
    return made ? Put(store, key_path, name, made) : PrefStatus{PrefError::kConditionNotMet};
  });
}

void Transaction::Delete(const KeyPath& key_path, CAtlString name, IfMissing if_missing) {
  ChangePresent([=](FileDomainStore& store) {
    const PrefValue present = FindValueIn(store, key_path, name);
    if (!present.status.ok()) {
      return if_missing == IfMissing::kFail ? present.status : PrefStatus::Ok();
    }
    return ApplyChange(store, key_path, name, {}, MissingKeys::kFail);
  });
}

void Transaction::DeleteKey(const KeyPath& key_path, IfMissing if_missing) {
  if (key_path.empty()) {
    ChangePresent([](FileDomainStore&) { return PrefStatus{PrefError::kEmptyPath}; });
  } else {
    Delete(key_path.Parent(), key_path.name(key_path.count()), if_missing);
  }
}

void Transaction::MakeKey(const KeyPath& key_path) {
  Change([=](FileDomainStore& store) {
    const PrefStatus present = FindDictionary(store, key_path).status;
    if (!key_path.empty() && present.error == PrefError::kNotFound) {
      return PutKey(store, key_path, plist::Value::Dictionary());
    }
    return present.error == PrefError::kNotAKey ? present : PrefStatus::Ok();
  });
}

void Transaction::ReplaceKey(const KeyPath& key_path, plist::Value entries) {
  if (IsNothingForDomain(key_path, entries)) return ClearKey(key_path);
  Change([=](FileDomainStore& store) { return PutKeyEntries(store, key_path, entries); });
}

void Transaction::ClearKey(const KeyPath& key_path) {
  ChangePresent([=](FileDomainStore& store) {
    return FindDictionary(store, key_path).status.error == PrefError::kNotFound
               ? PrefStatus::Ok()
               : PutKeyEntries(store, key_path, plist::Value::Dictionary());
  });
}

void Transaction::Merge(const KeyPath& key_path, plist::Value entries, ReplaceKeys replace) {
  if (IsNothingForDomain(key_path, entries)) {
    return ChangePresent([](FileDomainStore&) { return PrefStatus::Ok(); });
  }
  Change([=](FileDomainStore& store) { return MergeEntries(store, key_path, entries, replace); });
}

void Transaction::Copy(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
                       CAtlString to_name) {
  Change([=](FileDomainStore& store) {
    const PrefValue source = FindValueIn(store, from_key, from_name);
    return source.status.ok() ? Put(store, to_key, to_name, source.value) : source.status;
  });
}

void Transaction::Rename(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
                         CAtlString to_name) {
  Change([=](FileDomainStore& store) {
    const PrefValue source = FindValueIn(store, from_key, from_name);
    const bool stays = from_name.Compare(to_name) == 0 && IsSamePath(from_key, to_key);
    if (!source.status.ok() || stays) return source.status;
    PrefStatus removed = ApplyChange(store, from_key, from_name, {}, MissingKeys::kFail);
    return removed.ok() ? Put(store, to_key, to_name, source.value) : removed;
  });
}

void Transaction::RequireEqual(const KeyPath& key_path, CAtlString name, plist::Value expected) {
  RequireThat(key_path, std::move(name),
              [=](const plist::Value& present) { return present && present == expected; });
}

void Transaction::RequireAbsent(const KeyPath& key_path, CAtlString name) {
  Require([=](FileDomainStore& store) {
    return HoldsIf(FindValueIn(store, key_path, name).status.error == PrefError::kNotFound);
  });
}

void Transaction::RequireNotKey(const KeyPath& key_path, CAtlString name) {
  Require([=](FileDomainStore& store) {
    return FindValueIn(store, key_path, name).value.is_dictionary()
               ? InTheWay(PrefError::kIsAKey, key_path, name)
               : PrefStatus::Ok();
  });
}

void Transaction::RequireKey(const KeyPath& key_path) {
  Require([=](FileDomainStore& store) { return FindDictionary(store, key_path).status; });
}

void Transaction::RequireEmptyKey(const KeyPath& key_path) {
  Require([=](FileDomainStore& store) {
    const PrefValue found = FindDictionary(store, key_path);
    return found.status.ok() ? HoldsIf(found.value.count() == 0, PrefError::kKeyNotEmpty)
                             : found.status;
  });
}

void Transaction::RequireKeyEqual(const KeyPath& key_path, plist::Value entries) {
  Require([=](FileDomainStore& store) {
    const PrefValue found = FindDictionary(store, key_path);
    return HoldsIf(found.status.error != PrefError::kNotAKey && found.value == entries);
  });
}

void Transaction::RequireThat(const KeyPath& key_path, CAtlString name, Condition condition) {
  Require([=](FileDomainStore& store) {
    return HoldsIf(condition(FindValueIn(store, key_path, name).value));
  });
}

PrefStatus Transaction::Run(FileDomainStore& store) const {
  for (std::size_t i = 0; i < steps_.size(); ++i) {
    if (PrefStatus status = steps_[i].action(store); !status.ok()) {
      status.step = static_cast<int>(i);
      return status;
    }
  }
  return PrefStatus::Ok();
}

PrefStatus Transaction::Commit(IfDamaged if_damaged, TransactionResult* result) const {
  const EffectiveDomain effective(scope_, domain_);
  // Without a file a failing condition must not leave a new folder and its lock behind. The steps
  // run again under the lock: another process may make the file meanwhile.
  std::error_code unknown;
  if (MayCreate() && !std::filesystem::exists(FileOfDomain(effective), unknown) && !unknown) {
    FileDomainStore missing(effective, StorePurpose::kDryRun);
    if (missing.status().error == PrefError::kNotFound) {
      if (PrefStatus status = Run(missing); !status.ok()) return status;
    }
  }
  PrefStatus status;
  plist::RepeatWhileMade([&] {
    status = CommitOnce(effective, if_damaged, result);
    return status.error_number;
  });
  return status;
}

// One read and one write under one lock. Unless the new file was saved, the store restores a file
// that it kept aside. So every return leaves the old file or the new one.
PrefStatus Transaction::CommitOnce(const EffectiveDomain& effective, IfDamaged if_damaged,
                                   TransactionResult* result) const {
  FileDomainStore store(effective, MayCreate() ? StorePurpose::kCreate : StorePurpose::kChange,
                        wait_);
  if (PrefStatus found = Problem(store); !found.ok()) {
    if (if_damaged == IfDamaged::kFail || !store.CanStartAnew()) return found;
    if (PrefStatus status = store.StartAnew(); !status.ok()) return status;
  }
  PrefStatus status = Run(store);
  if (status.ok()) status = store.Save();
  if (status.ok() && result != nullptr) *result = ResultOf(store);
  return status;
}

PrefStatus Transaction::DryRun(TransactionResult* result) const {
  FileDomainStore store({scope_, domain_}, StorePurpose::kDryRun);
  if (PrefStatus status = Problem(store); !status.ok()) return status;
  PrefStatus status = Run(store);
  if (status.ok()) status = store.CheckSave();
  if (status.ok()) *result = ResultOf(store);
  return status;
}

bool Transaction::MayCreate() const {
  return std::any_of(steps_.begin(), steps_.end(),
                     [](const Step& step) { return step.may_create; });
}

PrefStatus SetPreferenceIfEqual(int scope, CAtlString key_path, CAtlString name,
                                plist::Value expected, plist::Value value, CAtlString domain) {
  Transaction transaction(scope, std::move(domain));
  transaction.RequireEqual(key_path, name, std::move(expected));
  transaction.Set(key_path, name, std::move(value));
  return transaction.Commit();
}

PrefStatus SetPreferenceIfAbsent(int scope, CAtlString key_path, CAtlString name,
                                 plist::Value value, CAtlString domain) {
  Transaction transaction(scope, std::move(domain));
  transaction.RequireAbsent(key_path, name);
  transaction.Set(key_path, name, std::move(value));
  return transaction.Commit();
}

}  // namespace orvik
