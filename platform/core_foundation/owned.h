// The owner of one reference to a platform object.
#pragma once

#include <memory>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

struct ReleaseReference {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

// Takes over a reference, as Create and Copy functions return it, and releases it. The class of the
// object is that of the pointer: Owned<const NSString> holds a CFStringRef.
template <class Object>
using Owned = std::unique_ptr<Object, ReleaseReference>;

}  // namespace orvik
