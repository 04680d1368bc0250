#include "host/make_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/file_place.h"
#include "host/open_flags.h"
#include "host/staged_file.h"

namespace orvik::host {

namespace {

bool IsGivenAway(const struct stat& folder) {
  return geteuid() == 0 && folder.st_uid != 0;
}

bool IsOpenToGroup(const struct stat& folder) {
  constexpr mode_t kGroupWrites = S_ISGID | S_IWGRP;
  return (folder.st_mode & kGroupWrites) == kGroupWrites;
}

int MakeAndOpen(int folder, const char* name, Descriptor* made, struct stat* own) {
  if (mkdirat(folder, name, 0777) != 0) return errno;
  *made = Descriptor(openat(folder, name, kOpenFolder));
  return *made && fstat(made->get(), own) == 0 ? 0 : errno;
}

}  // namespace

int MakeFolder(int folder, const struct stat& attributes, const std::string& name, Descriptor* made,
               struct stat* own) {
  if (!IsGivenAway(attributes) && !IsOpenToGroup(attributes)) {
    return MakeAndOpen(folder, name.c_str(), made, own);
  }
  StagedFolder staged(folder, name);
  if (const int error = staged.Make()) return error;
  // Nothing is changed where another folder could be.
  if (!staged.IsPrivate()) return MakeAndOpen(folder, name.c_str(), made, own);
  constexpr char kEntry[] = "entry";
  if (const int error = MakeAndOpen(staged.descriptor(), kEntry, made, own)) return error;
  if (!FollowFolder(made->get(), attributes, own)) return errno;
  return RenameWithoutReplacing(staged.descriptor(), kEntry, folder, name.c_str());
}

bool FollowFolder(int entry, const struct stat& folder, struct stat* own) {
  if (fstat(entry, own) != 0) return false;
  // Without the right to give it away the entry stays root's.
  if (IsGivenAway(folder) && own->st_uid == 0 &&
      fchown(entry, folder.st_uid, static_cast<gid_t>(-1)) == 0) {
    own->st_uid = folder.st_uid;
  }
  if (!IsOpenToGroup(folder)) return true;
  mode_t wanted = own->st_mode | S_IRGRP | S_IWGRP | (folder.st_mode & S_IROTH);
  if ((own->st_mode & S_IXUSR) != 0) wanted |= S_IXGRP | (folder.st_mode & S_IXOTH);
  if (wanted != own->st_mode && fchmod(entry, wanted & 07777) == 0) own->st_mode = wanted;
  return true;
}

}  // namespace orvik::host
