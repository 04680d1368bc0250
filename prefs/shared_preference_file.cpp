#include "prefs/shared_preference_file.h"

#include <algorithm>
#include <optional>
#include <string>

#include "platform/carbon/files.h"
#include "platform/carbon/folders.h"
#include "platform/core_foundation/bundle.h"
#include "platform/core_foundation/preferences.h"
#include "platform/core_foundation/url.h"
#include "platform/carbon/errno_status.h"
#include "host/system_root.h"
#include "prefs/file_domain_store.h"
#include "prefs/preference_file.h"
#include "prefs/preferences.h"

namespace orvik {

namespace {

constexpr std::size_t kPathBufferSize = 1024;

// The path of a standard folder, which is made when it is missing.
std::optional<std::string> StandardFolder(short volume, OSType type) {
  FSRef folder;
  UInt8 path[kPathBufferSize];
  if (FSFindFolder(volume, type, true, &folder) != noErr ||
      FSRefMakePath(&folder, path, sizeof path) != noErr) {
    return std::nullopt;
  }
  return reinterpret_cast<const char*>(path);
}

// The file below the machine's shared user folder, in the place that the preferences folder has
// below a home folder; nothing when one of the folders cannot be found.
std::optional<std::string> SharedFilePath(const char* domain) {
  const auto shared = StandardFolder(kOnAppropriateDisk, kSharedUserDataFolderType);
  const auto preferences = StandardFolder(kUserDomain, kPreferencesFolderType);
  const auto home = StandardFolder(kUserDomain, kDomainTopLevelFolderType);
  if (!shared || !preferences || !home) {
    return std::nullopt;
  }
  const std::size_t home_length = home->ends_with('/') ? home->size() : home->size() + 1;
  if (preferences->size() < home_length) {
    return std::nullopt;
  }
  std::string path = *shared + "/" + (preferences->c_str() + home_length) + "/" + domain + ".plist";
  path.resize(std::min(path.size(), kPathBufferSize - 1));
  return path;
}

CFURLRef FileUrl(const std::string& path) {
  return CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(path.data()),
                                                 static_cast<CFIndex>(path.size()), false);
}

}  // namespace

CFURLRef LibPref_CopySharedCFURLRef(CFStringRef domain) {
  if (domain != nullptr && CFEqual(domain, kCFPreferencesCurrentApplication)) {
    const CFBundleRef bundle = CFBundleGetMainBundle();
    domain = bundle == nullptr ? nullptr : CFBundleGetIdentifier(bundle);
  }
  if (domain == nullptr || !IsUsableDomain(CAtlString(domain))) {
    return nullptr;
  }
  char name[kPathBufferSize];
  CFStringGetCString(domain, name, sizeof name, kCFStringEncodingUTF8);
  if (const auto path = SharedFilePath(name)) {
    if (CFURLRef url = FileUrl(*path)) {
      return url;
    }
  }
  return FileUrl(
      host::SystemPath("/Users/Shared/Library/Preferences/" + std::string(name) + ".plist"));
}

CFPropertyListRef SharedPropertyList(CFStringRef domain) {
  PreferenceFile file{CAutoCFRelease<CFURLRef>(LibPref_CopySharedCFURLRef(domain))};
  file.Load(kCFPropertyListImmutable);
  return file.root() == nullptr ? nullptr : CFRetain(file.root());
}

SInt32 SavePropertiesToSharedFile(CFPropertyListRef properties, CFStringRef domain) {
  const PreferenceFile file{CAutoCFRelease<CFURLRef>(LibPref_CopySharedCFURLRef(domain))};
  return file.Save(properties).system_status;
}

CFPropertyListRef SharedPreferencesCopyValue(CFStringRef name, CFStringRef domain) {
  if (name == nullptr || domain == nullptr) {
    return nullptr;
  }
  SharedDomainStore store(domain, StorePurpose::kRead);
  return store.CopyEntry(name).Detach();
}

void SharedPreferencesSetValue(CFStringRef name, CFPropertyListRef value, CFStringRef domain) {
  if (name == nullptr || domain == nullptr) {
    return;
  }
  SharedDomainStore store(domain,
                          IsADictionaryType(value) ? StorePurpose::kCreate : StorePurpose::kChange);
  if (store.opened() && store.SetEntry(name, value).ok()) {
    store.Save();
  }
}

}  // namespace orvik
