#include "files/path_arguments.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "files/windows_file_refs.h"
#include "platform/carbon/fsref.h"
#include "platform/host/file_names.h"

namespace orvik {

const char16_t* PathArgument(const CAtlString& path) {
  return path.View().find(u'\0') == std::u16string_view::npos ? path.GetString() : nullptr;
}

std::optional<std::string> PathForLibc(const CAtlString& path) {
  std::optional<std::string> bytes = host::FileNameToBytes(path.View());
  if (!bytes ||
      std::all_of(bytes->begin(), bytes->end(), [](unsigned char c) { return c < 0x80; })) {
    return bytes;
  }
  struct stat record;
  FSRef ref;
  if (lstat(bytes->c_str(), &record) != 0 && errno == ENOENT &&
      GetFSRefFromFilename(path, &ref, false, false) == 0) {
    std::string spelled;
    if (FSRefCopyPath(&ref, &spelled) == 0) return spelled;
  }
  return bytes;
}

CAtlString PathFromBytes(std::string_view bytes) {
  return CAtlString(std::u16string_view(host::FileNameFromBytes(bytes)));
}

}  // namespace orvik
