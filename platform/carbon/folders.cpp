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
  // Paths below the home and below the system root; null for no such folder.
  const char* of_user;
  const char* of_system;
};

constexpr StandardFolder kFolders[] = {
    {kApplicationSupportFolderType, "/Library/Application Support", "/Library/Application Support"},
    {kDocumentsFolderType, "/Documents", "/Users/Shared/Documents"},
    {kDesktopFolderType, "/Desktop", nullptr},
    {kSystemDesktopFolderType, nullptr, "/Users/Shared/Desktop"},
    {kApplicationsFolderType, "/Applications", "/Applications"},
};

bool IsVolume(FSVolumeRefNum domain) {
  return domain < 0 && domain > kUserDomain;
}

std::optional<std::string> FolderPath(FSVolumeRefNum domain, OSType type) {
  const bool is_user = domain == kUserDomain;
  if (!is_user && domain != kSystemDomain && domain != kLocalDomain) return std::nullopt;
  for (const StandardFolder& folder : kFolders) {
    const char* const place = is_user ? folder.of_user : folder.of_system;
    if (folder.type != type || place == nullptr) continue;
    const std::string top = is_user ? host::HomeFolder() : host::SystemRoot();
    return (top == "/" ? std::string() : top) + place;
  }
  return std::nullopt;
}

// The volume of the path, or of its nearest existing parent.
FSVolumeRefNum VolumeOfPath(std::string path) {
  struct statx info {};
  while (carbon::StatPath(path, carbon::Leaf::kFollow, &info) != 0) {
    if (path == "/") return 0;
    path = std::string(host::ParentPath(path));
  }
  return carbon::VolumeOf(info);
}

// The volume of the home uses the home trash.
OSErr FindTrash(FSVolumeRefNum domain, bool create, FSRef* folder) {
  std::string files;
  int error;
  const bool is_home = domain == kUserDomain || domain == 0 ||
                       (IsVolume(domain) && VolumeOfPath(host::HomeTrash()) == domain);
  if (is_home) {
    error = host::OpenHomeTrash(create, &files);
  } else if (IsVolume(domain)) {
    const std::string top = carbon::MountPointOf(domain);
    if (top.empty()) return nsvErr;
    error = host::OpenVolumeTrash(top, create, &files);
  } else {
    return fnfErr;
  }
  if (error == 0) error = carbon::MakeReference(files, carbon::Leaf::kKeep, folder, nullptr);
  return carbon::Status(error);
}

// Makes a folder in the same way as the store makes the folders of its files.
int MakeIfMissing(const std::string& path) {
  struct stat attributes;
  const bool exists = host::StatPath(path, 0, &attributes) == 0 && S_ISDIR(attributes.st_mode);
  return exists ? 0 : host::MakePlace(path + "/.").error;
}

}  // namespace

OSErr FSFindFolder(FSVolumeRefNum domain, OSType type, Boolean create, FSRef* folder) {
  if (folder == nullptr) return paramErr;
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
