// Several changes of one domain under one lock, with one read and one write, all or nothing.
//
// The public writers and deleters of preferences.h always answer success when the lock was had; a
// transaction reports whether its changes are on disk. It works on the file behind the scope:
//
//   scope      held while it runs
//   shared     the lock record of the domain, as the writers hold it, and the folder of the file
//   user,      the lock under which preferences are synchronised
//   machine
//
// A transaction that fails at any change, condition or in saving leaves the file as it was. The
// status then says which step failed.
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

// The domain before and after a transaction; no value for a domain without a file.
struct TransactionResult {
  plist::Value before;
  plist::Value after;
};

class Transaction {
 public:
  // Any of the scopes 0 to 5.
  Transaction(int scope, CAtlString domain);

  // Changes. They are made in the order of these calls; each sees the ones before it. Values are
  // retained. Keys on the path that do not exist are made; a value that is not a dictionary on the
  // path makes the transaction fail with kNotAKey, so that it is not lost.
  //
  // With kNo, Set fails with kIsAKey or kIsAValue instead of replacing a key by a value or a value
  // by a key. A dictionary replaces a dictionary.
  void Set(const KeyPath& key_path, CAtlString name, plist::Value value,
           ReplaceKeys replace = ReplaceKeys::kYes);
  // Sets what the function makes of the value or key that is there (no value: none). If it returns
  // no value, the transaction fails with kConditionNotMet. Commit may ask more than once, as for
  // RequireThat.
  using Updater = std::function<plist::Value(const plist::Value& present)>;
  void Update(const KeyPath& key_path, CAtlString name, Updater update);
  // Removes one value or key under a key path (kNotFound, kNotAKey when kFail is asked for).
  void Delete(const KeyPath& key_path, CAtlString name, IfMissing if_missing = IfMissing::kSucceed);
  // Removes the last key of the path with everything below it. An empty path has no last key and is
  // refused (kEmptyPath); ReplaceDomain empties a domain.
  void DeleteKey(const KeyPath& key_path, IfMissing if_missing = IfMissing::kSucceed);
  // Makes a key, if it does not exist, with the keys above it.
  void MakeKey(const KeyPath& key_path);
  // The key then holds these entries, a dictionary, and no others; the whole domain for an empty
  // path. No entries at all make no file for a domain that has none.
  void ReplaceKey(const KeyPath& key_path, plist::Value entries);
  void ReplaceDomain(plist::Value entries) { ReplaceKey(KeyPath(u""), std::move(entries)); }
  // Removes everything below a key, or from the domain for an empty path; the key stays. Nothing to
  // do where there is no such key.
  void ClearKey(const KeyPath& key_path);
  // Puts the entries below the key (into the domain for an empty path). Dictionaries that both have
  // are merged alike; of others the given one holds. With kNo it fails with kIsAKey or kIsAValue
  // instead of replacing a key by a value or a value by a key.
  void Merge(const KeyPath& key_path, plist::Value entries, ReplaceKeys replace = ReplaceKeys::kNo);
  // Copies or moves a value, or a key with all that lies below it; what had the new name is
  // replaced. kNotFound without the old one. A key may move below its own path.
  void Copy(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
            CAtlString to_name);
  void Rename(const KeyPath& from_key, CAtlString from_name, const KeyPath& to_key,
              CAtlString to_name);

  // Conditions on what is there at this point, after the changes that were added before. One that
  // does not hold ends the transaction with kConditionNotMet, or with the error that is given.
  // Values are equal as plist/value.h says: the integer 1 is not the real 1.0.
  void RequireEqual(const KeyPath& key_path, CAtlString name, plist::Value expected);
  // Neither a value nor a key has the name, and it can be set: the path leads through no value.
  void RequireAbsent(const KeyPath& key_path, CAtlString name);
  // No key has the name: a change by this name loses nothing below it. kIsAKey.
  void RequireNotKey(const KeyPath& key_path, CAtlString name);
  // The key exists (kNotFound, kNotAKey); it holds nothing (kKeyNotEmpty, too).
  void RequireKey(const KeyPath& key_path);
  void RequireEmptyKey(const KeyPath& key_path);
  // The key (the domain for an empty path) holds exactly these entries; no value: it does not
  // exist.
  void RequireKeyEqual(const KeyPath& key_path, plist::Value entries);
  // The condition returns true for the value or key that is there (no value: none). Commit may ask
  // more than once: for a domain without a file also before it takes the lock, and again when a
  // process that takes no lock made the file meanwhile.
  using Condition = std::function<bool(const plist::Value& present)>;
  void RequireThat(const KeyPath& key_path, CAtlString name, Condition condition);

  // How long Commit waits for the lock: nothing, as the writers do; otherwise at most this long,
  // and 0 tries once.
  void WaitAtMost(std::optional<std::chrono::milliseconds> wait) { wait_ = wait; }

  // Makes the changes and saves them. ok() means that the file holds them; nothing is written when
  // nothing is to be changed. May be called again: everything is done anew. `result`, unless null,
  // receives the domain as it was and as it is; a failure leaves it empty.
  PrefStatus Commit(IfDamaged if_damaged = IfDamaged::kFail,
                    TransactionResult* result = nullptr) const;
  // Makes the changes in memory alone: no lock is taken and no file is touched. What Commit would
  // report, as far as can be known without saving.
  PrefStatus DryRun(TransactionResult* result) const;

 private:
  // One change or condition, as it is carried out on the opened domain in memory.
  using Action = std::function<PrefStatus(FileDomainStore& store)>;
  struct Step {
    bool may_create;  // it may bring the file into being
    Action action;
  };

  void Change(Action action) { steps_.push_back({true, std::move(action)}); }
  void ChangePresent(Action action) { steps_.push_back({false, std::move(action)}); }
  void Require(Action condition) { steps_.push_back({false, std::move(condition)}); }
  bool MayCreate() const;
  // Up to the first step that fails; the status names it.
  PrefStatus Run(FileDomainStore& store) const;
  PrefStatus CommitOnce(const EffectiveDomain& effective, IfDamaged if_damaged,
                        TransactionResult* result) const;

  int scope_;
  CAtlString domain_;
  std::vector<Step> steps_;
  std::optional<std::chrono::milliseconds> wait_;
};

// One change, made only where the present value is the expected one, or where there is none.
PrefStatus SetPreferenceIfEqual(int scope, CAtlString key_path, CAtlString name,
                                plist::Value expected, plist::Value value, CAtlString domain);
PrefStatus SetPreferenceIfAbsent(int scope, CAtlString key_path, CAtlString name,
                                 plist::Value value, CAtlString domain);
}  // namespace orvik
