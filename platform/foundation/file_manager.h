// Files and folders by path.
//
// Paths are taken as host/file_names.h and the rule of host/system.h (ResolvePath) say.
// Methods answer YES or NO; null and empty paths are NO.
#pragma once

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

// Why a method failed.
class NSError final : public NSObject {
 public:
  // An error of the host (an errno value), autoreleased.
  static NSError* errorWithErrno(int error);

  // The errno value.
  long code() const { return code_; }

  const NSString* description() const override;

 private:
  explicit NSError(int error) : code_(error) {}
  ~NSError() override = default;

  long code_;
};

class NSFileManager final : public NSObject {
 public:
  // The one object of the process.
  static NSFileManager* defaultManager();

  // Whether the path exists; a link counts as what it points to. `is_directory` may be
  // null.
  ObjCBool fileExistsAtPath(const NSString* path, ObjCBool* is_directory = nullptr) const;

  // createDirectoryAtPath:withIntermediateDirectories:attributes:error:. Mode 0777 less the umask.
  // With intermediates a folder that exists is YES; without, anything at the path is NO. Attributes
  // must be null (EINVAL). `error`, unless null, receives the reason of NO, autoreleased.
  ObjCBool createDirectoryAtPath(const NSString* path, ObjCBool intermediates,
                                 const NSDictionary* attributes, NSError** error) const;

  // moveItemAtPath:toPath:error:. Moves a file, link or folder. An existing target is never
  // replaced (EEXIST). To another volume it is copied with mode, owner, times and extended
  // attributes as far as the rights allow, and the source removed when the copy is complete; a copy
  // that fails is taken back.
  ObjCBool moveItemAtPath(const NSString* source, const NSString* target, NSError** error) const;

  constexpr NSFileManager() = default;
  ~NSFileManager() override = default;
};

// The temporary folder with a "/" at its end, autoreleased.
const NSString* NSTemporaryDirectory();

// The user's home, autoreleased.
const NSString* NSHomeDirectory();

}  // namespace orvik
