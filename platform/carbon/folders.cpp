#include "platform/carbon/folders.h"

#include <optional>
#include <string>

#include "host/file_place.h"
#include "host/paths.h"
#include "host/system.h"
#include "host/trash.h"
#include "platform/carbon/fsref_internal.h"
#include "platform/core_foundation/errno_status.h"

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

// The volume on which a path lies or would lie.
FSVolumeRefNum VolumeOfPath(std::string path) {
  struct statx info {};
  while (carbon::StatPath(path, carbon::Leaf::kFollow, &info) != 0) {
    if (path == "/") return 0;
    path = std::string(host::ParentPath(path));
  }
  return carbon::VolumeOf(info);
}

OSErr FindTrash(FSVolumeRefNum domain, bool create, FSRef* folder) {
  std::string files;
  int error;
  if (!IsVolume(domain)) {
    const bool is_user = domain == kUserDomain || domain == kOnAppropriateDisk || domain == 0;
    if (!is_user) return fnfErr;
    error = host::OpenHomeTrash(create, &files);
  } else if (VolumeOfPath(host::HomeTrash()) == domain) {
    error = host::OpenHomeTrash(create, &files);
  } else {
    const std::string top = carbon::MountPointOf(domain);
    if (top.empty()) return nsvErr;
    error = host::OpenVolumeTrash(top, create, &files);
  }
  if (error == 0) error = carbon::MakeReference(files, carbon::Leaf::kKeep, folder, nullptr);
  return carbon::Status(error);
}

// As the store makes the folders of its files.
int MakeIfMissing(const std::string& path) {
  struct stat attributes;
  const bool exists = host::StatPath(path, 0, &attributes) == 0 && S_ISDIR(attributes.st_mode);
  return exists ? 0 : host::MakePlace(path + "/.").error;
}

}  // namespace

OSErr FSFindFolder(FSVolumeRefNum domain, OSType type, Boolean create, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  if (domain > 0) return nsvErr;
  if (type == kTrashFolderType) return FindTrash(domain, create != 0, folder);
  const std::optional<std::string> path = FolderPath(domain, type);
  if (!path) return fnfErr;
  if (create) {
    if (const int error = MakeIfMissing(*path)) return carbon::Status(error);
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
