// Moments in time as objects.
#pragma once

#include "platform/foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

using CFTimeInterval = double;
using CFAbsoluteTime = CFTimeInterval;  // seconds since 2001-01-01 00:00:00 UTC

class NSDate final : public NSObject {
 public:
  // Owned by the caller.
  static const NSDate* Create(CFAbsoluteTime time);

  CFAbsoluteTime timeIntervalSinceReferenceDate() const { return time_; }

  CFTypeID typeID() const override;
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  // "YYYY-MM-DD HH:MM:SS +0000"
  const NSString* description() const override;

 private:
  explicit NSDate(CFAbsoluteTime time) : time_(time) {}
  ~NSDate() override = default;

  CFAbsoluteTime time_;
};

}  // namespace orvik
