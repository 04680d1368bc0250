// Byte buffers as objects. A CFDataRef is an NSData.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

// Bytes that never change once the object is made. Paths of files are taken as NSFileManager takes
// them.
class NSData final : public NSObject {
 public:
  // Owned by the caller; the bytes are moved in.
  static NSData* Create(std::string bytes);
  static NSData* Create(plist::Bytes bytes);

  // The whole file, autoreleased; null when it cannot be read or is no regular file.
  static const NSData* dataWithContentsOfFile(const NSString* path);

  // Makes or replaces the file. Atomically, a reader sees the old or the new content and a failure
  // leaves the old one; otherwise the file is written in place.
  ObjCBool writeToFile(const NSString* path, ObjCBool atomically) const;

  const void* bytes() const { return bytes_->data(); }
  CFIndex length() const { return static_cast<CFIndex>(bytes_->size()); }
  std::string_view View() const { return *bytes_; }
  const plist::Bytes& Shared() const { return bytes_; }

  CFTypeID typeID() const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  NSObject* mutableCopy() const override;
  const NSString* description() const override;
  plist::Value value() const override { return plist::Value::Data(bytes_); }

 private:
  explicit NSData(plist::Bytes bytes) : bytes_(std::move(bytes)) {}
  ~NSData() override = default;

  plist::Bytes bytes_;
};

using CFDataRef = const NSData*;

CFTypeID CFDataGetTypeID();
// Copies the bytes. Owned by the caller.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* CFDataGetBytePtr(CFDataRef data);

}  // namespace orvik
