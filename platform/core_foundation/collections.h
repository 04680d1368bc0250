// Arrays and dictionaries of objects, by both of their names (a CFArrayRef is an NSArray, a
// CFDictionaryRef an NSDictionary), and all objects from and to the values of plist/value.h, which
// hold everything that is read from and written to files.
//
// A collection that was made from a value of a property list keeps the value until its objects are
// first needed; its objects are then made one level deep, once for all threads.
//
// A collection retains the objects in it. Null is never an element, a key or a value. Changes to an
// immutable collection do nothing. Created objects belong to the caller.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "plist/entry_index.h"
#include "plist/value.h"

namespace [[gnu::visibility("default")]] orvik {

using CFPropertyListRef = CFTypeRef;

// Which parts of an object that is made from a value (CreateObject) become mutable.
using CFPropertyListMutabilityOptions = CFOptionFlags;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListImmutable = 0;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListMutableContainers = 1;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListMutableContainersAndLeaves = 2;

// The common base of arrays and dictionaries.
class NSCollection : public NSObject {
 public:
  bool isMutable() const { return options_ != kCFPropertyListImmutable; }
  // Whether its objects were not needed yet.
  bool isDeferred() const { return is_deferred_.load(std::memory_order_acquire); }

  NSObject* copy() const override;
  NSObject* mutableCopy() const override;
  // The value it was made from, or a new one of its objects; no value when one of them, or a key,
  // does not fit into a property list, or when the objects are nested too deep. Does not recurse.
  plist::Value value() const override;

 protected:
  explicit NSCollection(CFOptionFlags options) : options_(options) {}
  NSCollection(plist::Value content, CFOptionFlags options)
      : content_(std::move(content)), is_deferred_(true), options_(options) {}
  ~NSCollection() override = default;

  void Load() const {
    if (isDeferred()) MakeAllObjects();
  }

 private:
  // May be called again after an allocation failure.
  virtual void MakeObjects(const plist::Value& content, CFOptionFlags options) = 0;
  // The same objects in another collection, owned by the caller.
  virtual NSObject* CopyObjects(CFOptionFlags options) const = 0;
  void MakeAllObjects() const;

  mutable plist::Value content_;
  mutable std::atomic<bool> is_deferred_{false};
  CFOptionFlags options_;
};

// Hands out the elements it was made over, one after the other. Autoreleased with what it holds.
class NSEnumerator final : public NSObject {
 public:
  // Retains the objects.
  explicit NSEnumerator(std::vector<const NSObject*> objects);

  // Returns the next object, or null at the end.
  NSObject* nextObject();

 private:
  ~NSEnumerator() override;

  std::vector<const NSObject*> objects_;
  std::size_t next_ = 0;
};

CFTypeID CFArrayGetTypeID();
CFTypeID CFDictionaryGetTypeID();

class NSArray final : public NSCollection {
 public:
  // An empty mutable array, and one of an array's value; owned by the caller.
  static NSArray* Create();
  static NSArray* Create(plist::Value content, CFOptionFlags options);

  // An empty mutable array, autoreleased.
  static NSArray* arrayWithCapacity(CFIndex capacity);

  CFIndex count() const { return static_cast<CFIndex>(Objects().size()); }
  // Over the elements of this moment.
  NSEnumerator* objectEnumerator() const;

  // Retains the object. Null does nothing.
  void addObject(const NSObject* object);

  const std::vector<const NSObject*>& Objects() const {
    Load();
    return objects_;
  }

  CFTypeID typeID() const override { return CFArrayGetTypeID(); }
  CFHashCode hash() const override { return Objects().size(); }
  const NSString* description() const override;

 private:
  using NSCollection::NSCollection;
  ~NSArray() override;

  void MakeObjects(const plist::Value& content, CFOptionFlags options) override;
  NSObject* CopyObjects(CFOptionFlags options) const override;

  std::vector<const NSObject*> objects_;
};

using CFArrayRef = const NSArray*;

// Looks values up by their keys' hash and walks them in the order in which the keys were first put
// in. Keys are kept as immutable copies.
class NSDictionary final : public NSCollection {
 public:
  struct Entry {
    const NSObject* key;
    const NSObject* value;
    CFHashCode hash;
  };

  // An empty mutable dictionary, and one of a dictionary's value; owned by the caller.
  static NSDictionary* Create();
  static NSDictionary* Create(plist::Value content, CFOptionFlags options);

  // An empty mutable dictionary, autoreleased.
  static NSDictionary* dictionary();

  CFIndex count() const { return static_cast<CFIndex>(Entries().size()); }
  // The value of the key, which the dictionary owns; null without such a key.
  NSObject* objectForKey(const NSObject* key) const;

  // setObject:forKey:. Retains the value and an immutable copy of the key. A key that exists keeps
  // its place in the order. Null does nothing.
  void setObject(const NSObject* value, const NSObject* key);

  // In order.
  const std::vector<Entry>& Entries() const {
    Load();
    return entries_;
  }

  CFTypeID typeID() const override { return CFDictionaryGetTypeID(); }
  CFHashCode hash() const override { return Entries().size(); }
  const NSString* description() const override;

 private:
  using NSCollection::NSCollection;
  ~NSDictionary() override;

  void MakeObjects(const plist::Value& content, CFOptionFlags options) override;
  NSObject* CopyObjects(CFOptionFlags options) const override;
  // Takes over both references. The key must be immutable.
  void SetOwned(const NSObject* key, const NSObject* value);
  std::size_t Find(const NSObject* key, CFHashCode hash) const;
  void Rebuild(std::size_t capacity);

  std::vector<Entry> entries_;
  plist::EntryIndex index_;
};

using CFDictionaryRef = const NSDictionary*;

// An object for the value, owned by the caller; null for no value. Arrays and dictionaries share
// the value until their objects are first used; long strings and data share their memory with it.
// Nothing is shared with other objects that can be changed.
CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option);

// The value of an object; that of an unused collection is the one that it was made from. Nothing
// for an object that no property list can hold: null, an object of another class, a key that is not
// a string, containers nested deeper than plist::kMaximumDepth. Then `path`, unless null, receives
// the keys and indices that lead to it, with "/" between them, in UTF-8.
std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path = nullptr);

}  // namespace orvik
