#include "platform/core_foundation/cf_preferences.h"

#include <time.h>

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/core_foundation/string.h"
#include "plist/file.h"
#include "plist/forms.h"

namespace orvik {

namespace {

// If a file was changed less than this before it was read, a later file may have the same times:
// the kernel's clock for them advances in steps of up to 10 ms.
constexpr std::int64_t kClockStep = 50'000'000;

std::int64_t Now() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// The entries of a file, and the changes that wait to be saved.
class PreferenceDomain {
 public:
  explicit PreferenceDomain(std::string file) : file_(std::move(file)) {}

  // Reads the file unless it is the file that was read before.
  void Refresh() {
    if (IsAsSeen()) return;
    plist::File file(file_);
    file.Read();
    Take(file);
  }

  // Null for a missing entry; valid until the next call.
  const plist::Value* Find(const plist::Text& key) const {
    if (const plist::Value* changed = changes_.Find(key)) return changed;
    return removals_.Find(key) != nullptr ? nullptr : saved_.Find(key);
  }

  // Records a change; no value removes the entry. False for a value that a property list cannot
  // hold below a key.
  bool Set(const plist::Text& key, const plist::Value& value) {
    if (!value) {
      changes_.Remove(key);
      removals_.Set(key, true);
      return true;
    }
    // Checks the value at its depth in the file.
    if (plist::FindFault(plist::Value::Dictionary({{key, value}}))) return false;
    removals_.Remove(key);
    changes_.Set(key, value);
    return true;
  }

  bool has_changes() const { return changes_.count() + removals_.count() > 0; }

  void DropChanges() {
    changes_ = plist::Value::Dictionary();
    removals_ = plist::Value::Dictionary();
  }

  // Applies the changes to the present content of this domain's locked file. Returns 0, or an
  // errno, after which the changes are kept. EINVAL: a property list cannot hold the entries.
  // Writes nothing when every entry already has its value. Keeps a damaged file aside, unless it is
  // empty.
  int Save(plist::File& file) {
    using Contents = plist::File::Contents;
    if (file.Read() == Contents::kUnreadable) return file.error();
    Take(file);
    // saved_ keeps the entries of the file until the new file is saved.
    plist::Value entries = saved_;
    if (!ApplyChanges(entries)) {
      const int error = file.Flush();
      if (error == 0) DropChanges();
      return error;
    }
    const bool is_damaged =
        file.contents() == Contents::kDamaged || file.contents() == Contents::kNotDictionary;
    if (is_damaged) {
      if (const int error = file.KeepAside()) return error;
    }
    if (const int error = file.Save(entries)) return error;
    saved_ = std::move(entries);
    bytes_hash_ = 0;
    is_loaded_ = true;
    // Every new file has a distinct time.
    NoteIdentity(file, file.wrote());
    DropChanges();
    return 0;
  }

 private:
  bool IsAsSeen() const {
    if (!is_loaded_) return false;
    const host::FileIdentity present = host::IdentityOf(file_);
    return present == seen_ && (is_distinct_ || !present.exists);
  }

  void NoteIdentity(const plist::File& file, bool is_distinct) {
    seen_ = file.identity();
    is_distinct_ = is_distinct || (seen_.exists && Now() - seen_.modified > kClockStep);
  }

  // Takes over the content of the file. While the hash of its bytes is unchanged, the entries stay
  // the same values, so that values of callers continue to share their memory.
  void Take(const plist::File& file) {
    using Contents = plist::File::Contents;
    is_loaded_ = file.contents() != Contents::kUnreadable;
    NoteIdentity(file, false);
    const std::size_t hash = file.bytes() == nullptr ? 0 : std::hash<std::string>()(*file.bytes());
    if (file.contents() != Contents::kEntries) {
      saved_ = plist::Value::Dictionary();
    } else if (bytes_hash_ != hash) {
      saved_ = file.root();
    }
    bytes_hash_ = hash;
  }

