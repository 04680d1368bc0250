#include "platform/foundation/file_manager.h"

#include <sys/stat.h>

#include <optional>
#include <string>

#include "host/paths.h"
#include "host/system.h"
#include "platform/core_foundation/string_support.h"

namespace orvik {

NSFileManager* NSFileManager::defaultManager() {
  union Manager {
    constexpr Manager() : manager() {}
    ~Manager() {}  // NOLINT(modernize-use-equals-default)
    NSFileManager manager;
  };
  static constinit Manager the_manager;
  return &the_manager.manager;
}

ObjCBool NSFileManager::fileExistsAtPath(const NSString* path, ObjCBool* is_directory) const {
  const std::optional<std::string> file = FilePath(path);
  if (!file) return NO;
  struct stat attributes;
  if (host::StatPath(*file, 0, &attributes) != 0) return NO;
  if (is_directory != nullptr) *is_directory = S_ISDIR(attributes.st_mode) ? YES : NO;
  return YES;
}

const NSString* NSTemporaryDirectory() {
  return Autoreleased(NewStringFromPath(host::TemporaryFolder() + '/'));
}

const NSString* NSHomeDirectory() {
  return Autoreleased(NewStringFromPath(host::HomeFolder()));
}

}  // namespace orvik
