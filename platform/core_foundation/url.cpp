#include "platform/core_foundation/url.h"

#include <filesystem>
#include <utility>

namespace orvik {

const NSURL* NSURL::CreateWithPath(std::string path) {
  if (path.empty() || path.find('\0') != std::string::npos) return nullptr;
  if (!path.starts_with('/')) {
    std::error_code error;
    const std::string folder = std::filesystem::current_path(error).string();
    if (error) return nullptr;
    path = (folder == "/" ? "" : folder) + '/' + path;
  }
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return new NSURL(std::move(path));
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer,
                                                 CFIndex length, Boolean) {
  if (buffer == nullptr || length <= 0) return nullptr;
  return NSURL::CreateWithPath(
      std::string(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length)));
}

}  // namespace orvik
