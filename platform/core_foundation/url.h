// URLs of files. Other schemes are not known.
//
// Paths are bytes on disk and UTF-16 here, as host/file_names.h turns them into one another. A
// relative path counts from the current folder at the time the URL is made. Created and copied
// objects belong to the caller.
//
// Reading and writing tell the reason of a failure as a status of host/errno_status.h.
#pragma once

#include <string>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/base.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/dictionary.h"

namespace [[gnu::visibility("default")]] orvik {

struct FSRef;

class NSURL final : public NSObject {
 public:
  // Owned by the caller; null for an empty path and for one with NUL.
  static const NSURL* CreateWithPath(std::string path, bool is_directory);

  // Bytes, absolute, without a trailing "/" (but "/" itself).
  const std::string& Path() const { return path_; }
  bool isDirectory() const { return is_directory_; }

  CFTypeID typeID() const override;
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  // "file://" and the percent-encoded path (RFC 3986, RFC 8089).
  const NSString* description() const override;

 private:
  NSURL(std::string path, bool is_directory);
  ~NSURL() override = default;

  std::string path_;
  bool is_directory_;
};

using CFURLRef = const NSURL*;

using CFURLPathStyle = CFIndex;
inline constexpr CFURLPathStyle kCFURLPOSIXPathStyle = 0;

CFTypeID CFURLGetTypeID();

// `length` bytes of a path. Null for an empty path and for one with NUL.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory);
// The POSIX style is the only one; null for others.
CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef path,
                                       CFURLPathStyle style, Boolean is_directory);
CFStringRef CFURLCopyFileSystemPath(CFURLRef url, CFURLPathStyle style);
// The path, terminated, into a buffer; false, with nothing stored, when it does not fit.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolve_against_base, UInt8* buffer,
                                         CFIndex buffer_length);
// The "file://" text of the URL, autoreleased.
CFStringRef CFURLGetString(CFURLRef url);
Boolean CFURLHasDirectoryPath(CFURLRef url);

// "/a/b" gives "b"; "/" gives "/".
CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
// "/a/b" gives "/a"; "/" stays.
CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
// Null when the component cannot be part of a path.
CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                               CFStringRef component, Boolean is_directory);

// The object that stands at the path (a final link is not followed); false when there is none.
Boolean CFURLGetFSRef(CFURLRef url, FSRef* ref);
// The present path of the object; null when it is gone.
CFURLRef CFURLCreateFromFSRef(CFAllocatorRef allocator, const FSRef* ref);

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