  // False when every entry already has its value.
  bool ApplyChanges(plist::Value& entries) const {
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

  std::string file_;

  // Dictionaries. saved_ is empty unless the file is a dictionary. Only the keys of removals_
  // count.
  plist::Value saved_ = plist::Value::Dictionary();
  host::FileIdentity seen_;
  bool is_loaded_ = false;
  // Whether no other file can have the same identity.
  bool is_distinct_ = false;
  std::size_t bytes_hash_ = 0;

  plist::Value changes_ = plist::Value::Dictionary();
  plist::Value removals_ = plist::Value::Dictionary();
};

bool Is(CFStringRef text, CFStringRef constant) {
  return text != nullptr && CFEqual(text, constant);
}

std::string FileBehind(CFStringRef domain, CFStringRef user, CFStringRef host) {
  const bool is_user = Is(user, kCFPreferencesCurrentUser) && Is(host, kCFPreferencesAnyHost);
  const bool is_machine = Is(user, kCFPreferencesAnyUser) && Is(host, kCFPreferencesCurrentHost);
  if (domain == nullptr || (!is_user && !is_machine)) return {};
  return plist::PreferenceFile(
      is_user ? plist::PreferenceFolder::kUser : plist::PreferenceFolder::kMachine,
      domain->ToUnits());
}

// Guards the domains and their entries. To save, lock the folder before the guard: another thread
// may hold the folder's lock and wait for the guard.
std::mutex& Guard() {
  static std::mutex guard;
  return guard;
}

// Never destroyed, so that it can be used until the process ends.
PreferenceDomain& DomainOf(const std::string& file) {
  static auto& domains = *new std::map<std::string, PreferenceDomain>;
  return domains.try_emplace(file, file).first->second;
}

// Saves the waiting changes. The caller must not hold the guard.
bool SaveChanges(const std::string& path) {
  // The record of a lock is not valid after a reboot.
  plist::File file(path, path.ends_with(".lock.plist") ? host::Flush::kNone : host::Flush::kToDisk);
  int error = file.Lock(plist::File::Folder::kMake);
  if (error == 0) {
    const std::lock_guard guard(Guard());
    error = plist::RepeatWhileMade([&] { return DomainOf(path).Save(file); });
  }
  return error == 0;
}

}  // namespace

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef domain, CFStringRef user,
                                         CFStringRef host) {
  const std::string file = FileBehind(domain, user, host);
  if (key == nullptr || file.empty()) return nullptr;
  const std::lock_guard guard(Guard());
  PreferenceDomain& entries = DomainOf(file);
  entries.Refresh();
  const plist::Value* const value = entries.Find(key->text());
  return value == nullptr ? nullptr : CreateObject(*value, kCFPropertyListMutableContainers);
}

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain,
                           CFStringRef user, CFStringRef host) {
  const std::string file = FileBehind(domain, user, host);
  const std::optional<plist::Value> own = value == nullptr ? plist::Value() : ValueOfObject(value);
  if (file.empty() || key == nullptr || !own) return;
  {
    const std::lock_guard guard(Guard());
    if (!DomainOf(file).Set(key->text(), *own) || !Is(user, kCFPreferencesAnyUser)) return;
  }
  if (!SaveChanges(file)) {
    const std::lock_guard guard(Guard());
    DomainOf(file).DropChanges();
  }
}

Boolean CFPreferencesSynchronize(CFStringRef domain, CFStringRef user, CFStringRef host) {
  const std::string file = FileBehind(domain, user, host);
  if (file.empty()) return false;
  {
    const std::lock_guard guard(Guard());
    PreferenceDomain& entries = DomainOf(file);
    if (!entries.has_changes()) {
      entries.Refresh();
      return true;
    }
  }
  return SaveChanges(file);
}

CFBundleRef CFBundleGetMainBundle() {
  return nullptr;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef) {
  return nullptr;
}

}  // namespace orvik
