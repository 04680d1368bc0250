// The top-level entries of one domain in one scope, opened for one operation.
//
//   scope     entries                                  Synchronize, Save
//   shared    the shared preference file               nothing; writes the file
//   user      the platform's preferences, this user    CFPreferencesSynchronize, both
//   machine   the platform's preferences, any user     nothing: setting an entry saves it
//
// Transactions and all functions that report reasons work on the file behind any scope
// (FileDomainStore).
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "plist/file.h"
#include "plist/value.h"
#include "prefs/lock_record.h"
#include "prefs/pref_status.h"
#include "prefs/scope.h"

namespace orvik {

class DomainStore {
 public:
  virtual ~DomainStore() = default;

  // Reads the changes that other processes saved.
  virtual PrefStatus Synchronize() { return PrefStatus::Ok(); }

  // An entry; no value when it does not exist.
  virtual plist::Value Entry(const plist::Text& name) = 0;
  // Sets an entry, or removes it (no value). Setting the present value is not a change.
  virtual PrefStatus SetEntry(const plist::Text& name, const plist::Value& value) = 0;
  // The store's own dictionary, for changes in place; call NoteChange after them. Null if changes
  // must use SetEntry.
  virtual plist::Value* EntriesToChange() { return nullptr; }
  virtual void NoteChange() {}

  // Saves the changes. Succeeds without effect in a store that saves each entry when it is set.
  virtual PrefStatus Save() = 0;
};

// The purpose for which a domain is opened.
enum class StorePurpose {
  kRead,
  kDryRun,  // a change that is never saved: nothing is locked
  kChange,
  kCreate,  // a change that may make the file and its folder
};

// The store of a usable domain in a known scope. Null when another process holds the lock.
std::unique_ptr<DomainStore> OpenStore(const EffectiveDomain& domain, StorePurpose purpose);

// Whether operations can work on a domain: kUnknownScope, kRefusedDomain.
PrefStatus CheckAddress(const EffectiveDomain& domain);

// The path of the file behind a usable domain of a known scope.
std::string FileOfDomain(const EffectiveDomain& domain);

// The file behind any scope: read once, changed in memory, written once. While it is open for a
// change, its folder is locked against the other users of this class and against the
// synchronisation of preferences, for processes of all users; in the shared scope the lock record
// of the given domain is held, too.
class FileDomainStore : public DomainStore {
 public:
  // A refused lock record (lock_record.h) makes a change fail, or is ignored.
  enum class RefusedRecord { kFail, kIgnore };
  FileDomainStore(const EffectiveDomain& domain, StorePurpose purpose, LockWait wait = {},
                  RefusedRecord refused = RefusedRecord::kFail);
  // A file of the shared scope by its path, changed without a record.
  FileDomainStore(std::string path, StorePurpose purpose);

  // ok if the file has entries, kNotFound without a file, kLockNotObtained, the result of
  // CheckAddress, or the reason why the file cannot be read or its folder cannot be used for the
  // change. With the last reason, entries() still has those of a sound file, and Save fails with
  // this status.
  const PrefStatus& status() const { return status_; }
  const plist::File& file() const { return file_; }

  // Whether StartAnew may replace a file with this status().
  bool CanStartAnew() const;
  // Replaces a file that is not a property list of entries by an empty domain and keeps the old
  // file beside it. If the new file is not saved, the old file is restored.
  PrefStatus StartAnew();
  // The path where StartAnew kept the old file.
  const std::string& kept() const { return file_.kept_path(); }

  // The present entries; no value without a sound file until something is set.
  const plist::Value& entries() const { return root_; }
  // Replaces all entries.
  void ReplaceEntries(plist::Value entries);

  plist::Value Entry(const plist::Text& name) override;
  // Fails with status() when the file is not a dictionary; a missing file counts as an empty one.
  PrefStatus SetEntry(const plist::Text& name, const plist::Value& value) override;
  plist::Value* EntriesToChange() override { return root_ ? &root_ : nullptr; }
  void NoteChange() override { changed_ = true; }
  // Writes the file if something was changed; otherwise flushes the existing file to disk.
  PrefStatus Save() override;
  // Returns the status that Save would give for the entries alone, without touching the file:
  // kNotSerializable, or kTooLarge for a file that could not be read again.
  PrefStatus CheckSave() const;

 private:
  void Open(StorePurpose purpose, const LockWait& wait, RefusedRecord refused);
  void ReadWithoutLock(int error);
  // Locks the folder and the record: 0, or an error number.
  int Lock(StorePurpose purpose, const LockWait& wait);
  PrefStatus StatusOf(int error) const;

  plist::File file_;
  std::optional<CAtlString> record_domain_;
  SharedLockHold record_;
  PrefStatus status_;
  bool changed_ = false;
  plist::Value root_;
};

// The store of the shared scope, with its rules for setting an entry without a sound file.
class SharedDomainStore : public FileDomainStore {
 public:
  using FileDomainStore::FileDomainStore;
  // For the writers, which cannot report a refused record: only the kernel lock counts.
  SharedDomainStore(const EffectiveDomain& domain, StorePurpose purpose)
      : FileDomainStore(domain, purpose, {}, RefusedRecord::kIgnore) {}

  // Without a sound file only a dictionary can be set; it starts a new file.
  PrefStatus SetEntry(const plist::Text& name, const plist::Value& value) override;
};

}  // namespace orvik
