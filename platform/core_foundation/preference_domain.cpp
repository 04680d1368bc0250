#include "platform/core_foundation/preference_domain.h"

#include <time.h>

#include <cerrno>
#include <functional>
#include <string_view>
#include <utility>

#include "platform/carbon/errno_status.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list_equality.h"

namespace orvik {

namespace {

// A file that was changed less than this before it was read may be followed by another with the
// same times: the kernel's clock for them advances in steps of up to 10 ms.
constexpr std::int64_t kClockStep = 50'000'000;

std::int64_t Now() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::size_t HashOf(std::string_view bytes) {
  return std::hash<std::string_view>()(bytes);
}

}  // namespace

PreferenceDomain::PreferenceDomain(std::string file)
    : file_(std::move(file)),
      saved_(NSDictionary::Create()),
      changes_(NSDictionary::Create()),
      removals_(NSDictionary::Create()) {}

bool PreferenceDomain::IsAsSeen() const {
  if (!is_loaded_) return false;
  const host::FileIdentity present = host::IdentityOf(file_);
  return present == seen_ && (is_distinct_ || !present.exists);
}

void PreferenceDomain::Refresh() {
  if (IsAsSeen()) return;
  PropertyListFile file(file_);
  file.Read(kCFPropertyListMutableContainers);
  Take(file);
}

void PreferenceDomain::Take(const PropertyListFile& file) {
  using Contents = PropertyListFile::Contents;
  is_loaded_ = file.contents() != Contents::kUnreadable;
  seen_ = file.identity();
  is_distinct_ = seen_.exists && Now() - seen_.modified > kClockStep;
  const std::size_t hash = file.bytes() == nullptr ? 0 : HashOf(file.bytes()->View());
  if (file.contents() != Contents::kEntries) {
    saved_.reset(NSDictionary::Create());
  } else if (bytes_hash_ != hash || !has_entries_) {
    saved_.reset(static_cast<NSDictionary*>(
        const_cast<NSObject*>(static_cast<const NSObject*>(CFRetain(file.root())))));
  }
  has_entries_ = file.contents() == Contents::kEntries;
  bytes_hash_ = hash;
}

const NSObject* PreferenceDomain::Value(const NSString* key) const {
  if (const NSObject* changed = changes_->objectForKey(key)) return changed;
  return removals_->objectForKey(key) != nullptr ? nullptr : saved_->objectForKey(key);
}

NSDictionary* PreferenceDomain::CopyEntries() const {
  auto* entries = static_cast<NSDictionary*>(saved_->mutableCopy());
  for (const auto& entry : removals_->Entries()) entries->removeObjectForKey(entry.key);
  for (const auto& entry : changes_->Entries()) entries->setObject(entry.value, entry.key);
  return entries;
}

OSStatus PreferenceDomain::Set(const NSString* key, const NSObject* value) {
  if (value == nullptr) {
    changes_->removeObjectForKey(key);
    removals_->setObject(kCFBooleanTrue, key);
    return noErr;
  }
  // Copied inside a dictionary, as deep as it will lie in the file.
  const Dictionary wrapped(NSDictionary::Create());
  wrapped->setObject(value, key);
  const Dictionary copy(static_cast<NSDictionary*>(const_cast<void*>(CFPropertyListCreateDeepCopy(
      kCFAllocatorDefault, wrapped.get(), kCFPropertyListMutableContainers))));
  if (!copy) return paramErr;
  removals_->removeObjectForKey(key);
  changes_->setObject(copy->objectForKey(key), key);
  return noErr;
}

void PreferenceDomain::DropChanges() {
  changes_->removeAllObjects();
  removals_->removeAllObjects();
}

// False when every entry has its value already.
bool PreferenceDomain::ApplyChanges() {
  bool changes = false;
  for (const auto& entry : removals_->Entries()) {
    if (entry.key == nullptr || saved_->objectForKey(entry.key) == nullptr) continue;
    saved_->removeObjectForKey(entry.key);
    changes = true;
  }
  for (const auto& entry : changes_->Entries()) {
    if (entry.key == nullptr || IsSameValue(saved_->objectForKey(entry.key), entry.value)) {
      continue;
    }
    saved_->setObject(entry.value, entry.key);
    changes = true;
  }
  return changes;
}

int PreferenceDomain::Save(PropertyListFile& file) {
  using Contents = PropertyListFile::Contents;
  if (file.Read(kCFPropertyListMutableContainers) == Contents::kUnreadable) return file.error();
  Take(file);
  if (!ApplyChanges()) {
    const int error = file.Flush();
    if (error == 0) DropChanges();
    return error;
  }
  const bool is_damaged =
      file.contents() == Contents::kDamaged || file.contents() == Contents::kNotDictionary;
  // Until the file is written the entries here are not the ones in it.
  is_loaded_ = false;
  has_entries_ = false;
  if (is_damaged && CFDataGetLength(file.bytes()) > 0) {
    if (const int error = file.KeepAside()) return error;
  }
  if (const int error = file.Save(saved_.get())) return error;
  has_entries_ = true;
  bytes_hash_ = 0;
  seen_ = file.identity();
  is_loaded_ = true;
  // A file that was put in place has a time of its own.
  is_distinct_ = file.wrote() || Now() - seen_.modified > kClockStep;
  DropChanges();
  return 0;
}

}  // namespace orvik
