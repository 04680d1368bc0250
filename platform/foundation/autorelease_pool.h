// Pools that release, at their end, the objects handed to them meanwhile.
#pragma once

#include <vector>

#include "platform/foundation/object.h"

namespace [[gnu::visibility("default")]] orvik {

// Pools of one thread nest: an autoreleased object goes to the newest one. Without a pool an object
// is never released, as on the platform.
class NSAutoreleasePool final {
 public:
  NSAutoreleasePool();
  // Releases what the pool holds, and every newer pool of the thread that was not ended.
  ~NSAutoreleasePool();
  NSAutoreleasePool(const NSAutoreleasePool&) = delete;
  NSAutoreleasePool& operator=(const NSAutoreleasePool&) = delete;

 private:
  friend class NSObject;
  static void Add(const NSObject* object);
  void Drain();

  std::vector<const NSObject*> objects_;
  NSAutoreleasePool* outer_;
};

}  // namespace orvik
