#include "files/path_arguments.h"

#include "host/file_names.h"
#include "host/name_spelling.h"
#include "host/path_names.h"
#include "host/system_root.h"

namespace orvik {

const char16_t* PathArgument(const CAtlString& path) {
  return path.View().find(u'\0') == std::u16string_view::npos ? path.GetString() : nullptr;
}

std::optional<std::string> PathForLibc(std::u16string_view path) {
  const std::optional<std::string> bytes = host::FileNameToBytes(path);
  if (!bytes || bytes->empty()) return std::nullopt;
  return host::PathOnDisk(host::ResolvePath(host::WithoutTrailingSlashes(*bytes)));
}

std::optional<std::string> PathForLibc(const CAtlString& path) {
  return PathForLibc(path.View());
}

std::optional<std::string> PathForLibc(const char16_t* path) {
  return path == nullptr ? std::nullopt : PathForLibc(std::u16string_view(path));
}

CAtlString PathFromUnits(std::u16string_view units) {
  CAtlString path(units);
  if (path.Find(u'\\') >= 0) path.Replace(u'\\', char16_t{0xDC5C});
  return path;
}

CAtlString PathFromBytes(std::string_view bytes) {
  return PathFromUnits(host::FileNameFromBytes(bytes));
}

}  // namespace orvik
