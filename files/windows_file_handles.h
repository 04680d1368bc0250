// Open files under the Windows names.
//
// A handle is the open data fork of a file. One handle may be used by several threads: each call
// locks the handle's mutex. Failures are results; the last-error word is not set. Paths are
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

// Values of CreateFile's arguments. Every other access value reads and writes.
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
//   disposition 0, 2    makes a missing file; opens an existing one with its content
//   other values        open an existing file; they neither make nor truncate it
//   share mode 0        read: others may not read; write: others may not write; both: one writer
// carbon/forks.h describes the effect on other programs. A symbolic link is followed; for writing,
// only if it belongs to the caller or root, or lies in a folder that no other user can change.
// Another user's file in a sticky folder that everyone may write is not opened for writing. If a
// new file cannot be opened (no descriptor is left), it stays, empty. A new file belongs to the
// caller, even in another user's folder.
HANDLE CreateFile(const char16_t* path, DWORD desired_access, DWORD share_mode,
                  void* security_attributes, DWORD disposition, DWORD flags, HANDLE template_file);

// Closes the file, destroys the mutex and frees the record; no other thread may use the handle any
// more. FALSE for a null or invalid handle, and when closing reports an error (the handle is freed
// even then).
BOOL CloseHandle(HANDLE handle);

// Moves the position and returns its low 32 bits; an unknown move method only returns it.
// 0xFFFFFFFF when the position cannot be set or read, 0 for a null handle. `distance_high` is
// ignored.
DWORD SetFilePointer(HANDLE handle, std::int32_t distance, std::int32_t* distance_high,
                     DWORD move_method);

// Low 32 bits of the size in bytes; 0 on failure. `size_high` is not written.
DWORD GetFileSize(HANDLE handle, DWORD* size_high);

// Read or write at the position and advance it. The number of bytes transferred is stored unless
// `bytes_done` is null. A read beyond the end of the file reads the bytes up to it and gives FALSE.
BOOL ReadFile(HANDLE handle, void* buffer, DWORD bytes, DWORD* bytes_done, void* overlapped);
BOOL WriteFile(HANDLE handle, const void* buffer, DWORD bytes, DWORD* bytes_done, void* overlapped);

// Low 32 bits of the size of an open POSIX descriptor; 0xFFFFFFFF when the descriptor is not open.
DWORD filelength(int descriptor);

}  // namespace orvik
