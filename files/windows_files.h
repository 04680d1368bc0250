// Files and folders by path under the Windows names.
//
// Failures are results (FALSE, 0xFFFFFFFF); the last-error word is not set. Paths are
// NUL-terminated UTF-16 in POSIX form ("/" separates); a null path fails. No call follows a final
// symbolic link except where it says so, so that a link is copied, moved and deleted as a link.
// Paths may be longer than MAX_PATH.
//
// Accented letters may be spelled otherwise than on disk, for every call the same way: an entry of
// exactly the given name is meant; if there is none, the one entry that is equal after Unicode
// normalisation.
#pragma once

#include "platform/carbon/fsref.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// File attributes.
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

// TRUE when anything exists at the path: a file, a folder, a link with or without a target.
BOOL PathFileExists(const char16_t* path);

// TRUE when the mode of the object has the bit 0x4000 (which sockets and block devices share).
BOOL PathIsDirectory(const char16_t* path);

// TRUE for a program, FALSE for another item, -1 (which a test for non-zero takes as TRUE) when the
// item cannot be looked at or its path exceeds 1,023 bytes. Follows a final symbolic link.
BOOL PathIsExe(const char16_t* path);

// 0x10 for a folder, 0x01 when nobody may write (none of the mode bits 0222), 0x80 when neither;
// 0xFFFFFFFF on failure.
DWORD GetFileAttributes(const char16_t* path);

// Exactly 0x80 gives write permission to owner and group when nobody has it; a value with 0x01
// takes write permission from everybody; other values change nothing and give TRUE. FALSE when that
// would change a link, whose permissions cannot be changed.
BOOL SetFileAttributes(const char16_t* path, DWORD attributes);

// Makes the last component; TRUE also when anything exists at the path. Parents are not made.
BOOL CreateDirectory(const char16_t* path, void* security_attributes);

// Removes an empty folder.
BOOL RemoveDirectory(const char16_t* path);

// Copies a file with its permissions, dates, extended attributes and lock; a symbolic link is
// copied as a link with the same text. What the volume cannot keep is left out.
// Folders and special files are not copied. An existing target fails the call when `fail_if_exists`
// is set; otherwise a file, a link or an empty folder is replaced, but never when it is the source
// under another name or what a link that is copied leads to. The target is replaced in one step
// when the copy is whole: a copy that fails leaves the old target as it was.
[[nodiscard("FALSE: there is no copy")]] BOOL CopyFile(const char16_t* source,
                                                       const char16_t* target, BOOL fail_if_exists);

// Deletes a file, a link, or a folder with all it holds; locked items too. Goes on after a failure.
// FALSE when anything is left, when nothing is at the path, and for the root folder and paths that
// end in "." or "..".
BOOL DeleteFile(const char16_t* path);

// Moves or renames a file or folder; missing folders of the target are made. An existing target is
// not replaced, and a locked item is not moved. A name can be moved to another spelling of itself
// (composed, decomposed). Failures are also written to the system log. Something moved into the
// "files" folder of a trash (freedesktop.org, version 1.0) gets its info file.
[[nodiscard("FALSE: nothing was moved")]] BOOL MoveFile(const char16_t* source,
                                                        const char16_t* target);

// The running state of FSDeleteFolderLevel.
struct FSDeleteFolderState {
  OSErr result = 0;  // last status
};

// Deletes everything in the folder at every depth, links as links. It goes on after an error; the
// state holds the first. The folder itself stays.
void FSDeleteFolderLevel(const FSRef* folder, FSDeleteFolderState* state);

}  // namespace orvik
