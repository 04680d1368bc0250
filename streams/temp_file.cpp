#include "streams/temp_file.h"

#include <cerrno>
#include <cstdio>

#include "files/file_manipulator.h"

namespace orvik {

bool CreateTempFile(COrvikFilePath& path, const CAtlString& extension) {
  constexpr int kTries = 16;
  for (int i = 0; i < kTries; ++i) {
    if (std::FILE* const file = CFileManipulator::OpenFile(path, "wbx")) {
      std::fclose(file);
      return true;
    }
    if (errno != EEXIST) return false;
    path = COrvikFilePath::CreateTempFileName(extension, {});
  }
  return false;
}

}  // namespace orvik
