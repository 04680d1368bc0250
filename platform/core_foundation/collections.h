// Arrays and dictionaries of objects under both of their names (a CFArrayRef is an NSArray, a
// CFDictionaryRef an NSDictionary), and the conversion of all objects from and to the values of
// plist/value.h, which are read from and written to files.
//
// A collection made from a property-list value keeps the value until its objects are first needed.
// Its objects are then made one level deep, once for all threads.
//
// A collection retains its objects. Null is never an element, a key or a value. Changes of an
// immutable collection have no effect. The caller owns created objects.
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

// The parts of an object made from a value (CreateObject) that become mutable.
using CFPropertyListMutabilityOptions = CFOptionFlags;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListImmutable = 0;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListMutableContainers = 1;
inline constexpr CFPropertyListMutabilityOptions kCFPropertyListMutableContainersAndLeaves = 2;

// The common base of arrays and dictionaries.
class NSCollection : public NSObject {
 public:
  bool isMutable() const { return options_ != kCFPropertyListImmutable; }
  // Whether its objects were not yet needed.
  bool isDeferred() const { return is_deferred_.load(std::memory_order_acquire); }

  NSObject* copy() const override;
  NSObject* mutableCopy() const override;
  // The value from which it was made, or a new value of its objects. No value when an object or a
  // key does not fit into a property list, or when the objects are nested too deep. Does not
  // recurse.
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
  // Another collection with the same objects; the caller owns it.
  virtual NSObject* CopyObjects(CFOptionFlags options) const = 0;
  void MakeAllObjects() const;

  mutable plist::Value content_;
  mutable std::atomic<bool> is_deferred_{false};
  CFOptionFlags options_;
};

// Returns the elements of a collection one after the other. Autoreleased with its elements.
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
  // An empty mutable array, and an array with the elements of a value; the caller owns the result.
  static NSArray* Create();
  static NSArray* Create(plist::Value content, CFOptionFlags options);

  // An empty mutable array, autoreleased.
  static NSArray* arrayWithCapacity(CFIndex capacity);

  CFIndex count() const { return static_cast<CFIndex>(Objects().size()); }
  // An enumerator of the present elements.
  NSEnumerator* objectEnumerator() const;

  // Retains the object. Null has no effect.
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

// Finds values by the hashes of their keys, and keeps the order in which the keys were first set.
// Keys are kept as immutable copies.
class NSDictionary final : public NSCollection {
 public:
  struct Entry {
    const NSObject* key;
    const NSObject* value;
    CFHashCode hash;
  };

  // An empty mutable dictionary, and a dictionary with the entries of a value; the caller owns the
  // result.
  static NSDictionary* Create();
  static NSDictionary* Create(plist::Value content, CFOptionFlags options);

  // An empty mutable dictionary, autoreleased.
  static NSDictionary* dictionary();

  CFIndex count() const { return static_cast<CFIndex>(Entries().size()); }
  // The value of the key, or null. The dictionary owns the value.
  NSObject* objectForKey(const NSObject* key) const;

  // setObject:forKey:. Retains the value and an immutable copy of the key. An existing key keeps
  // its place in the order. Null has no effect.
  void setObject(const NSObject* value, const NSObject* key);

  // The entries in their order.
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

// An object for the value, or null for no value; the caller owns it. Arrays and dictionaries share
// the value until their objects are first used; long strings and data share its memory. Mutable
// objects share nothing with other objects.
CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option);

// The value of an object; for an unused collection the value from which it was made. Nothing for an
// object that a property list cannot hold: null, an object of another class, a key that is not a
// string, or containers nested deeper than plist::kMaximumDepth. `path`, unless null, then receives
// the keys and indices that lead to it, separated by "/", in UTF-8.
std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path = nullptr);

}  // namespace orvik
