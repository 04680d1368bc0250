#include "streams/temp_file.h"

#include <cerrno>
#include <optional>
#include <string>

#include "files/path_arguments.h"
#include "host/temporary_file.h"
#include "strings/utf8_strings.h"

namespace orvik {

host::Descriptor CreateTempFile(COrvikFilePath& path, const CAtlString& extension) {
  constexpr int kTries = 16;
  constexpr char kBeginning[] = "PGW-";
  for (int i = 0; i < kTries; ++i) {
    const std::optional<std::string> bytes = PathForLibc(path.GetFilePathString());
    if (!bytes) break;
    if (i == 0) {
      host::RemoveAbandonedFiles(bytes->substr(0, bytes->rfind('/') + 1), kBeginning,
                                 MakeUTF8StringFromUnicodeString(extension).View());
    }
    host::Descriptor file = host::MakeLockedFile(*bytes);
    if (file || errno != EEXIST) return file;
    path = COrvikFilePath::CreateTempFileName(extension, {});
  }
  return host::Descriptor();
}

}  // namespace orvik
