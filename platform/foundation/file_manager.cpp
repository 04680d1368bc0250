#include "platform/foundation/file_manager.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "host/move_file.h"
#include "host/paths.h"
#include "host/system.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/string_support.h"

namespace orvik {

namespace {

ObjCBool Answer(int result, NSError** error) {
  if (result == 0) return YES;
  if (error != nullptr) *error = NSError::errorWithErrno(result);
  return NO;
}

}  // namespace

NSError* NSError::errorWithErrno(int error) {
  return Autoreleased(new NSError(error));
}

const NSString* NSError::description() const {
  return NSString::stringWithUTF8String(std::strerror(static_cast<int>(code_)));
}

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

ObjCBool NSFileManager::createDirectoryAtPath(const NSString* path, ObjCBool intermediates,
                                              const NSDictionary* attributes,
                                              NSError** error) const {
  const std::optional<std::string> folder = FilePath(path);
  if (!folder || attributes != nullptr) return Answer(EINVAL, error);
  if (intermediates != NO) return Answer(host::MakeFolders(*folder), error);
  return Answer(host::MakeFolderAt(*folder, 0777), error);
}

ObjCBool NSFileManager::moveItemAtPath(const NSString* source, const NSString* target,
                                       NSError** error) const {
  const std::optional<std::string> from = FilePath(source);
  const std::optional<std::string> to = FilePath(target);
  if (!from || !to) return Answer(EINVAL, error);
  return Answer(host::MoveWithoutReplacing(*from, *to), error);
}

const NSString* NSTemporaryDirectory() {
  return Autoreleased(NewStringFromPath(host::TemporaryFolder() + '/'));
}

const NSString* NSHomeDirectory() {
  return Autoreleased(NewStringFromPath(host::HomeFolder()));
}

}  // namespace orvik
