// The root class of all platform objects, with a kind, a reference count and the operations of
// every object; the owner of a single reference; and the pools that release objects later. Both
// object families share the root: a CFTypeRef is the address of an NSObject.
//
// Threads: several threads may retain and release the same object at once. They may read an object
// at once as long as no thread changes it; immutable objects never change.
#pragma once

#include <memory>
#include <vector>

#include "host/reference_count.h"
#include "platform/core_foundation/base.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

class NSString;

using ObjCBool = signed char;
// Macros of the same names stay as they are.
#pragma push_macro("YES")
#undef YES
#pragma push_macro("NO")
#undef NO
inline constexpr ObjCBool YES = 1;
inline constexpr ObjCBool NO = 0;
#pragma pop_macro("NO")
#pragma pop_macro("YES")

class NSObject {
 public:
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;

  // A new object starts with one reference, which its maker owns. `retain` adds a reference;
  // `release` releases one, and the last release destroys the object. Any thread may call both.
  const NSObject* retain() const;
  void release() const;
  // Gives the caller's reference to the innermost autorelease pool of the thread.
  const NSObject* autorelease() const;

  // The kind. The root class, and classes that do not override this, share one kind.
  virtual CFTypeID typeID() const;
  // Whether both are the same object or have equal property-list values (plist/value.h). Equal
  // objects have equal hashes.
  virtual bool isEqual(const NSObject* other) const;
  // Must not be stored: the hash of a string depends on a random key of the process.
  virtual CFHashCode hash() const;
  // An immutable and a mutable copy; the caller owns the result. `copy` of an immutable object, or
  // of a class without copies, returns the object itself; `mutableCopy` of a class without mutable
  // copies returns null.
  virtual NSObject* copy() const;
  virtual NSObject* mutableCopy() const;
  // The text that "%@" shows; an autorelease pool owns it.
  virtual const NSString* description() const;
  // The property-list value of the object; no value for an object that a property list cannot hold.
  virtual plist::Value value() const;

 protected:
  NSObject() = default;
  virtual ~NSObject() = default;

 private:
  mutable ReferenceCount references_;
};

// Returns a new kind, different from all others. Each class registers once and keeps its kind.
CFTypeID RegisterTypeID();

inline const NSObject* ObjectOf(CFTypeRef reference) {
  return static_cast<const NSObject*>(reference);
}

// Retains the object and returns it with its own type.
template <class T>
T* Retained(T* object) {
  if (object != nullptr) object->retain();
  return object;
}

template <class T>
T* Autoreleased(T* object) {
  if (object != nullptr) object->autorelease();
  return object;
}

// Pools of a thread may be nested: an autoreleased object goes to the newest pool. Without a pool
// an object is never released, as on the platform.
class NSAutoreleasePool final {
 public:
  NSAutoreleasePool();
  // Releases the objects of this pool, and of every newer pool of the thread that still exists.
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

struct ReleaseReference {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

// Owns a reference from a Create or Copy function and releases it. The type of the pointer is the
// class of the object: Owned<const NSString> holds a CFStringRef.
template <class Object>
using Owned = std::unique_ptr<Object, ReleaseReference>;

}  // namespace orvik
