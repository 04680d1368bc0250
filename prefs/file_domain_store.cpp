#include "prefs/file_domain_store.h"

#include <cerrno>
#include <utility>

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/property_list_equality.h"
#include "prefs/dictionary_type.h"
#include "prefs/key_walk.h"
#include "prefs/platform_values.h"
#include "prefs/shared_preference_file.h"

namespace orvik {

PrefStatus CheckAddress(const EffectiveDomain& domain) {
  if (!IsKnownScope(domain.scope)) {
    return {PrefError::kUnknownScope};
  }
  return domain.usable() ? PrefStatus::Ok() : PrefStatus{PrefError::kRefusedDomain};
}

std::string FileOfDomain(const EffectiveDomain& domain) {
  const CAutoCFRelease<CFStringRef> name = PlatformString(domain.domain);
  switch (domain.scope) {
    case kSharedScope:
      return SharedPreferenceFilePath(name);
    case kUserScope:
      return host::PreferencesFile(name, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    default:
      return host::PreferencesFile(name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
  }
}

FileDomainStore::FileDomainStore(const EffectiveDomain& domain, const CAtlString& given_domain,
                                 StorePurpose purpose, LockWait wait, RefusedRecord refused)
    : file_(FileOfDomain(domain)) {
  if (domain.scope == kSharedScope) {
    record_domain_ = given_domain;
  }
  Open(purpose, wait, refused);
}

FileDomainStore::FileDomainStore(std::string path, StorePurpose purpose) : file_(std::move(path)) {
  Open(purpose, {}, RefusedRecord::kIgnore);
}

void FileDomainStore::Open(StorePurpose purpose, const LockWait& wait, RefusedRecord refused) {
  const bool changes = purpose == StorePurpose::kChange || purpose == StorePurpose::kCreate;
  if (changes) {
    const int error = Lock(purpose, wait);
    // Without a folder there is no file to change, which reading finds out.
    if (error != 0 && (error != ENOENT || purpose == StorePurpose::kCreate)) {
      status_ = error == EWOULDBLOCK ? PrefStatus{PrefError::kLockNotObtained} : StatusOf(error);
      if (file_.is_lock_refused()) {
        status_.error = PrefError::kLockRefused;
      }
      ReadWithoutLock(error);
      return;
    }
    if (refused == RefusedRecord::kFail && !record_.refused().empty()) {
      status_ = PrefStatusFromErrno(EPERM, record_.refused(), PrefError::kNotSaved);
      status_.error = PrefError::kLockRefused;
      return;
    }
  }
  using Contents = PropertyListFile::Contents;
  switch (file_.Read(purpose == StorePurpose::kRead ? kCFPropertyListImmutable
                                                    : kCFPropertyListMutableContainers)) {
    case Contents::kMissing:
      status_ = {PrefError::kNotFound};
      break;
    case Contents::kUnreadable:
      if (changes && file_.error() == EWOULDBLOCK) {
        status_ = {PrefError::kLockNotObtained};
        break;
      }
      status_ = PrefStatusFromErrno(file_.error(), file_.obstacle(), PrefError::kUnreadable);
      break;
    case Contents::kDamaged:
      status_ = {PrefError::kDamaged};
      break;
    case Contents::kNotDictionary:
      status_ = {PrefError::kRootNotDictionary};
      break;
    case Contents::kEntries:
      root_.Attach(AsMutable(CFRetain(file_.root())));
      break;
  }
}

// Nothing can be saved, but what is there can be found, as in a store that learns only when it
// saves.
void FileDomainStore::ReadWithoutLock(int error) {
  may_save_ = false;
  if (error != EWOULDBLOCK &&
      file_.Read(kCFPropertyListMutableContainers) == PropertyListFile::Contents::kEntries) {
    root_.Attach(AsMutable(CFRetain(file_.root())));
  }
}

int FileDomainStore::Lock(StorePurpose purpose, const LockWait& wait) {
  using Entered = SharedLockHold::Entered;
  LockTries tries(wait);
  const auto folder = purpose == StorePurpose::kCreate ? PropertyListFile::Folder::kMake
                                                       : PropertyListFile::Folder::kFind;
  int error = 0;
  const auto lock_folder = [&] {
    error = file_.Lock(folder, tries.LeftMilliseconds());
    return error == EWOULDBLOCK ? Entered::kBusy
           : error == ENOENT    ? Entered::kNothing
                                : Entered::kLocked;
  };
  if (!record_domain_) {
    lock_folder();
    return error;
  }
  const bool is_held = record_.Take(*record_domain_, tries, lock_folder, [&] { file_.Unlock(); });
  return is_held ? error : EWOULDBLOCK;
}

PrefStatus FileDomainStore::StatusOf(int error) const {
  return PrefStatusFromErrno(error, file_.obstacle(), PrefError::kNotSaved);
}

bool FileDomainStore::CanStartAnew() const {
  return status_.error == PrefError::kDamaged || status_.error == PrefError::kRootNotDictionary ||
         status_.error == PrefError::kUnreadable;
}

PrefStatus FileDomainStore::StartAnew() {
  if (const int error = file_.KeepAside()) {
    return status_.error == PrefError::kUnreadable ? status_ : StatusOf(error);
  }
  root_ = NewDictionary();
  return PrefStatus::Ok();
}

void FileDomainStore::ReplaceEntries(CAutoCFRelease<CFMutableDictionaryRef> entries) {
  root_ = std::move(entries);
  changed_ = true;
}

CFDictionaryRef FileDomainStore::entries() const {
  return root_.Get();
}

CAutoCFRelease<CFTypeRef> FileDomainStore::CopyEntry(CFStringRef name) {
  return CAutoCFRelease<CFTypeRef>::Retaining(root_ ? CFDictionaryGetValue(root_, name) : nullptr);
}

PrefStatus FileDomainStore::SetEntry(CFStringRef name, CFTypeRef value) {
  if (!root_) {
    if (status_.error != PrefError::kNotFound) {
      return status_;
    }
    if (value == nullptr) {
      return PrefStatus::Ok();
    }
    root_ = NewDictionary();
  }
  const CFTypeRef present = CFDictionaryGetValue(root_, name);
  if (value == nullptr) {
    changed_ = changed_ || present != nullptr;
    CFDictionaryRemoveValue(root_, name);
    return PrefStatus::Ok();
  }
  // The same object comes back when its contents were changed.
  if (present == value || !IsSameValue(present, value)) {
    changed_ = true;
    CFDictionarySetValue(root_, name, value);
  }
  return PrefStatus::Ok();
}

PrefStatus FileDomainStore::Save() {
  if (!may_save_) {
    return status_;
  }
  const int error = changed_ ? file_.Save(root_) : file_.Flush();
  if (error == EINVAL) {
    return NotSerializable(CAtlString(), nullptr, root_);
  }
  changed_ = changed_ && error != 0;
  return StatusOf(error);
}

PrefStatus SharedDomainStore::SetEntry(CFStringRef name, CFTypeRef value) {
  if (entries() == nullptr) {
    switch (status().error) {
      case PrefError::kNotFound:
        if (!IsADictionaryType(value)) {
          return {PrefError::kNotSaved};
        }
        break;
      case PrefError::kUnreadable:
      case PrefError::kDamaged:
        if (!IsADictionaryType(value)) {
          return status();
        }
        if (PrefStatus started = StartAnew(); !started.ok()) {
          return started;
        }
        break;
      default:
        return status();
    }
  }
  return FileDomainStore::SetEntry(name, value);
}

}  // namespace orvik
