// The root of all platform objects: a kind, a reference count, and the few things that any object
// can do; the owner of one reference to an object; and the pools that release objects later. Both
// object families share the root: a CFTypeRef is the address of an NSObject.
//
// Threads: references to one object may be taken and released in several threads at once. An object
// may be read in several threads as long as none changes it; immutable ones never change.
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

  // A new object starts with one reference, which its maker owns.
  // Takes a reference; and gives one up, the last of which destroys the object. Any thread may call
  // either.
  const NSObject* retain() const;
  void release() const;
  // Gives the caller's reference to the innermost autorelease pool of the thread.
  const NSObject* autorelease() const;

  // The kind. Objects of the root class, and of classes that do not say otherwise, share one.
  virtual CFTypeID typeID() const;
  // Identity, or equal values of a property list (plist/value.h); equal objects have equal hashes.
  virtual bool isEqual(const NSObject* other) const;
  // Not to be stored: hashes of strings have a key of the process.
  virtual CFHashCode hash() const;
  // An immutable copy, and a mutable one, owned by the caller. Immutable objects, and those of
  // classes without copies, answer copy with themselves; mutableCopy is null where there is none.
  virtual NSObject* copy() const;
  virtual NSObject* mutableCopy() const;
  // The text that "%@" shows, owned by an autorelease pool.
  virtual const NSString* description() const;
  // The value of a property list that the object stands for; no value for an object that no
  // property list can hold.
  virtual plist::Value value() const;

 protected:
  NSObject() = default;
  virtual ~NSObject() = default;

 private:
  mutable ReferenceCount references_;
};

// A new kind, different from all others. Each class keeps the one it took.
CFTypeID RegisterTypeID();

inline const NSObject* ObjectOf(CFTypeRef reference) {
  return static_cast<const NSObject*>(reference);
}

// Retains in place and gives the object back under its own type.
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

struct ReleaseReference {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

// Takes over a reference, as Create and Copy functions return it, and releases it. The class of the
// object is that of the pointer: Owned<const NSString> holds a CFStringRef.
template <class Object>
using Owned = std::unique_ptr<Object, ReleaseReference>;

}  // namespace orvik
