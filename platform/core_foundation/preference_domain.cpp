#include "platform/core_foundation/preference_domain.h"

#include <time.h>

#include <cerrno>
#include <functional>
#include <string_view>
#include <utility>

#include "plist/forms.h"

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

PreferenceDomain::PreferenceDomain(std::string file) : file_(std::move(file)) {}

bool PreferenceDomain::IsAsSeen() const {
  if (!is_loaded_) return false;
  const host::FileIdentity present = host::IdentityOf(file_);
  return present == seen_ && (is_distinct_ || !present.exists);
}

void PreferenceDomain::Refresh() {
  if (IsAsSeen()) return;
  plist::File file(file_);
  file.Read();
  Take(file);
}

void PreferenceDomain::Take(const plist::File& file) {
  using Contents = plist::File::Contents;
  is_loaded_ = file.contents() != Contents::kUnreadable;
  seen_ = file.identity();
  is_distinct_ = seen_.exists && Now() - seen_.modified > kClockStep;
  const std::size_t hash = file.bytes() == nullptr ? 0 : HashOf(*file.bytes());
  if (file.contents() != Contents::kEntries) {
    saved_ = plist::Value::Dictionary();
  } else if (bytes_hash_ != hash || !has_entries_) {
    saved_ = file.root();
  }
  has_entries_ = file.contents() == Contents::kEntries;
  bytes_hash_ = hash;
}

const plist::Value* PreferenceDomain::Find(const plist::Text& key) const {
  if (const plist::Value* changed = changes_.Find(key)) return changed;
  return removals_.Find(key) != nullptr ? nullptr : saved_.Find(key);
}

bool PreferenceDomain::Set(const plist::Text& key, const plist::Value& value) {
  if (!value) {
    changes_.Remove(key);
    removals_.Set(key, true);
    return true;
  }
  // Checked as deep as it will lie in the file.
  plist::Value wrapped = plist::Value::Dictionary();
  wrapped.Set(key, value);
  if (plist::FindFault(wrapped)) return false;
  removals_.Remove(key);
  changes_.Set(key, value);
  return true;
}

void PreferenceDomain::DropChanges() {
  changes_ = plist::Value::Dictionary();
  removals_ = plist::Value::Dictionary();
}

// Puts the changes into the entries; false when every entry has its value already.
bool PreferenceDomain::ApplyChanges(plist::Value& entries) const {
  bool changes = false;
  for (const auto& entry : removals_.entries()) changes |= entries.Remove(entry.key.text());
  for (const auto& entry : changes_.entries()) {
    const plist::Value* present = entries.Find(entry.key.text());
    if (present != nullptr && *present == entry.value) continue;
    entries.SetSharing(entry.key, entry.value);
    changes = true;
  }
  return changes;
}

int PreferenceDomain::Save(plist::File& file) {
  using Contents = plist::File::Contents;
  if (file.Read() == Contents::kUnreadable) return file.error();
  Take(file);
  // The entries here stay those of the file until it is saved.
  plist::Value entries = saved_;
  if (!ApplyChanges(entries)) {
    const int error = file.Flush();
    if (error == 0) DropChanges();
    return error;
  }
  const bool is_damaged =
      file.contents() == Contents::kDamaged || file.contents() == Contents::kNotDictionary;
  if (is_damaged && !file.bytes()->empty()) {
    if (const int error = file.KeepAside()) return error;
  }
  if (const int error = file.Save(entries)) return error;
  saved_ = std::move(entries);
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
