#include "platform/core_foundation/object.h"

#include <atomic>
#include <functional>
#include <new>
#include <utility>

namespace orvik {

namespace {

// Only its address is used.
const char null_allocator = 0;

thread_local NSAutoreleasePool* innermost = nullptr;

}  // namespace

const CFAllocatorRef kCFAllocatorNull = reinterpret_cast<CFAllocatorRef>(&null_allocator);

const NSObject* NSObject::retain() const {
  references_.Add();
  return this;
}

// Collections may be nested deeper than the stack of a small thread allows. Below the first few
// nested destructors, objects wait in a list.
void NSObject::release() const {
  constexpr int kDepthOnStack = 32;
  thread_local int depth = 0;
  thread_local std::vector<const NSObject*>* waiting = nullptr;
  if (references_.Drop() != 0) return;
  if (depth < kDepthOnStack) {
    ++depth;
    delete this;
    --depth;
  } else if (waiting == nullptr) {
    std::vector<const NSObject*> list;
    waiting = &list;
    delete this;
    while (!list.empty()) {
      const NSObject* const next = list.back();
      list.pop_back();
      delete next;
    }
    waiting = nullptr;
  } else {
    try {
      waiting->push_back(this);
    } catch (const std::bad_alloc&) {
      delete this;  // recursion allocates no memory
    }
  }
}

CFTypeID NSObject::typeID() const {
  return 0;
}

bool NSObject::isEqual(const NSObject* other) const {
  if (this == other) return true;
  const plist::Value own = value();
  return own && other != nullptr && own == other->value();
}

CFHashCode NSObject::hash() const {
  return std::hash<const void*>()(this);
}

NSObject* NSObject::copy() const {
  return const_cast<NSObject*>(Retained(this));
}

NSObject* NSObject::mutableCopy() const {
  return nullptr;
}

const NSString* NSObject::description() const {
  return nullptr;
}

plist::Value NSObject::value() const {
  return {};
}

CFTypeID RegisterTypeID() {
  static std::atomic<CFTypeID> last{0};
  return ++last;
}

CFTypeRef CFRetain(CFTypeRef object) {
  return ObjectOf(object)->retain();
}

void CFRelease(CFTypeRef object) {
  if (object != nullptr) ObjectOf(object)->release();
}

CFTypeID CFGetTypeID(CFTypeRef object) {
  return ObjectOf(object)->typeID();
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b) {
  return a == b || ObjectOf(a)->isEqual(ObjectOf(b));
}

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

// The destructor of an object may add further objects to this pool.
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
