// Several changes of one domain under one lock, with one read and one write, all or nothing.
//
// The public writers and deleters of preferences.h always answer success when the lock was had; a
// transaction tells whether its changes are on disk. It works on the file behind the scope:
//
//   scope      held while it runs
//   shared     the lock record of the domain, as the writers hold it, and the folder of the file
//   user,      the lock under which preferences are synchronised
//   machine
//
// A transaction that fails at any change, condition or in saving leaves the file as it was.
#pragma once

#include <vector>

#include "platform/core_foundation/dictionary.h"
#include "prefs/auto_release.h"
#include "prefs/key_path.h"
#include "prefs/pref_status.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// What a deletion answers when there is nothing to delete.
enum class IfMissing { kSucceed, kFail };

// What a transaction does when the file is no property list of entries or cannot be read.
enum class IfDamaged {
  kFail,     // kDamaged, kRootNotDictionary or kUnreadable; the file stays
  kReplace,  // starts from an empty domain and keeps the old file beside the new one
};

class Transaction {
 public:
  // Any of the scopes 0 to 5.
  Transaction(int scope, CAtlString domain);

  // The changes are made in the order of these calls; each sees the ones before it. Values are
  // retained. Keys on the path that do not exist are made; a value that is no dictionary on the
  // path makes the transaction fail with kNotAKey, so that it is not lost.
  void Set(CAtlString key_path, CAtlString name, CFTypeRef value);
  void SetString(CAtlString key_path, CAtlString name, const CAtlString& value);
  void SetInt(CAtlString key_path, CAtlString name, int value);
  // Removes one value or key under a key path (kNotFound, kNotAKey when kFail is asked for).
  void Delete(CAtlString key_path, CAtlString name, IfMissing if_missing = IfMissing::kSucceed);
  // Removes the last key of the path with everything below it.
  void DeleteKey(CAtlString key_path, IfMissing if_missing = IfMissing::kSucceed);
  // Removes every entry and puts in those of the dictionary.
  void ReplaceDomain(CFDictionaryRef entries);

  // Conditions on what stands there at this point; kConditionNotMet ends the transaction. Numbers
  // are equal by value, strings by their units, containers by their contents.
  void RequireEqual(CAtlString key_path, CAtlString name, CFTypeRef expected);
  void RequireAbsent(CAtlString key_path, CAtlString name);

  // Makes the changes and saves them. ok() means that the file holds them; nothing is written when
  // nothing is to be changed. May be called again: everything is done anew.
  PrefStatus Commit(IfDamaged if_damaged = IfDamaged::kFail) const;

 private:
  friend class TransactionRunner;
  enum class Kind { kSet, kDelete, kReplaceDomain, kRequireEqual, kRequireAbsent };
  struct Change {
    Kind kind;
    KeyPath key_path;
    CAtlString name;
    CAutoCFRelease<CFTypeRef> value;
    IfMissing if_missing = IfMissing::kSucceed;
  };

  bool MayCreate() const;

  int scope_;
  CAtlString domain_;
  std::vector<Change> changes_;
};

// One change, made only where the present value is the expected one, or where there is none.
PrefStatus SetPreferenceIfEqual(int scope, CAtlString key_path, CAtlString name, CFTypeRef expected,
                                CFTypeRef value, CAtlString domain);
PrefStatus SetPreferenceIfAbsent(int scope, CAtlString key_path, CAtlString name, CFTypeRef value,
                                 CAtlString domain);

}  // namespace orvik
