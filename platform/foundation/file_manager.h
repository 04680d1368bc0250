// Files and folders by path.
//
// Paths are taken as host/file_names.h and the rule of host/system.h (ResolvePath) say.
// Methods answer YES or NO; null and empty paths are NO.
#pragma once

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

class NSFileManager final : public NSObject {
 public:
  // The one object of the process.
  static NSFileManager* defaultManager();

  // Whether the path exists; a link counts as what it points to. `is_directory` may be
  // null.
  ObjCBool fileExistsAtPath(const NSString* path, ObjCBool* is_directory = nullptr) const;

  constexpr NSFileManager() = default;
  ~NSFileManager() override = default;
};

// The temporary folder with a "/" at its end, autoreleased.
const NSString* NSTemporaryDirectory();

// The user's home, autoreleased.
const NSString* NSHomeDirectory();

}  // namespace orvik
