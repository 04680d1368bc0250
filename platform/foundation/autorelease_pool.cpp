#include "platform/foundation/autorelease_pool.h"

#include <new>
#include <utility>

namespace orvik {

namespace {

thread_local NSAutoreleasePool* innermost = nullptr;

}  // namespace

NSAutoreleasePool::NSAutoreleasePool() : outer_(innermost) {
  innermost = this;
}

NSAutoreleasePool::~NSAutoreleasePool() {
  while (innermost != this) {
    NSAutoreleasePool* newer = innermost;
    innermost = newer->outer_;
    newer->Drain();
  }
  Drain();
  innermost = outer_;
}

// An object's end may hand further objects to this pool.
void NSAutoreleasePool::Drain() {
  while (!objects_.empty()) {
    const std::vector<const NSObject*> objects = std::move(objects_);
    objects_.clear();
    for (const NSObject* object : objects) object->release();
  }
}

void NSAutoreleasePool::Add(const NSObject* object) {
  if (innermost == nullptr) return;
  try {
    innermost->objects_.push_back(object);
  } catch (const std::bad_alloc&) {
    object->release();
    throw;
  }
}

const NSObject* NSObject::autorelease() const {
  NSAutoreleasePool::Add(this);
  return this;
}

}  // namespace orvik
