#include "prefs/transaction.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_fault.h"
#include "prefs/file_domain_store.h"
#include "prefs/platform_values.h"
#include "prefs/transaction_runner.h"

namespace orvik {

namespace {

// What keeps the entries from being changed; a missing file does not.
PrefStatus Problem(const FileDomainStore& store) {
  const PrefStatus& status = store.status();
  return status.error == PrefError::kNotFound ? PrefStatus::Ok() : status;
}

// The store has changed what it read; its file's bytes hold what was there before.
TransactionResult ResultOf(const FileDomainStore& store) {
  TransactionResult result;
  if (store.status().ok()) {
    CAutoCFRelease<CFPropertyListRef> before(CFPropertyListCreateFromXMLData(
        kCFAllocatorDefault, store.file().bytes(), kCFPropertyListImmutable, nullptr));
    result.before.Attach(static_cast<CFDictionaryRef>(before.Detach()));
  }
  result.after = CAutoCFRelease<CFDictionaryRef>::Retaining(store.entries());
  return result;
}

}  // namespace

Transaction::Transaction(int scope, CAtlString domain)
    : scope_(scope), domain_(std::move(domain)) {}

Transaction::Step& Transaction::Add(Kind kind, const KeyPath& key_path, CAtlString name,
                                    CFTypeRef value) {
  return steps_.emplace_back(Step{kind, key_path, std::move(name),
                                  CAutoCFRelease<CFTypeRef>::Retaining(value), IfMissing::kSucceed,
                                  ReplaceKeys::kNo, KeyPath(u""), CAtlString(), nullptr});
}

void Transaction::Set(const KeyPath& key_path, CAtlString name, CFTypeRef value) {
  Set(key_path, std::move(name), value, ReplaceKeys::kYes);
}

void Transaction::Set(const KeyPath& key_path, CAtlString name, CFTypeRef value,
                      ReplaceKeys replace) {
  Add(Kind::kSet, key_path, std::move(name), value).replace = replace;
}

void Transaction::SetString(const KeyPath& key_path, CAtlString name, const CAtlString& value) {
  Set(key_path, std::move(name), PlatformString(value));
}

void Transaction::SetInt(const KeyPath& key_path, CAtlString name, int value) {
  Set(key_path, std::move(name), PlatformNumber(value));
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

void Transaction::ReplaceKey(const KeyPath& key_path, CFDictionaryRef entries) {
  Add(Kind::kReplaceKey, key_path, CAtlString(), entries);
}

void Transaction::ClearKey(const KeyPath& key_path) {
  Add(Kind::kClearKey, key_path, CAtlString());
}

void Transaction::Merge(const KeyPath& key_path, CFDictionaryRef entries, ReplaceKeys replace) {
  Add(Kind::kMerge, key_path, CAtlString(), entries).replace = replace;
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

void Transaction::RequireEqual(const KeyPath& key_path, CAtlString name, CFTypeRef expected) {
  Add(Kind::kRequireEqual, key_path, std::move(name), expected);
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

void Transaction::RequireKeyEqual(const KeyPath& key_path, CFDictionaryRef entries) {
  Add(Kind::kRequireKeyEqual, key_path, CAtlString(), entries);
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
  if (status.ok() && store.entries() != nullptr && FaultInPropertyList(store.entries())) {
    status = NotSerializable(CAtlString(), nullptr, store.entries());
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
