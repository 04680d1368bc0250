// What the tests of paths and file operations share.
#pragma once

#include <sys/stat.h>

#include <algorithm>
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

// The text with every digit turned into "9".
inline std::string DigitsAsNines(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '9');
  return text;
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

// Makes folders of the same name in one another and gives the innermost one. std::filesystem takes
// seconds for a thousand.
inline std::string MakeDeepFolders(const std::filesystem::path& top, int levels) {
  std::string path = top.string();
  for (int level = 0; level < levels; ++level) mkdir((path += "/d").c_str(), 0777);
  return path;
}

}  // namespace orvik::test
