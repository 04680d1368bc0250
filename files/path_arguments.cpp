#include "files/path_arguments.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "host/file_names.h"
#include "host/name_spelling.h"
#include "host/system_root.h"

namespace orvik {

const char16_t* PathArgument(const CAtlString& path) {
  return path.View().find(u'\0') == std::u16string_view::npos ? path.GetString() : nullptr;
}

std::optional<std::string> PathForLibc(const CAtlString& path) {
  std::optional<std::string> bytes = host::FileNameToBytes(path.View());
  if (!bytes) return bytes;
  bytes = host::ResolvePath(*bytes);
  struct stat record;
  const bool is_ascii =
      std::all_of(bytes->begin(), bytes->end(), [](unsigned char c) { return c < 0x80; });
  if (!is_ascii && lstat(bytes->c_str(), &record) != 0 && errno == ENOENT) {
    if (std::optional<std::string> spelled = host::FindOtherSpelling(*bytes)) return spelled;
  }
  return bytes;
}

CAtlString PathFromUnits(std::u16string_view units) {
  CAtlString path(units);
  path.Replace(u'\\', char16_t{0xDC5C});
  return path;
}

CAtlString PathFromBytes(std::string_view bytes) {
  return PathFromUnits(host::FileNameFromBytes(bytes));
}

}  // namespace orvik
