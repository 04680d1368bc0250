#include "prefs/transaction.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "plist/differences.h"
#include "plist/forms.h"
#include "prefs/domain_store.h"
#include "prefs/key_walk.h"

namespace orvik {

namespace {

// What keeps the entries from being changed; a missing file does not.
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

// Whether a step renames a value to the name that it has.
template <class Step>
bool IsSamePlace(const Step& step) {
  if (step.key_path.count() != step.to_key.count() || step.name.Compare(step.to_name) != 0) {
    return false;
  }
  for (int i = 1; i <= step.key_path.count(); ++i) {
    if (step.key_path.name(i).Compare(step.to_key.name(i)) != 0) {
      return false;
    }
  }
  return true;
}

bool CanBeKept(const plist::Value& value) {
  return !plist::FindFault(value);
}

}  // namespace

// Carries out the steps on an opened domain, in memory.
class [[gnu::visibility("hidden")]] TransactionRunner {
 public:
  explicit TransactionRunner(FileDomainStore & store) : store_(store) {}

  // Up to the first step that fails; the status names it.
  PrefStatus Run(const std::vector<Transaction::Step>& steps);

 private:
  using Step = Transaction::Step;
  using Kind = Transaction::Kind;

  PrefStatus CarryOut(const Step& step);
  // The entry of a name below a path.
  FoundValue Find(const KeyPath& path, const CAtlString& name);
  // The dictionary at a path; the whole domain for an empty one.
  FoundValue FindDictionary(const KeyPath& path);

  PrefStatus Set(const Step& step);
  PrefStatus Put(const KeyPath& path, const CAtlString& name, const plist::Value& value);
  PrefStatus Delete(const Step& step);
  PrefStatus MakeKey(const KeyPath& path);
  PrefStatus ReplaceKey(const KeyPath& path, const plist::Value& entries);
  PrefStatus Merge(const Step& step);
  PrefStatus CopyOrRename(const Step& step);
  PrefStatus RequireKey(const KeyPath& path, bool empty);

