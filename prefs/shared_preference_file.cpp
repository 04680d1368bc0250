#include "prefs/shared_preference_file.h"

#include <cerrno>

#include "host/file_names.h"
#include "host/system.h"
#include "platform/carbon/errno_status.h"
#include "platform/core_foundation/bundle.h"
#include "platform/core_foundation/cf_preferences.h"
#include "prefs/auto_release.h"
#include "prefs/dictionary_type.h"
#include "prefs/file_domain_store.h"

namespace orvik {

std::string SharedPreferenceFilePath(CFStringRef domain) {
  if (domain != nullptr && CFEqual(domain, kCFPreferencesCurrentApplication)) {
    const CFBundleRef bundle = CFBundleGetMainBundle();
    domain = bundle == nullptr ? nullptr : CFBundleGetIdentifier(bundle);
  }
  if (domain == nullptr) {
    return {};
  }
  const CAtlString text(domain);
  const auto name = host::FileNameToBytes(text.View());
  if (!name || !IsUsableDomain(text)) {
    return {};
  }
  // The preferences folder of a home is always its "Library/Preferences", through links or not, and
  // has the same place below the shared user folder.
  return host::SystemPath("/Users/Shared/Library/Preferences/") + *name + ".plist";
}

CFURLRef LibPref_CopySharedCFURLRef(CFStringRef domain) {
  const std::string path = SharedPreferenceFilePath(domain);
  if (path.empty()) {
    return nullptr;
  }
  return CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(path.data()),
                                                 static_cast<CFIndex>(path.size()), false);
}

CFPropertyListRef SharedPropertyList(CFStringRef domain) {
  PropertyListFile file(SharedPreferenceFilePath(domain));
  file.Read(kCFPropertyListImmutable);
  return file.root() == nullptr ? nullptr : CFRetain(file.root());
}

SInt32 SavePropertiesToSharedFile(CFPropertyListRef properties, CFStringRef domain) {
  PropertyListFile file(SharedPreferenceFilePath(domain));
  if (file.Lock(PropertyListFile::Folder::kMake) != 0) {
    return coreFoundationUnknownErr;
  }
  file.Read(kCFPropertyListImmutable);
  const int error = file.Save(properties);
  return error == EINVAL ? coreFoundationUnknownErr : host::StatusFromErrno(error);
}

CFPropertyListRef SharedPreferencesCopyValue(CFStringRef name, CFStringRef domain) {
  if (name == nullptr || domain == nullptr) {
    return nullptr;
  }
  SharedDomainStore store(SharedPreferenceFilePath(domain), StorePurpose::kRead);
  return store.CopyEntry(name).Detach();
}

void SharedPreferencesSetValue(CFStringRef name, CFPropertyListRef value, CFStringRef domain) {
  if (name == nullptr || domain == nullptr) {
    return;
  }
  SharedDomainStore store(SharedPreferenceFilePath(domain),
                          IsADictionaryType(value) ? StorePurpose::kCreate : StorePurpose::kChange);
  if (store.SetEntry(name, value).ok()) {
    static_cast<void>(store.Save());
  }
}

}  // namespace orvik
