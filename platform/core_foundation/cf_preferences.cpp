#include "platform/core_foundation/cf_preferences.h"

#include <unistd.h>

#include <map>
#include <mutex>
#include <optional>
#include <string_view>

#include "host/file_names.h"
#include "host/proc.h"
#include "host/system.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/preference_domain.h"
#include "platform/core_foundation/string.h"
#include "text/characters.h"

namespace orvik {

namespace {

bool Is(CFStringRef text, CFStringRef constant) {
  return text != nullptr && CFEqual(text, constant);
}

std::optional<std::string> ProgramName() {
  if (CFStringRef identifier = CFBundleGetIdentifier(CFBundleGetMainBundle())) {
    return host::FileNameToBytes(identifier->ToUnits());
  }
  std::string name = host::ProgramNameOf(getpid());
  return name.empty() ? std::nullopt : std::optional(std::move(name));
}

// A domain's place below a folder of preferences; nothing when it is refused.
std::optional<std::string> DomainName(CFStringRef domain) {
  if (domain == nullptr) return std::nullopt;
  if (Is(domain, kCFPreferencesCurrentApplication)) return ProgramName();
  if (Is(domain, kCFPreferencesAnyApplication)) return ".GlobalPreferences";
  const std::u16string units = domain->ToUnits();
  std::optional<std::string> name = host::FileNameToBytes(units);
  if (!name || name->size() > kPreferencesMaximumDomainBytes) return std::nullopt;
  // Lone surrogates are bytes that are no UTF-8; two of them can mean the same name.
  if (FindUnpairedSurrogate(units) != std::u16string::npos) return std::nullopt;
  // The lock record of a domain, ".<domain>.lock.plist" in the end, needs a name, too.
  constexpr std::size_t kLongestName = 255 - (sizeof "..lock.plist" - 1);
  std::string_view rest = *name;
  for (std::size_t slash = 0; slash != std::string_view::npos;) {
    slash = rest.find('/');
    const std::string_view component = rest.substr(0, slash);
    if (component.empty() || component == "." || component == "..") return std::nullopt;
    const bool is_lock = slash == std::string_view::npos && component.ends_with(".lock");
    if (component.size() > (is_lock ? kLongestName + sizeof ".lock" - 1 : kLongestName)) {
      return std::nullopt;
    }
    if (slash != std::string_view::npos) rest.remove_prefix(slash + 1);
  }
  return name;
}

std::string HostName() {
  char name[256];
  return gethostname(name, sizeof name) == 0 ? std::string(name) : "localhost";
}

std::string FileBehind(CFStringRef domain, CFStringRef user, CFStringRef host) {
  const bool is_any_user = Is(user, kCFPreferencesAnyUser);
  const bool is_any_host = Is(host, kCFPreferencesAnyHost);
  if ((!is_any_user && !Is(user, kCFPreferencesCurrentUser)) ||
      (!is_any_host && !Is(host, kCFPreferencesCurrentHost))) {
    return {};
  }
  const std::optional<std::string> name = DomainName(domain);
  if (!name) return {};
  if (is_any_user) {
    return host::SystemPath(is_any_host ? "/Network/Library/Preferences/"
                                        : "/Library/Preferences/") +
           *name + ".plist";
  }
  std::string folder = host::HomeFolder();
  if (folder == "/") folder.clear();
  folder += "/Library/Preferences/";
  return is_any_host ? folder + *name + ".plist"
                     : folder + "ByHost/" + *name + "." + HostName() + ".plist";
}

// Guards the domains and all that is in them. Whoever saves locks the folder first: another thread
// may hold that lock and call here.
std::mutex& Guard() {
  static std::mutex guard;
  return guard;
}

// Never destroyed, so that it serves until the very end.
PreferenceDomain& DomainOf(const std::string& file) {
  static auto& domains = *new std::map<std::string, PreferenceDomain>;
  return domains.try_emplace(file, file).first->second;
}

// Saves what waits. With the guard not held.
bool SaveChanges(const std::string& path) {
  // What a record of a lock says does not outlive a restart of the machine.
  plist::File file(path, path.ends_with(".lock.plist") ? host::Flush::kNone : host::Flush::kToDisk);
  int error = file.Lock(plist::File::Folder::kMake);
  if (error == 0) {
    const std::lock_guard guard(Guard());
    error = plist::RepeatWhileMade([&] { return DomainOf(path).Save(file); });
  }
  return error == 0;
}

}  // namespace

const CFStringRef kCFPreferencesCurrentUser = CFSTR(u"kCFPreferencesCurrentUser");
const CFStringRef kCFPreferencesAnyUser = CFSTR(u"kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentHost = CFSTR(u"kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyHost = CFSTR(u"kCFPreferencesAnyHost");
const CFStringRef kCFPreferencesCurrentApplication = CFSTR(u"kCFPreferencesCurrentApplication");
const CFStringRef kCFPreferencesAnyApplication = CFSTR(u"kCFPreferencesAnyApplication");

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

namespace host {

std::string PreferencesFile(CFStringRef domain, CFStringRef user, CFStringRef host) {
  return FileBehind(domain, user, host);
}

}  // namespace host

CFBundleRef CFBundleGetMainBundle() {
  return nullptr;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef) {
  return nullptr;
}

}  // namespace orvik
