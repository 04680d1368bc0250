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
// NUL-terminated UTF-16 in POSIX form ("/" separates); a null path fails. Unless stated, no call
// follows a final symbolic link: a link is copied, moved and deleted as a link. Paths may be longer
// than MAX_PATH.
//
// Accented letters in a path may be spelled differently from the name on disk. Every call takes the
// entry of exactly the given name; if it does not exist, the only entry that is equal after Unicode
// normalisation.

// File attributes.
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

// TRUE when anything exists at the path: a file, a folder, a link with or without a target.
BOOL PathFileExists(const char16_t* path);

// TRUE when the mode of the object has the bit 0x4000 (sockets and block devices have it, too).
BOOL PathIsDirectory(const char16_t* path);

// TRUE for a program, FALSE for another item, -1 (which a test for non-zero takes as TRUE) when the
// item cannot be examined or its path exceeds 1,023 bytes. Follows a final symbolic link.
BOOL PathIsExe(const char16_t* path);

// 0x10 for a folder, plus 0x01 when no user may write (none of the mode bits 0222); 0x80 when
// neither applies; 0xFFFFFFFF on failure.
DWORD GetFileAttributes(const char16_t* path);

// Exactly 0x80 gives owner and group write permission if no user has it; a value with 0x01 removes
// write permission for all users; other values change nothing and give TRUE. FALSE when a link's
// permissions would change, because that is not possible.
BOOL SetFileAttributes(const char16_t* path, DWORD attributes);

// Makes the last component; TRUE also when anything exists at the path. Parents are not made.
BOOL CreateDirectory(const char16_t* path, void* security_attributes);

// Removes an empty folder.
BOOL RemoveDirectory(const char16_t* path);

// Copies a file with its permissions, dates, extended attributes and lock; a symbolic link is
// copied as a link with the same text. Attributes that the target volume cannot store are left out.
// Folders and special files are not copied. The call fails for an existing target if
// `fail_if_exists` is set. Otherwise it replaces a file, a link or an empty folder, but never the
// source under another name or the file that a copied link leads to. The replacement is atomic: a
// copy that fails leaves the old target as it was.
[[nodiscard("FALSE: there is no copy")]] BOOL CopyFile(const char16_t* source,
                                                       const char16_t* target, BOOL fail_if_exists);

// Deletes a file, a link, or a folder with its content; locked items too. Goes on after a failure.
// FALSE when anything is left, when nothing exists at the path, and for the root folder and paths
// that end in "." or "..".
BOOL DeleteFile(const char16_t* path);

// Moves or renames a file or folder; missing folders of the target are made. An existing target is
// not replaced, and a locked item is not moved. The target may be the same name in another spelling
// (composed, decomposed). Failures are also written to the system log. An item moved into the
// "files" folder of a trash (freedesktop.org, version 1.0) gets its info file.
[[nodiscard("FALSE: nothing was moved")]] BOOL MoveFile(const char16_t* source,
                                                        const char16_t* target);

// The running state of FSDeleteFolderLevel.
struct FSDeleteFolderState {
  OSErr result = 0;  // 0, or the first error
};

// Deletes everything in the folder at every depth; links are not followed. Goes on after an error;
// `state` gets the first one. The folder itself stays.
void FSDeleteFolderLevel(const FSRef* folder, FSDeleteFolderState* state);

// The rules for Windows-style attributes of a POSIX mode.

inline constexpr UInt16 kModeDirectoryBit = 0x4000;
inline constexpr UInt16 kModeWriteBits = 0x92;  // owner, group, others

constexpr DWORD AttributesFromMode(UInt16 mode) {
  DWORD attributes = 0;
  if ((mode & kModeDirectoryBit) != 0) attributes |= FILE_ATTRIBUTE_DIRECTORY;
  if ((mode & kModeWriteBits) == 0) attributes |= FILE_ATTRIBUTE_READONLY;
  return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

// Searching folders under the Windows names: finds nothing. COrvikDirectoryPath lists folders.

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

// Fills the record. The attributes are as in GetFileAttributes; the times are seconds since 1904
// (high word, low 32 bits), not converted; the size is the allocated size of the data fork in
// bytes. The name goes to the start of cFileName and is terminated (it has at most 255 units); the
// reserved fields and the alternate name are emptied.
void InitW32FindDataFromCatalogInfo(const FSCatalogInfo* info, const HFSUniStr255* name,
                                    _WIN32_FIND_DATA* find_data);

// Names for temporary files under the Windows names.
//
// None of these functions makes a file, so two callers may get the same name. Create the file
// exclusively (CreateFile with CREATE_NEW, fopen with "x"), and ask for the next name if it exists
// already.

// Finds the first number from `unique` for which the path folder + "/" + at most 3 units of prefix
// + the decimal number does not exist, writes that path into `buffer` (MAX_PATH units) and returns
// the number. Returns 0, with an empty path in `buffer`, when the path does not fit.
DWORD GetTempFileName(const char16_t* folder, const char16_t* prefix, DWORD unique,
                      char16_t* buffer);

// Writes the folder for temporary files with a "/" at its end: at most `buffer_length` - 1 units
// and a terminator. Nothing is written when `buffer_length` is 0 or the buffer null. Returns the
// full length in units; if it is not below `buffer_length`, the path was cut. 0 when there is no
// folder.
DWORD GetTempPath(DWORD buffer_length, char16_t* buffer);

// The same folder as a platform string; the caller releases it.
CFStringRef CocoaGetTempPathHelper();

// Time since boot, waiting, and the system's version.

// Milliseconds since boot: ticks of 1/60 s * 1000 / 60, multiplied in 32 bits.
DWORD GetTickCount();

// Waits whole seconds: a fraction is dropped, so that it does not wait below 1000 ms.
void Sleep(DWORD milliseconds);

// -1 before 10.2, 0 for 10.2, 1 for 10.3, 2 for 10.4, 3 for later; -2 when the version is
// unknown.
int CurrentMachineOSXVersion();

// The same for a version word in binary-coded digits (0x1049 is 10.4.9).
int ClassifyOSXVersion(DWORD version_word);

// The last-error word: one for the process; only SetLastError sets it.

extern DWORD g_dwLastErrCode;

inline DWORD GetLastError() {
  return g_dwLastErrCode;
}
inline void SetLastError(DWORD code) {
  g_dwLastErrCode = code;
}

// Compound files do not exist on this platform: every call gives E_NOTIMPL and changes nothing.

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
