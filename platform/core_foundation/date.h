// Moments in time as objects.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/foundation/ns_date.h"

namespace [[gnu::visibility("default")]] orvik {

using CFDateRef = const NSDate*;

inline constexpr CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CFTypeID CFDateGetTypeID();
// Owned by the caller.
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime time);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);
CFAbsoluteTime CFAbsoluteTimeGetCurrent();

}  // namespace orvik
