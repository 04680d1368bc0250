#include "platform/carbon/folders.h"

#include <optional>
#include <string>

#include "platform/carbon/trash.h"
#include "platform/carbon/errno_status.h"
#include "host/system_root.h"

namespace orvik {

namespace {

struct StandardFolder {
  OSType type;
  // Below the home and below the system root; null where there is none.
  const char* of_user;
  const char* of_system;
};

constexpr StandardFolder kFolders[] = {
    {kSharedUserDataFolderType, nullptr, "/Users/Shared"},
    {kPreferencesFolderType, "/Library/Preferences", "/Library/Preferences"},
    {kDomainTopLevelFolderType, "", ""},
    {kApplicationSupportFolderType, "/Library/Application Support", "/Library/Application Support"},
    {kDocumentsFolderType, "/Documents", "/Users/Shared/Documents"},
    {kDesktopFolderType, "/Desktop", nullptr},
    {kSystemDesktopFolderType, nullptr, "/Users/Shared/Desktop"},
    {kApplicationsFolderType, "/Applications", "/Applications"},
};

bool IsVolume(FSVolumeRefNum domain) {
  return domain < 0 && domain > kUserDomain;
}

std::string Below(std::string folder, const char* name) {
  if (folder == "/") folder.clear();
  folder += name;
  return folder.empty() ? "/" : folder;
}

std::optional<std::string> FolderPath(FSVolumeRefNum domain, OSType type) {
  if (type == kTemporaryFolderType) return host::TemporaryFolder();
  const bool any = domain == kOnAppropriateDisk || domain == 0 || IsVolume(domain);
  for (const StandardFolder& folder : kFolders) {
    if (folder.type != type) continue;
    if ((any || domain == kUserDomain) && folder.of_user != nullptr) {
      return Below(host::HomeFolder(), folder.of_user);
    }
    if (domain != kUserDomain && folder.of_system != nullptr) {
      return Below(host::SystemRoot(), folder.of_system);
    }
  }
  return std::nullopt;
}

OSErr FindTrash(FSVolumeRefNum domain, Boolean create, FSRef* folder) {
  if (IsVolume(domain)) return FSFindTrashFolder(domain, create, folder);
  const bool is_user = domain == kUserDomain || domain == kOnAppropriateDisk || domain == 0;
  return is_user ? FSFindHomeTrashFolder(create, folder) : fnfErr;
}

}  // namespace

OSErr FSFindFolder(FSVolumeRefNum domain, OSType type, Boolean create, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  if (domain > 0) return nsvErr;
  if (type == kTrashFolderType) return FindTrash(domain, create, folder);
  const std::optional<std::string> path = FolderPath(domain, type);
  if (!path) return fnfErr;
  if (create) {
    if (const int error = host::MakeFolders(*path)) {
      return static_cast<OSErr>(host::StatusFromErrno(error));
    }
  }
  Boolean is_directory = false;
  FSRef found;
  const OSStatus status =
      FSPathMakeRef(reinterpret_cast<const UInt8*>(path->c_str()), &found, &is_directory);
  if (status != noErr) return static_cast<OSErr>(status);
  if (!is_directory) return dirNFErr;
  *folder = found;
  return noErr;
}

}  // namespace orvik
