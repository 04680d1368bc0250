#include "platform/core_foundation/preference_domain.h"

#include <time.h>

#include <cerrno>
#include <functional>
#include <string_view>
#include <utility>

#include "platform/carbon/errno_status.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list.h"

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

PreferenceDomain::PreferenceDomain(std::string file, host::Flush flush)
    : file_(std::move(file)),
      flush_(flush),
      saved_(NSDictionary::Create()),
      changes_(NSDictionary::Create()),
      removals_(NSDictionary::Create()) {}

bool PreferenceDomain::IsAsSeen() const {
  if (!is_loaded_) return false;
  const host::FileIdentity present = host::IdentityOf(file_);
  return present == seen_ && (is_distinct_ || !present.exists);
}

void PreferenceDomain::Refresh() {
  if (!IsAsSeen()) Load();
}

void PreferenceDomain::Load() {
  std::string bytes;
  host::FileIdentity identity;
  read_error_ = host::ReadWholeFile(file_, &bytes, &identity);
  const bool was_read =
      is_loaded_ && (contents_ == Contents::kEntries || contents_ == Contents::kDamaged);
  is_loaded_ = read_error_ == 0 || read_error_ == ENOENT;
  seen_ = identity;
  if (read_error_ != 0) {
    contents_ = read_error_ == ENOENT ? Contents::kMissing : Contents::kUnreadable;
    saved_.reset(NSDictionary::Create());
    return;
  }
  is_distinct_ = Now() - identity.modified > kClockStep;
  const std::size_t hash = HashOf(bytes);
  if (was_read && hash == bytes_hash_) return;
  bytes_hash_ = hash;
  Parse(std::move(bytes));
}

void PreferenceDomain::Parse(std::string bytes) {
  const NSData* data = NSData::Create(std::move(bytes));
  const auto* root = static_cast<const NSObject*>(CFPropertyListCreateFromXMLData(
      kCFAllocatorDefault, data, kCFPropertyListMutableContainers, nullptr));
  data->release();
  if (root != nullptr && CFGetTypeID(root) == CFDictionaryGetTypeID()) {
    contents_ = Contents::kEntries;
    saved_.reset(static_cast<NSDictionary*>(const_cast<NSObject*>(root)));
  } else {
    CFRelease(root);
    contents_ = Contents::kDamaged;
    saved_.reset(NSDictionary::Create());
  }
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

OSStatus PreferenceDomain::Save() {
  Refresh();
  if (contents_ == Contents::kUnreadable) return host::StatusFromErrno(read_error_);
  bool removes = false;
  for (const auto& entry : removals_->Entries()) {
    if (entry.key == nullptr || saved_->objectForKey(entry.key) == nullptr) continue;
    saved_->removeObjectForKey(entry.key);
    removes = true;
  }
  if (!removes && changes_->count() == 0) {
    DropChanges();
    return noErr;
  }
  host::KeptFile kept;
  if (contents_ == Contents::kDamaged) {
    if (const int error = KeepDamagedFile(&kept)) return host::StatusFromErrno(error);
  }
  // Until the file is written the entries here are not the ones in it.
  is_loaded_ = false;
  for (const auto& entry : changes_->Entries()) saved_->setObject(entry.value, entry.key);
  const CFDataRef bytes = CFPropertyListCreateXMLData(kCFAllocatorDefault, saved_.get());
  if (bytes == nullptr) return paramErr;
  const host::ReplaceResult result = host::ReplaceFile(file_, bytes->View(), flush_);
  const std::size_t hash = HashOf(bytes->View());
  CFRelease(bytes);
  if (result.error != 0) {
    host::PutBack(kept, file_);
    return host::StatusFromErrno(result.error);
  }
  contents_ = Contents::kEntries;
  seen_ = result.identity;
  bytes_hash_ = hash;
  is_loaded_ = true;
  // A file that was put in place has a time of its own.
  is_distinct_ = result.wrote || Now() - seen_.modified > kClockStep;
  DropChanges();
  return noErr;
}

int PreferenceDomain::KeepDamagedFile(host::KeptFile* kept) const {
  std::string bytes;
  if (const int error = host::ReadWholeFile(file_, &bytes)) return error;
  if (!bytes.empty()) *kept = host::KeepBeside(file_, bytes, flush_);
  return kept->error;
}

}  // namespace orvik
