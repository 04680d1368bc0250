// Platform objects that a test made and releases.
#pragma once

#include <memory>

#include "platform/foundation/object.h"

namespace orvik::test {

struct Release {
  void operator()(const NSObject* object) const { CFRelease(object); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Release>;

}  // namespace orvik::test
