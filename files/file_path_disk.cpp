// The members of COrvikFilePath that look at the disk.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "files/c_file.h"
#include "files/file_checksum.h"
#include "files/file_manipulator.h"
#include "files/file_path.h"
#include "files/path_age.h"
#include "files/path_arguments.h"
#include "files/progress.h"
#include "files/tree_failures.h"
#include "files/windows_files.h"
#include "host/at_path.h"
#include "host/descriptor.h"

namespace orvik {
namespace {

BOOL AllowOwnerToWrite(const CAtlString& path) {
  const std::optional<std::string> bytes = PathForLibc(path);
  struct stat info;
  return bytes && host::StatPath(*bytes, AT_SYMLINK_NOFOLLOW, &info) == 0 &&
         host::ChangeModeOf(*bytes, (info.st_mode & 07777) | S_IWUSR) == 0;
}

}  // namespace

BOOL COrvikFilePath::FileExists() const {
  return !path_.IsEmpty() && PathFileExists(PathArgument(path_)) != FALSE;
}

BOOL COrvikFilePath::IsDirectory() const {
  return PathIsDirectory(PathArgument(path_));
}

BOOL COrvikFilePath::IsExecutable() const {
  return IsDirectory() == FALSE && PathIsExe(PathArgument(path_)) != 0;
}

int COrvikFilePath::GetNumberOfDaysOld() const {
  return DaysSinceModification(path_);
}

BOOL COrvikFilePath::SetFileReadOnly() const {
  if (FileExists() == FALSE) return TRUE;
  const DWORD attributes = GetFileAttributes(PathArgument(path_));
  if (attributes == INVALID_FILE_ATTRIBUTES) return FALSE;
  return SetFileAttributes(PathArgument(path_), attributes | FILE_ATTRIBUTE_READONLY);
}

BOOL COrvikFilePath::ClearFileReadOnly() const {
  if (FileExists() == FALSE) return TRUE;
  const DWORD attributes = GetFileAttributes(PathArgument(path_));
  if (attributes == INVALID_FILE_ATTRIBUTES) return FALSE;
  if (attributes == FILE_ATTRIBUTE_READONLY) return AllowOwnerToWrite(path_);
  return SetFileAttributes(PathArgument(path_), attributes & ~FILE_ATTRIBUTE_READONLY);
}

BOOL COrvikFilePath::CanFileBeWrittenTo() const {
  return FileExists() == FALSE ||
         (GetFileAttributes(PathArgument(path_)) & FILE_ATTRIBUTE_READONLY) == 0;
}

DWORD COrvikFilePath::GetFileSize() const {
  constexpr DWORD kUnknown = 0xFFFFFFFF;
  const CFile file(CFileManipulator::OpenFile(*this, "rb"));
  struct stat record;
  if (!file || fstat(fileno(file.get()), &record) != 0 || !S_ISREG(record.st_mode)) return kUnknown;
  return record.st_size < off_t{kUnknown} ? static_cast<DWORD>(record.st_size) : kUnknown;
}

std::uint32_t COrvikFilePath::GetFileChecksum() const {
  std::uint32_t checksum = 0;
  return GetFileChecksum(checksum, nullptr) != FALSE ? checksum : 0;
}

BOOL COrvikFilePath::GetFileChecksum(std::uint32_t& checksum, TreeReport* report,
                                     Progress* progress) const {
  const std::optional<std::string> bytes = PathForLibc(path_);
  // Without O_NONBLOCK a pipe would be waited for.
  const host::Descriptor file =
      bytes ? host::OpenPath(*bytes, O_RDONLY | O_NONBLOCK) : host::Descriptor();
  int error = bytes ? errno : ENOENT;
  struct stat record;
  if (file && fstat(file.get(), &record) == 0) {
    host::Monitor* const monitor = MonitorOf(progress, *this);
    const auto size = static_cast<std::uint64_t>(record.st_size);
    if (monitor != nullptr) monitor->Expect(1, size);
    std::optional<std::uint32_t> found;
    if (!S_ISREG(record.st_mode)) {
      error = S_ISDIR(record.st_mode) ? EISDIR : EINVAL;
    } else if (host::Begins(monitor, {}, {})) {
      found = ChecksumOfFile(file.get(), static_cast<std::size_t>(size), monitor);
      error = found ? 0 : EIO;
    }
    if (found) {
      checksum = *found;
      host::Advances(monitor, 1, 0);
    } else if (host::IsStopped(monitor)) {
      error = ECANCELED;
    }
  }
  return AddResult(*this, error, host::Side::kSource, report);
}

}  // namespace orvik
