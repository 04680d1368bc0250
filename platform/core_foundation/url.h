// URLs of files. Other schemes are not known.
//
// Paths are bytes on disk and UTF-16 here, as host/file_names.h turns them into one another. A
// relative path counts from the current folder at the time the URL is made. Created and copied
// objects belong to the caller.
#pragma once

#include <string>
#include <utility>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

class NSURL final : public NSObject {
 public:
  // Owned by the caller; null for an empty path and for one with NUL.
  static const NSURL* CreateWithPath(std::string path);

  // Bytes, absolute, without a trailing "/" (but "/" itself).
  const std::string& Path() const { return path_; }

 private:
  explicit NSURL(std::string path) : path_(std::move(path)) {}
  ~NSURL() override = default;

  std::string path_;
};

using CFURLRef = const NSURL*;

// `length` bytes of a path. Null for an empty path and for one with NUL.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory);
}  // namespace orvik
