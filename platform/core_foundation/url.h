// URLs of files. Other schemes are not known.
//
// Paths are bytes on disk and UTF-16 here, as host/file_names.h turns them into one another. A
// relative path counts from the current folder at the time the URL is made. Created and copied
// objects belong to the caller.
//
// Reading and writing report the reason of a failure as a status of errno_status.h.
#pragma once

#include <string>
#include <utility>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"

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

using CFURLPathStyle = CFIndex;
inline constexpr CFURLPathStyle kCFURLPOSIXPathStyle = 0;

// `length` bytes of a path. Null for an empty path and for one with NUL.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory);
// The POSIX style is the only one; null for others.
CFStringRef CFURLCopyFileSystemPath(CFURLRef url, CFURLPathStyle style);
// The path, terminated, into a buffer; false, with nothing stored, when it does not fit.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolve_against_base, UInt8* buffer,
                                         CFIndex buffer_length);

// The whole content of a regular file. Every out argument may be null; properties are not known
// (null is stored, and asking for some gives paramErr). `error_code` receives 0 or the status.
Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef allocator, CFURLRef url,
                                                 CFDataRef* data, CFDictionaryRef* properties,
                                                 CFArrayRef desired_properties, SInt32* error_code);
// Makes or replaces the file as host/replace_file.h does, flushed to disk. `properties` must be
// null (paramErr).
Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef data,
                                              CFDictionaryRef properties, SInt32* error_code);

}  // namespace orvik
