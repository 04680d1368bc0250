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

// The platform's preferences, which cache the entries of a file that did not change. Setting an
// entry of the machine saves it at once.
class PlatformDomainStore final : public DomainStore {
 public:
  explicit PlatformDomainStore(const EffectiveDomain& domain)
      : domain_(domain.domain.CreateCFStringRef(kCFAllocatorDefault)),
        is_user_(domain.scope == kUserScope) {}

  PrefStatus Synchronize() override { return Save(); }

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

  PrefStatus Save() override {
    const bool is_saved = !is_user_ || CFPreferencesSynchronize(domain_, user_, host_) != 0;
    return {is_saved ? PrefError::kNone : PrefError::kNotSaved};
  }

 private:
  static CAutoCFRelease<CFStringRef> Name(const plist::Text& name) {
    return CAutoCFRelease<CFStringRef>(static_cast<CFStringRef>(
        CreateObject(plist::Value::String(name), kCFPropertyListImmutable)));
  }

  const CAutoCFRelease<CFStringRef> domain_;
  const bool is_user_;
  const CFStringRef user_ = is_user_ ? kCFPreferencesCurrentUser : kCFPreferencesAnyUser;
  const CFStringRef host_ = is_user_ ? kCFPreferencesAnyHost : kCFPreferencesCurrentHost;
};

}  // namespace

std::unique_ptr<DomainStore> OpenStore(const EffectiveDomain& domain, StorePurpose purpose) {
  if (domain.scope != kSharedScope) return std::make_unique<PlatformDomainStore>(domain);
  auto store = std::make_unique<SharedDomainStore>(domain, purpose);
  const bool is_held_by_another = store->status().error == PrefError::kLockNotObtained;
  return is_held_by_another ? nullptr : std::move(store);
}

PrefStatus CheckAddress(const EffectiveDomain& domain) {
  if (!IsKnownScope(domain.scope)) return {PrefError::kUnknownScope};
  return domain.usable() ? PrefStatus::Ok() : PrefStatus{PrefError::kRefusedDomain};
}

std::string FileOfDomain(const EffectiveDomain& domain) {
  using plist::PreferenceFolder;
  const PreferenceFolder folder = domain.scope == kSharedScope ? PreferenceFolder::kShared
                                  : domain.scope == kUserScope ? PreferenceFolder::kUser
                                                               : PreferenceFolder::kMachine;
  return plist::PreferenceFile(folder, domain.domain.View());
}

FileDomainStore::FileDomainStore(const EffectiveDomain& domain, StorePurpose purpose, LockWait wait,
                                 RefusedRecord refused)
    : file_(FileOfDomain(domain)), status_(CheckAddress(domain)) {
  if (!status_.ok()) return;
  if (domain.scope == kSharedScope) record_domain_ = domain.given;
  Open(purpose, wait, refused);
}

FileDomainStore::FileDomainStore(std::string path, StorePurpose purpose) : file_(std::move(path)) {
  Open(purpose, {}, RefusedRecord::kIgnore);
}

void FileDomainStore::Open(StorePurpose purpose, const LockWait& wait, RefusedRecord refused) {
  const bool changes = purpose == StorePurpose::kChange || purpose == StorePurpose::kCreate;
  if (changes) {
    const int error = Lock(purpose, wait);
    // Without a folder there is no file to change; Read reports that.
    if (error != 0 && (error != ENOENT || purpose == StorePurpose::kCreate)) {
      status_ = error == EWOULDBLOCK ? PrefStatus{PrefError::kLockNotObtained} : StatusOf(error);
      if (file_.is_lock_refused()) status_.error = PrefError::kLockRefused;
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
    case Contents::kUnreadable:
      status_ = changes && file_.error() == EWOULDBLOCK
                    ? PrefStatus{PrefError::kLockNotObtained}
                    : PrefStatusFromErrno(file_.error(), file_.obstacle(), PrefError::kUnreadable);
      return;
    case Contents::kMissing:
      status_ = {PrefError::kNotFound};
      return;
    case Contents::kDamaged:
      status_ = {PrefError::kDamaged};
      return;
    case Contents::kNotDictionary:
      status_ = {PrefError::kRootNotDictionary};
      return;
    case Contents::kEntries:
      root_ = file_.root();
  }
}

// Nothing can be saved, but the present entries can be found, as in a store whose save fails.
void FileDomainStore::ReadWithoutLock(int error) {
  if (error != EWOULDBLOCK && file_.Read() == plist::File::Contents::kEntries) root_ = file_.root();
}

// Every writer locks the folder of the file before the record, so that two writers never wait for
// each other. If a process that does not use the kernel locks holds the record, the folder is
// unlocked between two tries.
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
    if (status_.error != PrefError::kNotFound) return status_;
    if (!value) return PrefStatus::Ok();
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
  const int error = changed_ ? file_.Save(root_) : file_.Flush();
  if (error == EINVAL) return NotSerializable(CAtlString(), nullptr, root_);
  return StatusOf(error);
}

PrefStatus FileDomainStore::CheckSave() const {
  plist::Failure failure;
  if (!changed_ || plist::WriteXml(root_, &failure)) return PrefStatus::Ok();
  return failure.is_too_large ? StatusOf(EFBIG) : NotSerializable(CAtlString(), nullptr, root_);
}

PrefStatus SharedDomainStore::SetEntry(const plist::Text& name, const plist::Value& value) {
  const PrefError found = status().error;
  if (!entries() && (found == PrefError::kUnreadable || found == PrefError::kDamaged)) {
    if (!value.is_dictionary()) return status();
    if (PrefStatus started = StartAnew(); !started.ok()) return started;
  } else if (!entries() && found == PrefError::kNotFound && !value.is_dictionary()) {
    return {PrefError::kNotSaved};
  }
  return FileDomainStore::SetEntry(name, value);
}

}  // namespace orvik
