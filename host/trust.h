// Whether this process may act on the file to which a name leads.
//
// A name is only as trustworthy as the users who can change it. Root and the caller are trusted.
// Every other user who may add, rename or remove entries of a folder can put any file there at any
// moment. The process acts on such a name only if that user could do the same harm without it.
//
//   the name leads to                    the process
//   ----------------------------------- -----------------------------------------------------------
//   a symbolic link of root or of the    follows it
//   caller
//   a symbolic link of another user      follows it only in a folder that no other user can change;
//                                        EPERM elsewhere
//   a regular file, for output           replaces it. In a sticky folder that everyone may write,
//                                        the file must belong to the caller or to the owner of the
//                                        folder (otherwise EACCES, as with fs.protected_regular)
//   a file with several names that is    root writes into it only in a folder that no other user
//   to be written in place               can change, or if it belongs to the folder's owner. In
//                                        other folders root replaces the name, because the other
//                                        names may be in any folder
//   a regular file of a known name, as   uses it if IsTrustedFile is true
//   a lock
//   a copy kept beside a damaged file    relies on it only if it belongs to root, to the caller, or
//                                        to the owner of the folder or of the damaged file
//   the trash of a volume                root uses it only where no other user can put another in
//                                        its place: the volume's top, and `.Trash` there, belong to
//                                        root, and others may write there only if it is sticky
//   a new file or folder                 gives it to the folder's owner, and to its group, through
//                                        the descriptor with which it was made (file_place.h), if
//                                        ReplaceFile or MakePlace has made it
//   a file that is to be read            opens it only if it is regular (descriptor.h)
//   a staged file that a killed          removes it if it is regular, unlocked, has the exact form
//   process left                         of the name, and belongs to the caller; root also removes
//                                        a file of the folder's or the target's owner, for whom
//                                        root writes
//   a staged folder                      removes it if it belongs to the caller
#pragma once

#include <sys/stat.h>

#include <string>

#include "host/file_place.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Whether a user other than root and the caller may add, rename or remove entries of the folder.
bool OthersCanChange(const struct stat& folder);

// Whether the trash in the folder may be used.
bool MayTrashIn(const struct stat& folder);

// Whether the symbolic link in the folder may be followed.
bool MayFollow(const struct stat& link, const struct stat& folder);

// Whether the regular file may be replaced by output to its path.
bool MayReplace(const struct stat& file, const struct stat& folder);

// Whether the file may be written in place.
bool MayWriteInto(const struct stat& file, const struct stat& folder);

// Whether a file with a well-known name may be locked or written in a folder where other users can
// make files. It must be regular, have a single name, and belong to the caller, to root or to the
// folder's owner. If the folder's group (or everybody) may write the folder, the file may instead
// be writable by the same group (or everybody).
bool IsTrustedFile(const struct stat& file, const struct stat& folder);

// Whether a copy that was kept beside a file can be relied on: its owner must be one of those who
// could also change the file. `file` is null when the file is missing.
bool MayRelyOn(const struct stat& kept, const struct stat& folder, const struct stat* file);

// Whether a file with a staged name was left by the caller, or by a process for which the caller
// may clean up. `target` is the file for which it was staged, or null if that does not exist.
bool MayRemoveStaged(const struct stat& staged, const struct stat& folder,
                     const struct stat* target);

// Checks in advance whether a file could be saved.

// Whether this process may replace the file, or make it with the folders it needs: 0, or the errno
// of the obstacle. Follows links as a change does (EPERM). EISDIR or EINVAL when the file is not
// regular. Changes nothing; the answer can be out of date at once.
int ReplaceAccess(const std::string& path);

// The same for a new file beside the file at the place.
int NewNameAccess(const FilePlace& place);

}  // namespace host
}  // namespace orvik
