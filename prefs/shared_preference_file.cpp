#include "prefs/shared_preference_file.h"

#include <cerrno>

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/errno_status.h"
#include "prefs/domain_store.h"
#include "strings/auto_release.h"

namespace orvik {

std::string SharedPreferenceFilePath(CFStringRef domain) {
  if (domain != nullptr && CFEqual(domain, kCFPreferencesCurrentApplication)) {
    domain = CFBundleGetIdentifier(CFBundleGetMainBundle());
  }
  return domain == nullptr
             ? std::string()
             : plist::PreferenceFile(plist::PreferenceFolder::kShared, domain->ToUnits());
}

CFURLRef LibPref_CopySharedCFURLRef(CFStringRef domain) {
  const std::string path = SharedPreferenceFilePath(domain);
  if (path.empty()) return nullptr;
  return CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(path.data()),
                                                 static_cast<CFIndex>(path.size()), false);
}

CFPropertyListRef SharedPropertyList(CFStringRef domain) {
  plist::File file(SharedPreferenceFilePath(domain));
  file.Read();
  return CreateObject(file.root(), kCFPropertyListImmutable);
}

// The file is read again after each try that met a new file, because Save only replaces the file
// that was read.
SInt32 SavePropertiesToSharedFile(CFPropertyListRef properties, CFStringRef domain) {
  plist::File file(SharedPreferenceFilePath(domain));
  if (file.Lock(plist::File::Folder::kMake) != 0) return coreFoundationUnknownErr;
  const std::optional<plist::Value> value = ValueOfObject(properties);
  const int error = !value ? EINVAL : plist::RepeatWhileMade([&] {
    file.Read();
    return file.Save(*value);
  });
  return error == EINVAL ? coreFoundationUnknownErr : host::StatusFromErrno(error);
}

CFPropertyListRef SharedPreferencesCopyValue(CFStringRef name, CFStringRef domain) {
  if (name == nullptr || domain == nullptr) return nullptr;
  SharedDomainStore store(SharedPreferenceFilePath(domain), StorePurpose::kRead);
  return CreateObject(store.Entry(name->text()), kCFPropertyListMutableContainers);
}

// Only a dictionary may create the file and its folder.
void SharedPreferencesSetValue(CFStringRef name, CFPropertyListRef value, CFStringRef domain) {
  if (name == nullptr || domain == nullptr) return;
  const std::optional<plist::Value> own = value == nullptr ? plist::Value() : ValueOfObject(value);
  if (!own) return;
  plist::RepeatWhileMade([&] {
    SharedDomainStore store(SharedPreferenceFilePath(domain),
                            own->is_dictionary() ? StorePurpose::kCreate : StorePurpose::kChange);
    const bool is_set = store.SetEntry(name->text(), *own).ok();
    return is_set ? store.Save().error_number : 0;
  });
}

}  // namespace orvik
