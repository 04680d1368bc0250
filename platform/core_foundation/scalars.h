// Numbers, booleans, dates and bytes as objects, and URLs of files. All but the URL wrap a
// property-list value and equal another object if their values are equal (plist/value.h). All are
// immutable.
//
// Create gives the caller a reference.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

// An integer, a real or a boolean.
class NSNumber final : public NSObject {
 public:
  // `value` must be an integer, a real or a boolean. A process has a single object for each
  // boolean.
  static const NSNumber* Create(const plist::Value& value);

  // The caller must not release the result.
  static const NSNumber* numberWithBool(ObjCBool value);

  CFHashCode hash() const override;
  // "1" and "0" for booleans; for a real the fewest digits that give the same number.
  const NSString* description() const override;
  plist::Value value() const override { return value_; }

 private:
  explicit NSNumber(const plist::Value& value) : value_(value) {}
  ~NSNumber() override = default;

  plist::Value value_;
};

using CFTimeInterval = double;
using CFAbsoluteTime = CFTimeInterval;  // seconds since 2001-01-01 00:00:00 UTC

class NSDate final : public NSObject {
 public:
  static const NSDate* Create(CFAbsoluteTime time);

  CFHashCode hash() const override;
  // "YYYY-MM-DD HH:MM:SS +0000", or "no date" beyond 30,000 years.
  const NSString* description() const override;
  plist::Value value() const override { return plist::Value::Date(time_); }

 private:
  explicit NSDate(CFAbsoluteTime time) : time_(time) {}
  ~NSDate() override = default;

  CFAbsoluteTime time_;
};

// The present time of the system's clock.
CFAbsoluteTime CFAbsoluteTimeGetCurrent();

// Bytes. Paths of files follow the rules of NSFileManager.
class NSData final : public NSObject {
 public:
  // Takes over or shares the bytes; the caller owns the object.
  static NSData* Create(std::string bytes);
  static NSData* Create(plist::Bytes bytes);

  // The whole content of a file, autoreleased; null if it cannot be read or is not a regular file.
  static const NSData* dataWithContentsOfFile(const NSString* path);

  // Creates or replaces the file, always atomically: a reader sees the old or the new content, and
  // a failure leaves the old one.
  ObjCBool writeToFile(const NSString* path, ObjCBool atomically) const;

  // The bytes, valid as long as the object; and the bytes as values share them.
  std::string_view View() const { return *bytes_; }
  const plist::Bytes& Shared() const { return bytes_; }

  CFHashCode hash() const override;
  // "<00010203 04>": the bytes in hexadecimal digits.
  const NSString* description() const override;
  plist::Value value() const override { return plist::Value::Data(bytes_); }

 private:
  explicit NSData(plist::Bytes bytes) : bytes_(std::move(bytes)) {}
  ~NSData() override = default;

  plist::Bytes bytes_;
};

// The URL of a file. A relative path starts at the folder that is current when the URL is made.
class NSURL final : public NSObject {
 public:
  // The caller owns the result; null for an empty path and for a path with NUL.
  static const NSURL* CreateWithPath(std::string path);

  // The bytes of an absolute path without a trailing "/" (except "/" itself).
  const std::string& Path() const { return path_; }

 private:
  explicit NSURL(std::string path) : path_(std::move(path)) {}
  ~NSURL() override = default;

  std::string path_;
};

using CFURLRef = const NSURL*;

// `buffer` has `length` bytes of a path. Null for an empty path and for a path with NUL.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory);

}  // namespace orvik
