#include "files/windows_file_handles.h"

#include <fcntl.h>

#include <memory>
#include <optional>
#include <string>

#include "files/path_arguments.h"
#include "host/descriptor.h"
#include "host/replace_file.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

SInt8 PermissionFor(DWORD desired_access, DWORD share_mode) {
  const bool shared = share_mode != 0;
  switch (desired_access) {
    case kAccessRead:
    case kAccessReadData:
      return shared ? fsRdPerm : fsRdDenyPerm;
    case kAccessWrite:
      return shared ? fsWrPerm : fsWrDenyPerm;
    default:
      return shared ? fsRdWrShPerm : fsRdWrPerm;
  }
}

// If several callers create one file at the same moment, only one succeeds.
bool CreateExclusively(const char16_t* path) {
  const std::optional<std::string> bytes = PathForLibc(path);
  return bytes && host::OpenForOutput(*bytes, O_WRONLY | O_CREAT | O_EXCL);
}

OSErr FindOrCreate(const char16_t* path, DWORD disposition, FSRef* ref) {
  if (disposition == CREATE_NEW && !CreateExclusively(path)) return dupFNErr;
  const bool makes_missing = disposition == 0 || disposition == CREATE_ALWAYS;
  return GetFSRefFromFilename(path, ref, makes_missing, false);
}

FileForkHandle* HandleOf(HANDLE handle) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return nullptr;
  auto* const record = static_cast<FileForkHandle*>(handle);
  return record->type_tag == kFileForkHandleTag ? record : nullptr;
}

// The returned lock unlocks the handle at the end of its scope.
using HandleLock = std::unique_ptr<pthread_mutex_t, int (*)(pthread_mutex_t*)>;

HandleLock Lock(FileForkHandle* handle) {
  pthread_mutex_lock(&handle->mutex);
  return {&handle->mutex, &pthread_mutex_unlock};
}

// Reads or writes at the current position.
template <class Call, class Buffer>
BOOL Transfer(Call call, HANDLE handle, Buffer* buffer, DWORD bytes, DWORD* bytes_done) {
  unsigned long done = 0;
  FileForkHandle* const record = HandleOf(handle);
  OSErr status = rfNumErr;
  if (record != nullptr) {
    const HandleLock lock = Lock(record);
    status = call(*record->fork, fsAtMark, 0, bytes, buffer, &done);
  }
  if (bytes_done != nullptr) *bytes_done = static_cast<DWORD>(done);
  return status == noErr ? TRUE : FALSE;
}

}  // namespace

HANDLE CreateFile(const char16_t* path, DWORD desired_access, DWORD share_mode, void*,
                  DWORD disposition, DWORD, HANDLE) {
  FSRef ref;
  if (FindOrCreate(path, disposition, &ref) != noErr) return INVALID_HANDLE_VALUE;
  HFSUniStr255 data_fork;
  if (FSGetDataForkName(&data_fork) != noErr) return INVALID_HANDLE_VALUE;
  auto fork = std::make_unique<FSIORefNum>();
  if (FSOpenFork(&ref, data_fork.length, data_fork.unicode,
                 PermissionFor(desired_access, share_mode), fork.get()) != noErr) {
    return INVALID_HANDLE_VALUE;
  }
  auto handle = std::make_unique<FileForkHandle>();
  handle->type_tag = kFileForkHandleTag;
  handle->fork = fork.release();
  pthread_mutex_init(&handle->mutex, nullptr);
  return handle.release();
}

BOOL CloseHandle(HANDLE handle) {
  const std::unique_ptr<FileForkHandle> record{HandleOf(handle)};
  if (!record) return FALSE;
  const std::unique_ptr<FSIORefNum> fork{record->fork};
  const OSErr status = FSCloseFork(*fork);
  pthread_mutex_destroy(&record->mutex);
  return status == noErr ? TRUE : FALSE;
}

DWORD SetFilePointer(HANDLE handle, std::int32_t distance, std::int32_t*, DWORD move_method) {
  constexpr UInt16 kModes[] = {fsFromStart, fsFromMark, fsFromLEOF};
  constexpr DWORD kFailed = 0xFFFFFFFF;
  if (handle == nullptr) return 0;
  FileForkHandle* const record = HandleOf(handle);
  if (record == nullptr) return kFailed;
  const HandleLock lock = Lock(record);
  if (move_method < std::size(kModes) &&
      FSSetForkPosition(*record->fork, kModes[move_method], distance) != noErr) {
    return kFailed;
  }
  SInt64 position = 0;
  if (FSGetForkPosition(*record->fork, &position) != noErr) return kFailed;
  return static_cast<DWORD>(position);
}

DWORD GetFileSize(HANDLE handle, DWORD*) {
  FileForkHandle* const record = HandleOf(handle);
  if (record == nullptr) return 0;
  const HandleLock lock = Lock(record);
  SInt64 size = 0;
  return FSGetForkSize(*record->fork, &size) == noErr ? static_cast<DWORD>(size) : 0;
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD bytes, DWORD* bytes_done, void*) {
  return Transfer(FSReadFork, handle, buffer, bytes, bytes_done);
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD bytes, DWORD* bytes_done, void*) {
  return Transfer(FSWriteFork, handle, buffer, bytes, bytes_done);
}

DWORD filelength(int descriptor) {
  return static_cast<DWORD>(host::SizeOf(descriptor).value_or(0xFFFFFFFF));
}

}  // namespace orvik
