// Several changes of one domain under one lock, with one read and one write: all of them or none.
//
// The writers and deleters of preferences.h return success once they have the lock; a transaction
// reports whether its changes are on disk. It works on the file behind the scope:
//
//   scope      held while it runs
//   shared     the lock record of the domain, as the writers hold it, and the folder of the file
//   user,      the lock under which preferences are synchronised
//   machine
//
// If any change, condition or the saving fails, the file stays as it was. The status then names
// the step that failed.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "plist/differences.h"
#include "plist/value.h"
#include "prefs/key_path.h"
#include "prefs/pref_status.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

struct EffectiveDomain;
class FileDomainStore;

// Whether a deletion of a missing entry succeeds.
enum class IfMissing { kSucceed, kFail };

// The treatment of a file that is not a property list of entries or cannot be read.
enum class IfDamaged {
  kFail,     // kDamaged, kRootNotDictionary or kUnreadable; the file stays
  kReplace,  // starts from an empty domain and keeps the old file beside the new one
};

// Whether a change may replace a key, with everything below it, by a value, or a value by a key.
// A dictionary is a key.
using ReplaceKeys = plist::ReplaceContainers;

// The domain before and after a transaction; no value if the domain had no file.
struct TransactionResult {
  plist::Value before;
  plist::Value after;
};

class Transaction {
 public:
  // Any of the scopes 0 to 5.
  Transaction(int scope, CAtlString domain);

  // Changes. They are made in the order of these calls; each sees the earlier ones. Missing keys on
  // the path are made; a value on the path that is not a dictionary makes the transaction fail with
  // kNotAKey, so that it is not lost.
  //
  // With kNo, Set fails with kIsAKey or kIsAValue instead of replacing a key by a value or a value
  // by a key. A dictionary replaces a dictionary.
  void Set(const KeyPath& key_path, CAtlString name, plist::Value value,
           ReplaceKeys replace = ReplaceKeys::kYes);
  // Sets the value that `update` returns for the present value or key (no value: there is none). If
  // it returns no value, the transaction fails with kConditionNotMet. Commit may call it more than
  // once, as for RequireThat.
  using Updater = std::function<plist::Value(const plist::Value& present)>;
  void Update(const KeyPath& key_path, CAtlString name, Updater update);
  // Removes one value or key under a key path. With kFail, a missing one gives kNotFound or
  // kNotAKey.
  void Delete(const KeyPath& key_path, CAtlString name, IfMissing if_missing = IfMissing::kSucceed);
  // Removes the last key of the path with everything below it. An empty path has no last key and is
  // refused (kEmptyPath); to empty a domain use ReplaceDomain.
  void DeleteKey(const KeyPath& key_path, IfMissing if_missing = IfMissing::kSucceed);
  // Makes a missing key, with the keys above it.
  void MakeKey(const KeyPath& key_path);
  // Makes `entries`, a dictionary, the only content of the key, or of the whole domain for an empty
  // path. Empty `entries` make no file for a domain that has none.
  void ReplaceKey(const KeyPath& key_path, plist::Value entries);
  void ReplaceDomain(plist::Value entries) { ReplaceKey(KeyPath(u""), std::move(entries)); }
  // Removes everything below a key, or from the domain for an empty path; the key stays. A missing
  // key is not made.
  void ClearKey(const KeyPath& key_path);
  // Puts the entries below the key (into the domain for an empty path). A dictionary is merged into
  // a dictionary of the same name in the same way; other values are replaced by the given ones.
  // With kNo the transaction fails with kIsAKey or kIsAValue instead of replacing a key by a value
  // or a value by a key.
  void Merge(const KeyPath& key_path, plist::Value entries, ReplaceKeys replace = ReplaceKeys::kNo);
  // Copies or moves a value, or a key with everything below it. An entry with the new name is
  // replaced. kNotFound when the old one does not exist. A key may move below its own path.
  void Copy(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
            CAtlString to_name);
  void Rename(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
              CAtlString to_name);

  // Conditions on the entries at this point, after the changes added before. A condition that is
  // not met ends the transaction with kConditionNotMet, or with the error named below. Values are
  // equal as plist/value.h says: the integer 1 is not the real 1.0.
  void RequireEqual(const KeyPath& key_path, CAtlString name, plist::Value expected);
  // Neither a value nor a key has the name, and it can be set: the path leads through no value.
  void RequireAbsent(const KeyPath& key_path, CAtlString name);
  // The name does not belong to a key, so that a change by this name loses nothing below it.
  // kIsAKey.
  void RequireNotKey(const KeyPath& key_path, CAtlString name);
  // The key exists (kNotFound, kNotAKey). RequireEmptyKey: it also has no entries (kKeyNotEmpty).
  void RequireKey(const KeyPath& key_path);
  void RequireEmptyKey(const KeyPath& key_path);
  // The key (the domain for an empty path) has exactly these entries; no value: it does not exist.
  void RequireKeyEqual(const KeyPath& key_path, plist::Value entries);
  // The condition returns true for the present value or key (no value: there is none). Commit may
  // call it more than once: for a domain without a file also before it takes the lock, and again
  // when a process that takes no lock made the file meanwhile.
  using Condition = std::function<bool(const plist::Value& present)>;
  void RequireThat(const KeyPath& key_path, CAtlString name, Condition condition);

  // How long Commit waits for the lock. No value: as long as the writers do. Otherwise at most this
  // long; 0 tries once.
  void WaitAtMost(std::optional<std::chrono::milliseconds> wait) { wait_ = wait; }

  // Makes the changes and saves them. ok() means that they are on disk; if nothing changes, nothing
  // is written. May be called again and then repeats all steps. `result`, unless null, receives the
  // domain before and after; a failure does not change it.
  PrefStatus Commit(IfDamaged if_damaged = IfDamaged::kFail,
                    TransactionResult* result = nullptr) const;
  // Makes the changes in memory only: takes no lock and touches no file. Returns the status that
  // Commit would give, as far as it is known without saving. `result` (not null) is set on success.
  PrefStatus DryRun(TransactionResult* result) const;

 private:
  // One change or condition, as it is carried out on the opened domain in memory.
  using Action = std::function<PrefStatus(FileDomainStore& store)>;
  struct Step {
    bool may_create;  // the step may create the file
    Action action;
  };

  void Change(Action action) { steps_.push_back({true, std::move(action)}); }
  void ChangePresent(Action action) { steps_.push_back({false, std::move(action)}); }
  void Require(Action condition) { steps_.push_back({false, std::move(condition)}); }
  bool MayCreate() const;
  // Runs the steps up to the first that fails; the status names it.
  PrefStatus Run(FileDomainStore& store) const;
  PrefStatus CommitOnce(const EffectiveDomain& effective, IfDamaged if_damaged,
                        TransactionResult* result) const;

  int scope_;
  CAtlString domain_;
  std::vector<Step> steps_;
  std::optional<std::chrono::milliseconds> wait_;
};

// One change, made only if the present value is the expected one, or if there is none.
PrefStatus SetPreferenceIfEqual(int scope, CAtlString key_path, CAtlString name,
                                plist::Value expected, plist::Value value, CAtlString domain);
PrefStatus SetPreferenceIfAbsent(int scope, CAtlString key_path, CAtlString name,
                                 plist::Value value, CAtlString domain);
}  // namespace orvik
