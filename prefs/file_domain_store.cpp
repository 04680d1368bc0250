#include "prefs/file_domain_store.h"

#include <cerrno>

#include "prefs/platform_values.h"
#include "prefs/preferences.h"

namespace orvik {

PrefStatus CheckAddress(const EffectiveDomain& domain) {
  if (!IsKnownScope(domain.scope)) {
    return {PrefError::kUnknownScope};
  }
  return domain.usable() ? PrefStatus::Ok() : PrefStatus{PrefError::kRefusedDomain};
}

FileDomainStore::FileDomainStore(const EffectiveDomain& domain, StorePurpose purpose)
    : FileDomainStore(PreferenceFile(domain), purpose) {}

FileDomainStore::FileDomainStore(PreferenceFile file, StorePurpose purpose)
    : file_(std::move(file)) {
  if (purpose == StorePurpose::kRead) {
    file_.Load(kCFPropertyListImmutable);
    return;
  }
  if (purpose != StorePurpose::kRehearse) {
    TakeLock(purpose);
  }
  if (!opened_) {
    return;
  }
  if (file_.Load(kCFPropertyListMutableContainers) == PreferenceFile::Contents::kEntries) {
    CFRetain(file_.root());
    root_.Attach(AsMutable(file_.root()));
  }
}

FileDomainStore::~FileDomainStore() {
  host::PutBack(kept_, file_.path());
}

void FileDomainStore::TakeLock(StorePurpose purpose) {
  constexpr int kMilliseconds = 10000;
  if (purpose == StorePurpose::kCreate) {
    file_.MakeFolder();
  }
  lock_ = host::FileLock::Take(file_.folder_path(), kMilliseconds);
  // Without a folder there is nothing to change yet, and saving tells what is wrong with it.
  opened_ = lock_.held() || lock_.error() != EWOULDBLOCK;
}

PrefStatus FileDomainStore::StartAnew() {
  const PrefStatus status = file_.KeepAside(&kept_);
  if (status.ok()) {
    root_ = NewDictionary();
  }
  return status;
}

void FileDomainStore::ReplaceEntries(CAutoCFRelease<CFMutableDictionaryRef> entries) {
  root_ = std::move(entries);
  changed_ = true;
}

CFDictionaryRef FileDomainStore::entries() const {
  if (root_) {
    return root_.Get();
  }
  return IsADictionaryType(file_.root()) ? static_cast<CFDictionaryRef>(file_.root()) : nullptr;
}

CAutoCFRelease<CFTypeRef> FileDomainStore::CopyEntry(CFStringRef name) {
  const CFDictionaryRef all = entries();
  return CAutoCFRelease<CFTypeRef>::Retaining(all == nullptr ? nullptr
                                                             : CFDictionaryGetValue(all, name));
}

PrefStatus FileDomainStore::SetEntry(CFStringRef name, CFTypeRef value) {
  if (!root_) {
    if (file_.contents() != PreferenceFile::Contents::kMissing) {
      return file_.status();
    }
    root_ = NewDictionary();
  }
  changed_ = true;
  if (value != nullptr) {
    CFDictionarySetValue(root_, name, value);
  } else {
    CFDictionaryRemoveValue(root_, name);
  }
  return PrefStatus::Ok();
}

PrefStatus FileDomainStore::Save() {
  if (!changed_) {
    return PrefStatus::Ok();
  }
  const PrefStatus status = file_.Save(root_, kept_);
  changed_ = !status.ok();
  if (status.ok()) {
    kept_ = {};
  }
  return status;
}

SharedDomainStore::SharedDomainStore(CFStringRef domain, StorePurpose purpose)
    : FileDomainStore(PreferenceFile(CAutoCFRelease<CFURLRef>(LibPref_CopySharedCFURLRef(domain))),
                      purpose) {}

PrefStatus SharedDomainStore::SetEntry(CFStringRef name, CFTypeRef value) {
  switch (file().contents()) {
    case PreferenceFile::Contents::kEntries:
      break;
    case PreferenceFile::Contents::kNotDictionary:
      return file().status();
    case PreferenceFile::Contents::kMissing:
      if (!IsADictionaryType(value)) {
        return {PrefError::kNotSaved};
      }
      break;
    case PreferenceFile::Contents::kUnreadable:
    case PreferenceFile::Contents::kDamaged:
      if (!IsADictionaryType(value)) {
        return file().status();
      }
      if (const PrefStatus status = StartAnew(); !status.ok()) {
        return status;
      }
      break;
  }
  return FileDomainStore::SetEntry(name, value);
}

}  // namespace orvik
