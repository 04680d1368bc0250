// What the tests of paths and file operations share.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "files/directory_path.h"
#include "files/file_path.h"
#include "platform/host/file_names.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

inline CAtlString Text(const std::filesystem::path& path) {
  return CAtlString(std::u16string_view(host::FileNameFromBytes(path.string())));
}
inline COrvikFilePath File(const std::filesystem::path& path) {
  return COrvikFilePath(Text(path));
}
inline COrvikDirectoryPath Folder(const std::filesystem::path& path) {
  return COrvikDirectoryPath(Text(path));
}

inline std::u16string Units(const CAtlString& text) {
  return std::u16string(text.View());
}
inline std::u16string Units(const COrvikFilePath& path) {
  return Units(path.GetFilePathString());
}
inline std::u16string Units(const COrvikDirectoryPath& path) {
  return Units(path.GetDirectoryPathString());
}

// Permission bits of a file; a link's own.
inline unsigned ModeOf(const std::filesystem::path& path) {
  struct stat record = {};
  lstat(path.c_str(), &record);
  return record.st_mode & 07777u;
}

// Whether anything stands at the path, a dangling link too.
inline bool Stands(const std::filesystem::path& path) {
  struct stat record;
  return lstat(path.c_str(), &record) == 0;
}

}  // namespace orvik::test
