// Shared by the tests of paths and file operations.
#pragma once

#include "files/directory_path.h"
#include "files/file_path.h"
#include "host/file_names.h"
#include "tests/support/file_trees.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

inline CAtlString Text(const fs::path& path) {
  return CAtlString(std::u16string_view(host::FileNameFromBytes(path.string())));
}
inline COrvikFilePath File(const fs::path& path) {
  return COrvikFilePath(Text(path));
}
inline COrvikDirectoryPath Folder(const fs::path& path) {
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

// The fixture of tests of one file, which is missing at first.
class FileTest : public EnvironmentTest {
 protected:
  const fs::path file_ = env_.folder() / u"gr\u00FCn.xml";
  const COrvikFilePath path_ = File(file_);
};

// The text with every digit turned into "9".
inline std::string DigitsAsNines(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '9');
  return text;
}

}  // namespace orvik::test
