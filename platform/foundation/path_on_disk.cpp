#include "platform/foundation/path_on_disk.h"

#include "host/file_names.h"
#include "host/system.h"

namespace orvik {

std::optional<std::string> FilePath(const NSString* path) {
  if (path == nullptr || path->length() == 0) return std::nullopt;
  std::optional<std::string> bytes = host::FileNameToBytes(path->ToUnits());
  if (bytes) *bytes = host::ResolvePath(*bytes);
  return bytes;
}

NSString* NewStringFromPath(std::string_view path) {
  return NSString::NewFromUnits(host::FileNameFromBytes(path));
}

}  // namespace orvik
