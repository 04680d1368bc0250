#include "platform/carbon/folder_removal.h"

#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/carbon/fsref_internal.h"
#include "host/at_path.h"
#include "platform/carbon/errno_status.h"
#include "host/tree_removal.h"

namespace orvik {

OSErr FSDeleteFolderContents(const FSRef* folder) {
  if (folder == nullptr) return paramErr;
  std::string path;
  int error = carbon::LocateReference(*folder, &path, nullptr);
  if (error == 0) {
    const host::AtPath at{path};
    if (at.error() != 0) return static_cast<OSErr>(host::StatusFromErrno(at.error()));
    host::Descriptor opened =
        host::OpenFolderToRemove(at.folder(), at.name(), host::Obstacles::kTakeAway);
    struct statx info {};
    if (!opened) {
      error = errno;
      if (error == ENOTDIR || error == ELOOP) return errFSNotAFolder;
    } else if (carbon::StatDescriptor(opened.get(), &info) != 0 ||
               !carbon::IsReferent(*folder, info)) {
      error = ENOENT;
    } else {
      error = host::EmptyFolder(std::move(opened), host::Obstacles::kTakeAway);
    }
  }
  if (error == ENOTEMPTY || error == EEXIST || error == EBUSY) return fBsyErr;
  return static_cast<OSErr>(host::StatusFromErrno(error));
}

}  // namespace orvik
