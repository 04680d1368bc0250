#include "host/trust.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/paths.h"

namespace orvik::host {
namespace {

bool IsTrusted(uid_t user) {
  return user == 0 || user == geteuid();
}

bool IsTrustedOwner(uid_t owner, const struct stat& folder) {
  return IsTrusted(owner) || owner == folder.st_uid;
}

int Access(const std::string& path, int mode) {
  return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0 ? 0 : errno;
}

}  // namespace

bool OthersCanChange(const struct stat& folder) {
  return !IsTrusted(folder.st_uid) || (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

bool MayTrashIn(const struct stat& folder) {
  const bool is_sticky = (folder.st_mode & S_ISVTX) != 0;
  return geteuid() != 0 || !OthersCanChange(folder) || (is_sticky && IsTrusted(folder.st_uid));
}

bool MayFollow(const struct stat& link, const struct stat& folder) {
  return IsTrusted(link.st_uid) || !OthersCanChange(folder);
}

bool MayReplace(const struct stat& file, const struct stat& folder) {
  constexpr mode_t kEveryone = S_ISVTX | S_IWOTH;
  return (folder.st_mode & kEveryone) != kEveryone || file.st_uid == geteuid() ||
         file.st_uid == folder.st_uid;
}

bool MayWriteInto(const struct stat& file, const struct stat& folder) {
  return geteuid() != 0 || file.st_nlink <= 1 || !OthersCanChange(folder) ||
         file.st_uid == folder.st_uid;
}

bool MayRelyOn(const struct stat& kept, const struct stat& folder, const struct stat* file) {
  return IsTrustedOwner(kept.st_uid, folder) || (file != nullptr && kept.st_uid == file->st_uid);
}

bool IsTrustedFile(const struct stat& file, const struct stat& folder) {
  if (!S_ISREG(file.st_mode) || file.st_nlink > 1) return false;
  if (IsTrustedOwner(file.st_uid, folder)) return true;
  const mode_t both = file.st_mode & folder.st_mode;
  return (both & S_IWOTH) != 0 || ((both & S_IWGRP) != 0 && file.st_gid == folder.st_gid);
}

bool MayRemoveStaged(const struct stat& staged, const struct stat& folder,
                     const struct stat* target) {
  const uid_t caller = geteuid();
  if (staged.st_uid == caller) return true;
  if (S_ISDIR(staged.st_mode) || caller != 0) return false;
  return staged.st_uid == folder.st_uid || (target != nullptr && staged.st_uid == target->st_uid);
}

int ReplaceAccess(const std::string& path) {
  const FilePlace place = FindPlace(path, Links::kTrusted);
  struct stat file;
  if (place && StatEntry(place, &file) == 0) {
    if (!S_ISREG(file.st_mode)) return S_ISDIR(file.st_mode) ? EISDIR : EINVAL;
    if (const int error = Access(place.path, W_OK)) return error;
  }
  return NewNameAccess(place);
}

int NewNameAccess(const FilePlace& place) {
  if (place.error != 0 && place.error != ENOENT) return place.error;
  // The nearest existing folder is the one that must be writable.
  std::string folder = place.path;
  for (;;) {
    folder = std::string(ParentPath(folder));
    const int status = Access(folder, W_OK | X_OK);
    if (status != ENOENT || folder == "/" || folder == ".") return status;
  }
}

}  // namespace orvik::host
