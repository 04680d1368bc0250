#include "files/whole_file.h"

#include <optional>
#include <string>

#include "files/directory_path.h"
#include "files/path_arguments.h"

namespace orvik {

bool OpenReplacement(const COrvikFilePath& file, host::FileReplacement& replacement) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  const std::optional<std::string> spare_folder =
      PathForLibc(COrvikDirectoryPath::GetTempFileDirectoryPath().GetDirectoryPathString());
  return path && spare_folder && replacement.Open(*path, *spare_folder) == 0;
}

bool WriteWholeFile(const COrvikFilePath& file, std::string_view bytes) {
  host::FileReplacement replacement;
  return OpenReplacement(file, replacement) && replacement.Write(bytes) == 0 &&
         replacement.Commit() == 0;
}

}  // namespace orvik
