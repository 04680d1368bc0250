// Domain stores that keep a domain's entries in one file: read once, changed in memory, written
// once.
#pragma once

#include <optional>
#include <string>

#include "platform/core_foundation/property_list_file.h"
#include "prefs/domain_store.h"
#include "prefs/shared_lock_hold.h"

namespace orvik {

// Whether operations can work on a domain: kUnknownScope, kRefusedDomain.
PrefStatus CheckAddress(const EffectiveDomain& domain);

// The path of the file behind a usable domain of a known scope.
std::string FileOfDomain(const EffectiveDomain& domain);

// The file behind any scope. While it is open for a change its folder is locked, so that nobody
// else who asks through this class, nor anybody who synchronises preferences, changes it, of
// whatever user; in the shared scope the lock record of the given domain is held as well.
class FileDomainStore : public DomainStore {
 public:
  // A lock record that is refused (lock_record.h) makes a change fail, or is left out.
  enum class RefusedRecord { kFail, kIgnore };
  FileDomainStore(const EffectiveDomain& domain, const CAtlString& given_domain,
                  StorePurpose purpose, LockWait wait = {},
                  RefusedRecord refused = RefusedRecord::kFail);
  // A path of the shared scope, changed without a record.
  FileDomainStore(std::string path, StorePurpose purpose);

  // What was found: ok with entries, kNotFound without a file, kLockNotObtained, or why the file
  // cannot be read or its folder cannot be used for the change. In the last case the entries of a
  // sound file are there all the same, and Save fails as the status says.
  const PrefStatus& status() const { return status_; }
  const PropertyListFile& file() const { return file_; }

  // Whether status() is that of a file that StartAnew may replace.
  bool CanStartAnew() const;
  // Replaces a file that is no property list of entries by an empty domain, keeping the old file
  // beside it. Unless the new one is saved, the old one is put back.
  PrefStatus StartAnew();

  // Where StartAnew kept the old file.
  const std::string& kept() const { return file_.kept_path(); }

  // All entries as they are now; null without a sound file until something is set.
  CFDictionaryRef entries() const;

  // Puts these entries, which become the store's own, in the place of all others.
  void ReplaceEntries(CAutoCFRelease<CFMutableDictionaryRef> entries);

  CAutoCFRelease<CFTypeRef> CopyEntry(CFStringRef name) override;
  bool OwnsEntries() const override { return true; }
  // Fails as status() says when there is no dictionary to put it in; a missing file is an empty
  // one.
  PrefStatus SetEntry(CFStringRef name, CFTypeRef value) override;
  // Writes the file if something was changed; otherwise puts the file that is there on disk.
  PrefStatus Save() override;

 private:
  void Open(StorePurpose purpose, const LockWait& wait, RefusedRecord refused);
  void ReadWithoutLock(int error);
  // Takes the lock of the folder and the record: 0, or an error number.
  int Lock(StorePurpose purpose, const LockWait& wait);
  PrefStatus StatusOf(int error) const;

  PropertyListFile file_;
  std::optional<CAtlString> record_domain_;
  SharedLockHold record_;
  PrefStatus status_;
  bool may_save_ = true;
  bool changed_ = false;
  CAutoCFRelease<CFMutableDictionaryRef> root_;
};

// The store of the shared scope, with its rules for what is set where no sound file is.
class SharedDomainStore : public FileDomainStore {
 public:
  using FileDomainStore::FileDomainStore;
  // For the writers, who have no word for a refused record: the kernel lock counts.
  SharedDomainStore(const EffectiveDomain& domain, const CAtlString& given_domain,
                    StorePurpose purpose)
      : FileDomainStore(domain, given_domain, purpose, {}, RefusedRecord::kIgnore) {}

  // Without a sound file only a dictionary is set, and starts a new file.
  PrefStatus SetEntry(CFStringRef name, CFTypeRef value) override;
};

}  // namespace orvik
