#include "prefs/domain_store.h"

#include <cerrno>
#include <utility>

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/collections.h"
#include "plist/forms.h"
#include "prefs/key_walk.h"
#include "strings/auto_release.h"

namespace orvik {

namespace {

// The platform's preferences, which keep the entries of a file that did not change.
class PlatformDomainStore : public DomainStore {
 public:
  PlatformDomainStore(const CAtlString& domain, CFStringRef user, CFStringRef host)
      : domain_(domain.CreateCFStringRef(kCFAllocatorDefault)), user_(user), host_(host) {}

  plist::Value Entry(const plist::Text& name) override {
    const CAutoCFRelease<CFTypeRef> value(
        CFPreferencesCopyValue(Name(name), domain_, user_, host_));
    return ValueOfObject(value).value_or(plist::Value());
  }

  PrefStatus SetEntry(const plist::Text& name, const plist::Value& value) override {
    const CAutoCFRelease<CFTypeRef> object(CreateObject(value, kCFPropertyListImmutable));
    CFPreferencesSetValue(Name(name), object, domain_, user_, host_);
    return PrefStatus::Ok();
  }

  PrefStatus Save() override { return PrefStatus::Ok(); }

 protected:
  PrefStatus SynchronizeDomain() {
    const bool is_saved = CFPreferencesSynchronize(domain_, user_, host_) != 0;
    return is_saved ? PrefStatus::Ok() : PrefStatus{PrefError::kNotSaved};
  }

 private:
  static CAutoCFRelease<CFStringRef> Name(const plist::Text& name) {
    return CAutoCFRelease<CFStringRef>(static_cast<CFStringRef>(
        CreateObject(plist::Value::String(name), kCFPropertyListImmutable)));
  }

  CAutoCFRelease<CFStringRef> domain_;
  CFStringRef user_;
  CFStringRef host_;
};

class UserDomainStore final : public PlatformDomainStore {
 public:
  explicit UserDomainStore(const CAtlString& domain)
      : PlatformDomainStore(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost) {}

  PrefStatus Synchronize() override { return SynchronizeDomain(); }
  PrefStatus Save() override { return SynchronizeDomain(); }
};

}  // namespace

std::unique_ptr<DomainStore> OpenStore(const EffectiveDomain& domain,
                                       const CAtlString& given_domain, StorePurpose purpose) {
  switch (domain.scope) {
    case kSharedScope: {
      auto store = std::make_unique<SharedDomainStore>(domain, given_domain, purpose);
      const bool is_held_by_another = store->status().error == PrefError::kLockNotObtained;
      return is_held_by_another ? nullptr : std::move(store);
    }
    case kUserScope:
      return std::make_unique<UserDomainStore>(domain.domain);
    default:
      return std::make_unique<PlatformDomainStore>(domain.domain, kCFPreferencesAnyUser,
                                                   kCFPreferencesCurrentHost);
  }
}

PrefStatus CheckAddress(const EffectiveDomain& domain) {
  if (!IsKnownScope(domain.scope)) {
    return {PrefError::kUnknownScope};
  }
  return domain.usable() ? PrefStatus::Ok() : PrefStatus{PrefError::kRefusedDomain};
}

std::string FileOfDomain(const EffectiveDomain& domain) {
  using plist::PreferenceFolder;
  const PreferenceFolder folder = domain.scope == kSharedScope ? PreferenceFolder::kShared
                                  : domain.scope == kUserScope ? PreferenceFolder::kUser
                                                               : PreferenceFolder::kMachine;
  return plist::PreferenceFile(folder, domain.domain.View());
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
  using Contents = plist::File::Contents;
  switch (file_.Read()) {
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
      root_ = file_.root();
      break;
  }
}

// Nothing can be saved, but what is there can be found, as in a store that learns only when it
// saves.
void FileDomainStore::ReadWithoutLock(int error) {
  may_save_ = false;
  if (error != EWOULDBLOCK && file_.Read() == plist::File::Contents::kEntries) {
    root_ = file_.root();
  }
}

// First the folder of the file, then the record: every writer takes them in this order, so that
// none waits for another that waits for it. While the record is held by a process that knows no
// kernel lock, the folder is free for others between two tries.
int FileDomainStore::Lock(StorePurpose purpose, const LockWait& wait) {
  using Entered = SharedLockHold::Entered;
  LockTries tries(wait);
  const auto folder =
      purpose == StorePurpose::kCreate ? plist::File::Folder::kMake : plist::File::Folder::kFind;
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
  root_ = plist::Value::Dictionary();
  return PrefStatus::Ok();
}

void FileDomainStore::ReplaceEntries(plist::Value entries) {
  root_ = std::move(entries);
  changed_ = true;
}

plist::Value FileDomainStore::Entry(const plist::Text& name) {
  const plist::Value* const value = root_ ? root_.Find(name) : nullptr;
  return value == nullptr ? plist::Value() : *value;
}

PrefStatus FileDomainStore::SetEntry(const plist::Text& name, const plist::Value& value) {
  if (!root_) {
    if (status_.error != PrefError::kNotFound) {
      return status_;
    }
    if (!value) {
      return PrefStatus::Ok();
    }
    root_ = plist::Value::Dictionary();
  }
  if (!value) {
    changed_ |= root_.Remove(name);
    return PrefStatus::Ok();
  }
  if (const plist::Value* const present = root_.Find(name);
      present == nullptr || *present != value) {
    changed_ = true;
    root_.Set(name, value);
  }
  return PrefStatus::Ok();
}

// A transaction that changes nothing still promises that the file is on disk: another process may
// have written it without a flush.
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

PrefStatus FileDomainStore::CheckSave() const {
  plist::Failure failure;
  if (!changed_ || plist::WriteXml(root_, &failure)) {
    return PrefStatus::Ok();
  }
  return failure.is_too_large ? StatusOf(EFBIG) : NotSerializable(CAtlString(), nullptr, root_);
}

PrefStatus SharedDomainStore::SetEntry(const plist::Text& name, const plist::Value& value) {
  if (!entries()) {
    switch (status().error) {
      case PrefError::kNotFound:
        if (!value.is_dictionary()) {
          return {PrefError::kNotSaved};
        }
        break;
      case PrefError::kUnreadable:
      case PrefError::kDamaged:
        if (!value.is_dictionary()) {
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
