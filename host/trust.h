// Whether this process may act on what a name leads to.
//
// A name is worth no more than those who can change it. Root and the caller are trusted; every
// other user who may add, rename or remove entries of a folder can put there what they like, at any
// moment. The process acts on such a name only where that user could do the same harm without it.
//
//   what has the name                    the process
//   ----------------------------------- -----------------------------------------------------------
//   a symbolic link of root or of the    follows it
//   caller
//   a symbolic link of another user      follows it only in a folder that no other user can change;
//                                        EPERM elsewhere
//   a regular file that a path names     replaces it, except another user's in a sticky folder that
//   for output                           everyone may write (EACCES, as with fs.protected_regular)
//   a file with several names that is    root writes into it only in a folder that no other user
//   to be written in place               can change, or if it belongs to the folder's owner; root
//                                        replaces the name elsewhere, as the other names may lead
//                                        anywhere
//   a regular file of a known name, as   uses it as IsTrustedFile says
//   a lock or its record
//   a copy kept beside a damaged file    relies on it only if it belongs to root, to the caller, or
//                                        to the owner of the folder or of the damaged file
//   the trash of a volume                root uses it only where no other user can put another in
//                                        its place: the volume's top, and `.Trash` there, belong to
//                                        root, and others may write there only if it is sticky
//   what has just been made              is given to the folder's owner, and to its group, by the
//                                        descriptor it was made with (file_place.h)
//   anything that is read                opens it only if it is a regular file (descriptor.h)
//   a staged file that a killed          removes it if it is regular, unlocked, has the exact form
//   process left                         of the name, and belongs to the caller; root also removes
//                                        one of the folder's or the target's owner, for whom root
//                                        writes
//   a staged folder                      removes it if it belongs to the caller
#pragma once

#include <sys/stat.h>

#include <string>

#include "host/file_place.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Whether a user other than root and the caller may add, rename or remove entries of the folder.
bool OthersCanChange(const struct stat& folder);

// Whether the trash that the folder holds may be used.
bool MayTrashIn(const struct stat& folder);

// Whether the symbolic link in the folder may be followed.
bool MayFollow(const struct stat& link, const struct stat& folder);

// Whether the regular file may be replaced by output to its path.
bool MayReplace(const struct stat& file, const struct stat& folder);

// Whether the file may be changed where it is.
bool MayWriteInto(const struct stat& file, const struct stat& folder);

// Whether a file may be locked or written that has a known name in a folder, where others can put
// their own: a regular file with one name, of the caller, of root or of the folder's owner. In a
// folder that its group (or everybody) may write also one that the same group (or everybody) may
// write.
bool IsTrustedFile(const struct stat& file, const struct stat& folder);

// Whether a copy that was kept beside a file will do: those who could change it could change the
// file. `file` is null when it is missing.
bool MayRelyOn(const struct stat& kept, const struct stat& folder, const struct stat* file);

// Whether a file with the name of a staged one was left by the caller, or by a process for which
// the caller may clean up. `target` is the file whose name it was to take; null when there is none.
bool MayRemoveStaged(const struct stat& staged, const struct stat& folder,
                     const struct stat* target);

// Asks beforehand whether a file could be saved.

// Whether this process may replace the file, or make it with the folders it needs: 0, or the error
// number of what prevents it. Links are followed as for a change (EPERM), and anything but a
// regular file is EISDIR or EINVAL. Nothing is changed; the answer can be out of date at once.
int ReplaceAccess(const std::string& path);

// The same of a file with a new name beside the file at the place.
int NewNameAccess(const FilePlace& place);

}  // namespace host
}  // namespace orvik
