// Domain stores that keep a domain's entries in one file: read once, changed in memory, written
// once.
#pragma once

#include "host/file_lock.h"
#include "prefs/domain_store.h"
#include "prefs/preference_file.h"

namespace orvik {

// Whether operations can work on a domain: kUnknownScope, kRefusedDomain.
PrefStatus CheckAddress(const EffectiveDomain& domain);

// The file behind any scope. While it is open for a change its folder is locked, so that nobody
// else who asks through this class, nor anybody who synchronises preferences, changes it: also not
// another user, who does not see the lock record.
class FileDomainStore : public DomainStore {
 public:
  FileDomainStore(const EffectiveDomain& domain, StorePurpose purpose);
  // Unless the new one was saved, a file that was kept aside is put back.
  ~FileDomainStore() override;

  // False when another process kept the file from being changed for too long; nothing was read.
  bool opened() const { return opened_; }
  const PreferenceFile& file() const { return file_; }

  // Replaces a file that is no property list of entries by an empty domain, keeping the old file
  // beside it.
  PrefStatus StartAnew();

  // Where StartAnew kept the old file.
  const std::string& kept() const { return kept_.path; }

  // All entries as they are now; null without a sound file until something is set.
  CFDictionaryRef entries() const;

  // Puts these entries, which become the store's own, in the place of all others.
  void ReplaceEntries(CAutoCFRelease<CFMutableDictionaryRef> entries);

  CAutoCFRelease<CFTypeRef> CopyEntry(CFStringRef name) override;
  bool OwnsEntries() const override { return true; }
  // Fails as the file's status says when there is no dictionary to put it in; a missing file is an
  // empty one.
  PrefStatus SetEntry(CFStringRef name, CFTypeRef value) override;
  // Writes the file if something was set.
  PrefStatus Save() override;

 protected:
  FileDomainStore(PreferenceFile file, StorePurpose purpose);

 private:
  void TakeLock(StorePurpose purpose);

  PreferenceFile file_;
  host::FileLock lock_;
  bool opened_ = true;
  bool changed_ = false;
  host::KeptFile kept_;
  CAutoCFRelease<CFMutableDictionaryRef> root_;
};

// The store of the shared scope, with its rules for what is set where no sound file is.
class SharedDomainStore : public FileDomainStore {
 public:
  SharedDomainStore(CFStringRef domain, StorePurpose purpose);

  // Without a sound file only a dictionary is set, and starts a new file.
  PrefStatus SetEntry(CFStringRef name, CFTypeRef value) override;
};

}  // namespace orvik
