// A platform string that this layer made and releases.
#pragma once

#include <memory>

#include "platform/core_foundation/string.h"

namespace orvik {

struct StringReleaser {
  void operator()(CFStringRef string) const { CFRelease(string); }
};
using OwnedString = std::unique_ptr<const NSString, StringReleaser>;

}  // namespace orvik
