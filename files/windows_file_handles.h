// Open files under the Windows names.
//
// A handle is the open data fork of a file. One handle may be used by several threads: each
// call holds the handle's mutex. Failures are results; the last-error word is not set. Paths are
// NUL-terminated UTF-16 in POSIX form.
#pragma once

#include <pthread.h>

#include "platform/carbon/forks.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// The object behind a handle.
struct FileForkHandle {
  std::uint32_t type_tag;  // kFileForkHandleTag
  FSIORefNum* fork;        // owned
  pthread_mutex_t mutex;
};
inline constexpr std::uint32_t kFileForkHandleTag = 3;

// Values of CreateFile's arguments. Any other access reads and writes.
inline constexpr DWORD kAccessRead = 8;
inline constexpr DWORD kAccessReadData = 19;
inline constexpr DWORD kAccessWrite = 20;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;

// Move methods of SetFilePointer.
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;

// Opens a file, at position 0; INVALID_HANDLE_VALUE on failure. The caller closes the handle.
//   disposition 1       makes the file; fails when anything exists at the path
//   disposition 0, 2    makes the file when it is missing, else opens it with its content
//   any other           opens an existing file; neither makes nor truncates it
// A file that was made and then cannot be opened (no descriptor is left) stays, empty. A new file
// belongs to the caller, also in another user's folder.
//   share mode 0        read: others may not read; write: others may not write; both: one writer
// How denying works with other programs: carbon/forks.h. A symbolic link is followed; for writing
// only one of the caller or root, or one in a folder that no other user can change. Another user's
// file in a sticky folder that everyone may write is not opened for writing.
HANDLE CreateFile(const char16_t* path, DWORD desired_access, DWORD share_mode,
                  void* security_attributes, DWORD disposition, DWORD flags, HANDLE template_file);

// Closes the file, destroys the mutex and frees the record; no other thread may use the handle any
// more. FALSE for a null or invalid handle, and when closing reports an error (the handle is gone
// all the same).
BOOL CloseHandle(HANDLE handle);

// Moves the position and returns its low 32 bits; another move method moves nothing. 0xFFFFFFFF
// when the position cannot be set or read, 0 for a null handle. `distance_high` is not looked at.
DWORD SetFilePointer(HANDLE handle, std::int32_t distance, std::int32_t* distance_high,
                     DWORD move_method);

// Low 32 bits of the size in bytes; 0 on failure. `size_high` is not written.
DWORD GetFileSize(HANDLE handle, DWORD* size_high);

// Read or write at the position and advance it. The count done is stored when `bytes_done` is not
// null. A read that asks for more than is left reads it and gives FALSE.
BOOL ReadFile(HANDLE handle, void* buffer, DWORD bytes, DWORD* bytes_done, void* overlapped);
BOOL WriteFile(HANDLE handle, const void* buffer, DWORD bytes, DWORD* bytes_done, void* overlapped);

// Low 32 bits of the size of an open POSIX descriptor; 0xFFFFFFFF when it is none.
DWORD filelength(int descriptor);

}  // namespace orvik
