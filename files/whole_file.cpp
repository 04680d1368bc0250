#include "files/whole_file.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "host/replace_file.h"

namespace orvik {

bool WriteWholeFile(const COrvikFilePath& file, std::string_view bytes) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  if (!path) return false;
  const int error = host::ReplaceFile(*path, bytes, host::Flush::kNone).error;
  if (error != EINVAL && error != EACCES && error != EPERM) return error == 0;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(CFileManipulator::OpenFile(file, "wb"),
                                                         &std::fclose);
  if (!opened) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), opened.get()) == bytes.size();
  return std::fclose(opened.release()) == 0 && written;
}

}  // namespace orvik
