#include "files/file_manipulator.h"

#include <sys/stat.h>

#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "files/path_arguments.h"
#include "files/whole_file.h"
#include "files/windows_files.h"

namespace orvik {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenedFile = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace

std::FILE* CFileManipulator::OpenFile(const COrvikFilePath& file, const char* mode) {
  const std::optional<std::string> bytes = PathForLibc(file.GetFilePathString());
  if (!bytes) return nullptr;
  struct stat record;
  if (stat(bytes->c_str(), &record) == 0 && !S_ISREG(record.st_mode) && !S_ISCHR(record.st_mode)) {
    return nullptr;
  }
  return std::fopen(bytes->c_str(), mode);
}

int CFileManipulator::StatFile(const COrvikFilePath& file, struct stat* record) {
  const std::optional<std::string> bytes = PathForLibc(file.GetFilePathString());
  if (!bytes || bytes->empty()) return -1;
  return lstat(bytes->c_str(), record);
}

unsigned long CFileManipulator::ReadFileIntoBuffer(const COrvikFilePath& file,
                                                   unsigned char*& buffer) {
  buffer = nullptr;
  const OpenedFile opened(OpenFile(file, "rb"));
  if (!opened) return 0;
  const DWORD size = file.GetFileSize();
  if (size == 0 || size == 0xFFFFFFFF) return 0;
  buffer = new (std::nothrow) unsigned char[size];
  if (buffer == nullptr) return 0;
  const std::size_t got = std::fread(buffer, 1, size, opened.get());
  if (got == 0) {
    delete[] buffer;
    buffer = nullptr;
  }
  return got;
}

HRESULT CFileManipulator::ReadAsciiFileIntoAsciiString(const COrvikFilePath& file,
                                                       CAtlStringA& text, const char* prefix) {
  const OpenedFile opened(file.IsEmptyPath() != FALSE ? nullptr : OpenFile(file, "rb"));
  if (!opened) return E_INVALIDARG;
  const DWORD size = file.GetFileSize();
  const std::size_t start = prefix != nullptr ? std::strlen(prefix) : 0;
  if (std::size_t{size} + start >= std::numeric_limits<int>::max()) return E_UNEXPECTED;
  if (prefix != nullptr) text = prefix;
  char* const buffer = text.GetBufferSetLength(static_cast<int>(start + size + 1));
  const std::size_t got = std::fread(buffer + start, 1, size, opened.get());
  buffer[start + got] = '\0';
  text.ReleaseBuffer(static_cast<int>(std::strlen(buffer)));
  return got == size ? S_OK : E_UNEXPECTED;
}

HRESULT CFileManipulator::WriteAsciiStringToFile(const COrvikFilePath& file, const char* bytes,
                                                 unsigned long count) {
  if (bytes == nullptr || count == 0 || file.IsEmptyPath() != FALSE) return E_INVALIDARG;
  return WriteWholeFile(file, {bytes, count}) ? S_OK : E_INVALIDARG;
}

BOOL CFileManipulator::CopyFileTo(const COrvikFilePath& source, const COrvikFilePath& target,
                                  BOOL fail_if_exists) {
  return orvik::CopyFile(PathArgument(source.GetFilePathString()),
                         PathArgument(target.GetFilePathString()), fail_if_exists);
}

BOOL CFileManipulator::CopyFileTo(const COrvikFilePath& source,
                                  const COrvikDirectoryPath& target_folder, BOOL fail_if_exists) {
  return CopyFileTo(source, target_folder.CreateFilePath(source.GetFileName()), fail_if_exists);
}

BOOL CFileManipulator::MoveFileTo(const COrvikFilePath& source, const COrvikFilePath& target) {
  return MoveFile(PathArgument(source.GetFilePathString()),
                  PathArgument(target.GetFilePathString()));
}

BOOL CFileManipulator::DeleteFile(const COrvikFilePath& file) {
  const CAtlString path = file.GetFilePathString();
  if (file.FileExists() == FALSE) return TRUE;
  return SetFileAttributes(PathArgument(path), FILE_ATTRIBUTE_NORMAL) != FALSE &&
         orvik::DeleteFile(PathArgument(path)) != FALSE;
}

}  // namespace orvik