  FileDomainStore& store_;
};

PrefStatus TransactionRunner::Run(const std::vector<Step>& steps) {
  int index = 0;
  for (const Step& step : steps) {
    if (PrefStatus status = CarryOut(step); !status.ok()) {
      status.step = index;
      return status;
    }
    ++index;
  }
  return PrefStatus::Ok();
}

PrefStatus TransactionRunner::CarryOut(const Step& step) {
  switch (step.kind) {
    case Kind::kSet:
      return Set(step);
    case Kind::kUpdate: {
      const plist::Value made = step.update(Find(step.key_path, step.name).value);
      return made ? Put(step.key_path, step.name, made) : PrefStatus{PrefError::kConditionNotMet};
    }
    case Kind::kDelete:
      return Delete(step);
    case Kind::kMakeKey:
      return MakeKey(step.key_path);
    case Kind::kReplaceKey:
      return ReplaceKey(step.key_path, step.value);
    case Kind::kClearKey:
      return FindDictionary(step.key_path).status.error == PrefError::kNotFound
                 ? PrefStatus::Ok()
                 : ReplaceKey(step.key_path, plist::Value::Dictionary());
    case Kind::kMerge:
      return Merge(step);
    case Kind::kCopy:
    case Kind::kRename:
      return CopyOrRename(step);
    case Kind::kRequireEqual: {
      const FoundValue found = Find(step.key_path, step.name);
      return HoldsIf(found.value && found.value == step.value);
    }
    case Kind::kRequireAbsent:
      return HoldsIf(Find(step.key_path, step.name).status.error == PrefError::kNotFound);
    case Kind::kRequireNotKey:
      return Find(step.key_path, step.name).value.is_dictionary()
                 ? InTheWay(PrefError::kIsAKey, step.key_path, step.name)
                 : PrefStatus::Ok();
    case Kind::kRequireKey:
      return RequireKey(step.key_path, false);
    case Kind::kRequireEmptyKey:
      return RequireKey(step.key_path, true);
    case Kind::kRequireKeyEqual: {
      const FoundValue found = FindDictionary(step.key_path);
      return HoldsIf(found.status.error != PrefError::kNotAKey && found.value == step.value);
    }
    case Kind::kRequireThat:
      return HoldsIf(step.condition(Find(step.key_path, step.name).value));
    case Kind::kRefuseEmptyPath:
      return {PrefError::kEmptyPath};
  }
  return PrefStatus::Ok();
}

FoundValue TransactionRunner::Find(const KeyPath& path, const CAtlString& name) {
  return FindValueIn(store_, path, name);
}

FoundValue TransactionRunner::FindDictionary(const KeyPath& path) {
  if (!path.empty()) {
    return FindKeyIn(store_, path);
  }
  const plist::Value& all = store_.entries();
  return {{all ? PrefError::kNone : PrefError::kNotFound}, all};
}

PrefStatus TransactionRunner::Put(const KeyPath& path, const CAtlString& name,
                                  const plist::Value& value) {
  if (IsTooDeep(path) || !CanBeKept(value)) {
    return NotSerializable(path, &name, value);
  }
  return ApplyChange(store_, path, name, value, MissingKeys::kMake);
}

PrefStatus TransactionRunner::Set(const Step& step) {
  if (step.replace == ReplaceKeys::kNo) {
    const plist::Value present = Find(step.key_path, step.name).value;
    if (!plist::MayReplace(present, step.value, step.replace)) {
      const PrefError error = present.is_dictionary() ? PrefError::kIsAKey : PrefError::kIsAValue;
      return InTheWay(error, step.key_path, step.name);
    }
  }
  return Put(step.key_path, step.name, step.value);
}

PrefStatus TransactionRunner::Delete(const Step& step) {
  const FoundValue present = Find(step.key_path, step.name);
  if (!present.status.ok()) {
    return step.if_missing == IfMissing::kFail ? present.status : PrefStatus::Ok();
  }
  return ApplyChange(store_, step.key_path, step.name, {}, MissingKeys::kFail);
}

PrefStatus TransactionRunner::MakeKey(const KeyPath& path) {
  const FoundValue present = FindDictionary(path);
  if (path.empty() || present.status.error != PrefError::kNotFound) {
    return present.status.error == PrefError::kNotAKey ? present.status : PrefStatus::Ok();
  }
  return Put(path.Parent(), path.name(path.count()), plist::Value::Dictionary());
}

PrefStatus TransactionRunner::ReplaceKey(const KeyPath& path, const plist::Value& entries) {
  if (!entries.is_dictionary() || !CanBeKept(entries)) {
    return NotSerializable(path, nullptr, entries);
  }
  const FoundValue present = FindDictionary(path);
  if (present.status.error == PrefError::kNotAKey) {
    return present.status;
  }
  if (!path.empty()) {
    return Put(path.Parent(), path.name(path.count()), entries);
  }
  if (present.value != entries) {
    store_.ReplaceEntries(entries);
  }
  return PrefStatus::Ok();
}

PrefStatus TransactionRunner::Merge(const Step& step) {
  const KeyPath& path = step.key_path;
  PrefStatus present = FindDictionary(path).status;
  if (present.error == PrefError::kNotAKey && step.replace == ReplaceKeys::kYes) {
    // The value may be the key itself; one above it stays.
    return Put(path.Parent(), path.name(path.count()), step.value);
  }
  if (!present.ok()) {
    return present.error == PrefError::kNotFound ? ReplaceKey(path, step.value) : present;
  }
  if (!step.value.is_dictionary() || !CanBeKept(step.value)) {
    return NotSerializable(path, nullptr, step.value);
  }
  // In place: after a refusal the whole transaction is dropped.
  plist::Value* key = store_.EntriesToChange();
  for (int i = 1; i <= path.count(); ++i) {
    key = key->Change(path.name(i));
  }
  const plist::MergeResult result = plist::Merge(*key, step.value, step.replace);
  if (result.is_refused) {
    PrefStatus status{result.is_dictionary ? PrefError::kIsAKey : PrefError::kIsAValue};
    status.path = WayOf(path);
    for (const std::u16string& name : result.refused) {
      AddToWay(status.path, CAtlString(name));
    }
    return status;
  }
  if (result.changed) {
    store_.NoteChange();
  }
  return PrefStatus::Ok();
}

PrefStatus TransactionRunner::CopyOrRename(const Step& step) {
  const FoundValue source = Find(step.key_path, step.name);
  if (!source.status.ok()) {
    return source.status;
  }
  if (step.kind == Kind::kRename) {
    if (IsSamePlace(step)) {
      return PrefStatus::Ok();
    }
    PrefStatus removed = ApplyChange(store_, step.key_path, step.name, {}, MissingKeys::kFail);
    if (!removed.ok()) {
      return removed;
    }
  }
  return Put(step.to_key, step.to_name, source.value);
}

PrefStatus TransactionRunner::RequireKey(const KeyPath& path, bool empty) {
  const FoundValue found = FindDictionary(path);
  if (!found.status.ok() || !empty) {
    return found.status;
  }
  return HoldsIf(found.value.count() == 0, PrefError::kKeyNotEmpty);
}

Transaction::Transaction(int scope, CAtlString domain)
    : scope_(scope), domain_(std::move(domain)) {}

Transaction::Step& Transaction::Add(Kind kind, const KeyPath& key_path, CAtlString name,
                                    plist::Value value) {
  return steps_.emplace_back(Step{kind, key_path, std::move(name), std::move(value),
                                  IfMissing::kSucceed, ReplaceKeys::kNo, KeyPath(u""), CAtlString(),
                                  nullptr, nullptr});
}

void Transaction::Set(const KeyPath& key_path, CAtlString name, plist::Value value,
                      ReplaceKeys replace) {
  Add(Kind::kSet, key_path, std::move(name), std::move(value)).replace = replace;
}

void Transaction::Update(const KeyPath& key_path, CAtlString name, Updater update) {
  Add(Kind::kUpdate, key_path, std::move(name)).update = std::move(update);
}

void Transaction::Delete(const KeyPath& key_path, CAtlString name, IfMissing if_missing) {
  Add(Kind::kDelete, key_path, std::move(name)).if_missing = if_missing;
}

void Transaction::DeleteKey(const KeyPath& key_path, IfMissing if_missing) {
  if (key_path.empty()) {
    Add(Kind::kRefuseEmptyPath, key_path, CAtlString());
  } else {
    Delete(key_path.Parent(), key_path.name(key_path.count()), if_missing);
  }
}

void Transaction::MakeKey(const KeyPath& key_path) {
  Add(Kind::kMakeKey, key_path, CAtlString());
}

void Transaction::ReplaceKey(const KeyPath& key_path, plist::Value entries) {
  Add(Kind::kReplaceKey, key_path, CAtlString(), std::move(entries));
}

void Transaction::ClearKey(const KeyPath& key_path) {
  Add(Kind::kClearKey, key_path, CAtlString());
}

void Transaction::Merge(const KeyPath& key_path, plist::Value entries, ReplaceKeys replace) {
  Add(Kind::kMerge, key_path, CAtlString(), std::move(entries)).replace = replace;
}

void Transaction::Copy(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
                       CAtlString to_name) {
  Step& step = Add(Kind::kCopy, from_key, std::move(from_name));
  step.to_key = to_key;
  step.to_name = std::move(to_name);
}

void Transaction::Rename(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
                         CAtlString to_name) {
  Copy(from_key, std::move(from_name), to_key, std::move(to_name));
  steps_.back().kind = Kind::kRename;
}

void Transaction::RequireEqual(const KeyPath& key_path, CAtlString name, plist::Value expected) {
  Add(Kind::kRequireEqual, key_path, std::move(name), std::move(expected));
}

void Transaction::RequireAbsent(const KeyPath& key_path, CAtlString name) {
  Add(Kind::kRequireAbsent, key_path, std::move(name));
}

void Transaction::RequireNotKey(const KeyPath& key_path, CAtlString name) {
  Add(Kind::kRequireNotKey, key_path, std::move(name));
}

void Transaction::RequireKey(const KeyPath& key_path) {
  Add(Kind::kRequireKey, key_path, CAtlString());
}

void Transaction::RequireEmptyKey(const KeyPath& key_path) {
  Add(Kind::kRequireEmptyKey, key_path, CAtlString());
}

void Transaction::RequireKeyEqual(const KeyPath& key_path, plist::Value entries) {
  Add(Kind::kRequireKeyEqual, key_path, CAtlString(), std::move(entries));
}

void Transaction::RequireThat(const KeyPath& key_path, CAtlString name, Condition condition) {
  Add(Kind::kRequireThat, key_path, std::move(name)).condition = std::move(condition);
}

PrefStatus Transaction::Commit(IfDamaged if_damaged, TransactionResult* result) const {
  const EffectiveDomain effective(scope_, domain_);
  if (PrefStatus status = CheckAddress(effective); !status.ok()) {
    return status;
  }
  // Without a file a failing condition must not leave the folder and the lock of a new one behind.
  // The steps run again under the lock: another process may make the file meanwhile.
  std::error_code unknown;
  if (MayCreate() && !std::filesystem::exists(FileOfDomain(effective), unknown) && !unknown) {
    FileDomainStore missing(effective, domain_, StorePurpose::kRehearse);
    if (missing.status().error == PrefError::kNotFound) {
      if (PrefStatus status = TransactionRunner(missing).Run(steps_); !status.ok()) {
        return status;
      }
    }
  }
  PrefStatus status;
  plist::RepeatWhileMade([&] {
    status = CommitOnce(effective, if_damaged, result);
    return status.error_number;
  });
  return status;
}

PrefStatus Transaction::CommitOnce(const EffectiveDomain& effective, IfDamaged if_damaged,
                                   TransactionResult* result) const {
  FileDomainStore store(effective, domain_,
                        MayCreate() ? StorePurpose::kCreate : StorePurpose::kChange, wait_);
  if (PrefStatus found = Problem(store); !found.ok()) {
    if (if_damaged == IfDamaged::kFail || !store.CanStartAnew()) {
      return found;
    }
    if (PrefStatus status = store.StartAnew(); !status.ok()) {
      return status;
    }
  }
  PrefStatus status = TransactionRunner(store).Run(steps_);
  if (status.ok()) {
    status = store.Save();
  }
  if (status.ok() && result != nullptr) {
    *result = ResultOf(store);
  }
  return status;
}

PrefStatus Transaction::Rehearse(TransactionResult* result) const {
  const EffectiveDomain effective(scope_, domain_);
  if (PrefStatus status = CheckAddress(effective); !status.ok()) {
    return status;
  }
  FileDomainStore store(effective, domain_, StorePurpose::kRehearse);
  if (PrefStatus status = Problem(store); !status.ok()) {
    return status;
  }
  PrefStatus status = TransactionRunner(store).Run(steps_);
  if (status.ok()) {
    status = store.CheckSave();
  }
  if (status.ok()) {
    *result = ResultOf(store);
  }
  return status;
}

bool Transaction::MayCreate() const {
  return std::any_of(steps_.begin(), steps_.end(), [](const Step& step) {
    return step.kind < Kind::kRequireEqual && step.kind != Kind::kDelete &&
           step.kind != Kind::kClearKey;
  });
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
