// Files, folders, temporary names, time and errors under the Windows names.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/string.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

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

// 0x10 for a folder, 0x01 when no user may write (none of the mode bits 0222), 0x80 when neither;
// 0xFFFFFFFF on failure.
DWORD GetFileAttributes(const char16_t* path);

// Exactly 0x80 gives write permission to owner and group when no user has it; a value with 0x01
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

// How Windows-style attributes come from a POSIX mode.

inline constexpr UInt16 kModeDirectoryBit = 0x4000;
inline constexpr UInt16 kModeWriteBits = 0x92;  // owner, group, others

constexpr DWORD AttributesFromMode(UInt16 mode) {
  DWORD attributes = 0;
  if ((mode & kModeDirectoryBit) != 0) attributes |= FILE_ATTRIBUTE_DIRECTORY;
  if ((mode & kModeWriteBits) == 0) attributes |= FILE_ATTRIBUTE_READONLY;
  return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

// Searching folders under the Windows names: nothing is ever found, folders are listed by
// COrvikDirectoryPath.

struct FILETIME {
  DWORD dwLowDateTime = 0;
  DWORD dwHighDateTime = 0;
};

struct _WIN32_FIND_DATA {
  DWORD dwFileAttributes = 0;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh = 0;
  DWORD nFileSizeLow = 0;
  DWORD dwReserved0 = 0;
  DWORD dwReserved1 = 0;
  char16_t cFileName[MAX_PATH] = {};
  char16_t cAlternateFileName[14] = {};
};

// Always INVALID_HANDLE_VALUE; `find_data` is not touched.
inline HANDLE FindFirstFile(const char16_t*, _WIN32_FIND_DATA*) {
  return INVALID_HANDLE_VALUE;
}

// Always FALSE.
inline BOOL FindNextFile(HANDLE, _WIN32_FIND_DATA*) {
  return FALSE;
}

// Always TRUE.
inline BOOL FindClose(HANDLE) {
  return TRUE;
}

// Fills the record: attributes as GetFileAttributes gives them; the times are seconds since 1904
// (high word, low 32 bits), not converted; the size is what the data fork has allocated, in bytes.
// The name goes to the start of cFileName and is terminated (it has at most 255 units); the
// reserved fields and the alternate name are emptied.
void InitW32FindDataFromCatalogInfo(const FSCatalogInfo* info, const HFSUniStr255* name,
                                    _WIN32_FIND_DATA* find_data);

// Names for temporary files under the Windows names.
//
// None of these functions makes a file, so two callers may be given the same name: who makes the
// file must ask for it to be new (CreateFile with CREATE_NEW, fopen with "x") and, when it is there
// already, ask for the next name.

// Finds the first number from `unique` on for which folder + "/" + at most 3 units of prefix + the
// decimal number names nothing, writes that path into `buffer` (MAX_PATH units) and returns the
// number. 0 when the path does not fit.
DWORD GetTempFileName(const char16_t* folder, const char16_t* prefix, DWORD unique,
                      char16_t* buffer);

// The folder for temporary files with a "/" at its end: at most `buffer_length` - 1 units of it and
// a terminator go into `buffer`; nothing is written when `buffer_length` is 0 or the buffer null.
// Returns the full length in units; a value not below `buffer_length` says that it was cut. 0 when
// there is no folder.
DWORD GetTempPath(DWORD buffer_length, char16_t* buffer);

// That folder as the platform gives it; the caller releases the string.
CFStringRef CocoaGetTempPathHelper();

// Time since the machine started, waiting, and the system's version.

// Milliseconds: ticks of 1/60 s * 1000 / 60, the multiplication in 32 bits.
DWORD GetTickCount();

// Whole seconds: the rest of a second is dropped, and below 1000 ms nothing is waited.
void Sleep(DWORD milliseconds);

// -1 before 10.2, 0 for 10.2, 1 for 10.3, 2 for 10.4, 3 for later; -2 when the version is
// unknown.
int CurrentMachineOSXVersion();

// The same for a version word in binary-coded digits (0x1049 is 10.4.9).
int ClassifyOSXVersion(DWORD version_word);

// The last-error word: one for the process, set by SetLastError alone.

extern DWORD g_dwLastErrCode;

inline DWORD GetLastError() {
  return g_dwLastErrCode;
}
inline void SetLastError(DWORD code) {
  g_dwLastErrCode = code;
}

// Compound files, which this platform does not have: every call gives E_NOTIMPL and touches
// nothing.

class IStorage;

inline HRESULT StgCreateDocfile(const char16_t*, DWORD, DWORD, IStorage**) {
  return E_NOTIMPL;
}
inline HRESULT StgOpenStorage(const char16_t*, IStorage*, DWORD, char16_t**, DWORD, IStorage**) {
  return E_NOTIMPL;
}
inline HRESULT StgIsStorageFile(const char16_t*) {
  return E_NOTIMPL;
}

}  // namespace orvik
