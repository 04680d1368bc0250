// Moments in time as objects. A CFDateRef is an NSDate.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

using CFTimeInterval = double;
using CFAbsoluteTime = CFTimeInterval;  // seconds since 2001-01-01 00:00:00 UTC

class NSDate final : public NSObject {
 public:
  // Owned by the caller.
  static const NSDate* Create(CFAbsoluteTime time);

  CFAbsoluteTime timeIntervalSinceReferenceDate() const { return time_; }

  CFTypeID typeID() const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  // "YYYY-MM-DD HH:MM:SS +0000"
  const NSString* description() const override;
  plist::Value value() const override { return plist::Value::Date(time_); }

 private:
  explicit NSDate(CFAbsoluteTime time) : time_(time) {}
  ~NSDate() override = default;

  CFAbsoluteTime time_;
};

using CFDateRef = const NSDate*;

inline constexpr CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CFTypeID CFDateGetTypeID();
// Owned by the caller.
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime time);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);
CFAbsoluteTime CFAbsoluteTimeGetCurrent();

}  // namespace orvik
