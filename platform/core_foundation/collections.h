// Arrays and dictionaries of objects, by both of their names: a CFArrayRef is an NSArray, a
// CFDictionaryRef an NSDictionary.
//
// A collection retains the objects in it. Null is never an element, a key or a value. Changes to an
// immutable collection do nothing. Created objects belong to the caller.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "plist/entry_index.h"

namespace [[gnu::visibility("default")]] orvik {

// Hands out the elements it was made over, one after the other. Autoreleased with what it holds.
class NSEnumerator final : public NSObject {
 public:
  // Retains the objects.
  explicit NSEnumerator(std::vector<const NSObject*> objects);

  // Null when there are no more.
  NSObject* nextObject();

 private:
  ~NSEnumerator() override;

  std::vector<const NSObject*> objects_;
  std::size_t next_ = 0;
};

// Retains its elements; null is no element. Appending to an immutable array does nothing; an index
// outside the array gives null.
class NSArray final : public NSObject {
 public:
  // An empty array, owned by the caller.
  static NSArray* Create(bool is_mutable = true, std::size_t capacity = 0);

  // An empty mutable array, autoreleased.
  static NSArray* arrayWithCapacity(CFIndex capacity);

  CFIndex count() const { return static_cast<CFIndex>(objects_.size()); }
  NSObject* objectAtIndex(CFIndex index) const;
  // Over the elements of this moment.
  NSEnumerator* objectEnumerator() const;

  void addObject(const NSObject* object);

  // Appends an element whose reference the caller gives up, also to an immutable array that is
  // still being made.
  void AppendOwned(const NSObject* object) { objects_.push_back(object); }

  const std::vector<const NSObject*>& Objects() const { return objects_; }
  bool isMutable() const { return is_mutable_; }

  CFTypeID typeID() const override;
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  NSObject* mutableCopy() const override;
  const NSString* description() const override;

 private:
  explicit NSArray(bool is_mutable) : is_mutable_(is_mutable) {}
  ~NSArray() override;

  NSArray* CopyElements(bool is_mutable) const;

  std::vector<const NSObject*> objects_;
  bool is_mutable_;
};

using CFArrayRef = const NSArray*;
using CFMutableArrayRef = NSArray*;

// Arrays hold objects and nothing else, so these are the only callbacks.
struct CFArrayCallBacks {};
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID();
// Owned by the caller; null unless the callbacks are the ones above. The capacity is only a hint.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callbacks);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);

// Looks values up by their keys' hash and walks them in the order in which the keys were first put
// in. Retains its values; keys are kept as immutable copies. Null is no key and no value. Changes
// to an immutable dictionary do nothing.
class NSDictionary final : public NSObject {
 public:
  struct Entry {
    const NSObject* key;  // null where an entry was removed
    const NSObject* value;
    CFHashCode hash;
  };

  // Entries that are made when they are first looked at, by any thread.
  class DeferredContent {
   public:
    virtual ~DeferredContent() = default;
    // With TakeEntries. The dictionary is new and empty.
    virtual void MakeEntries(NSDictionary* dictionary) const = 0;
  };

  // A dictionary with that content, owned by the caller.
  static NSDictionary* CreateDeferred(bool is_mutable,
                                      std::shared_ptr<const DeferredContent> content);

  // Whether nobody has looked at the entries of a deferred dictionary yet; the content of one,
  // or null.
  bool isDeferred() const { return is_deferred_.load(std::memory_order_acquire); }
  std::shared_ptr<const DeferredContent> deferredContent() const;

  // An empty dictionary, owned by the caller.
  static NSDictionary* Create(bool is_mutable = true, std::size_t capacity = 0);

  // An empty mutable dictionary, autoreleased.
  static NSDictionary* dictionary();

  CFIndex count() const {
    Load();
    return static_cast<CFIndex>(count_);
  }
  NSObject* objectForKey(const NSObject* key) const;
  // The same for a key whose hash is known.
  const NSObject* ValueOf(const NSObject* key, CFHashCode hash) const;

  // setObject:forKey:
  void setObject(const NSObject* value, const NSObject* key);
  void removeObjectForKey(const NSObject* key);
  void removeAllObjects();

  // Puts a value in whose reference, like that of the key, the caller gives up, also into an
  // immutable dictionary that is still being made. The key must be immutable.
  void SetOwned(const NSObject* key, const NSObject* value);

  // Takes over the entries of a dictionary that nobody else uses, also into an immutable one that
  // is still being made.
  void TakeEntries(const NSDictionary* made);

  // In order; skip those without a key.
  const std::vector<Entry>& Entries() const {
    Load();
    return entries_;
  }
  bool isMutable() const { return is_mutable_; }

  CFTypeID typeID() const override;
  bool isEqual(const NSObject* other) const override;
  CFHashCode hash() const override;
  NSObject* copy() const override;
  NSObject* mutableCopy() const override;
  const NSString* description() const override;

 private:
  explicit NSDictionary(bool is_mutable) : is_mutable_(is_mutable) {}
  ~NSDictionary() override;

  void Load() const {
    if (isDeferred()) MakeDeferred();
  }
  void MakeDeferred() const;
  NSDictionary* CopyEntries(bool is_mutable) const;
  std::size_t Find(const NSObject* key, CFHashCode hash) const;
  void Rebuild(std::size_t capacity);

  std::vector<Entry> entries_;
  plist::EntryIndex index_;
  std::size_t count_ = 0;
  mutable std::shared_ptr<const DeferredContent> content_;
  mutable std::atomic<bool> is_deferred_{false};
  bool is_mutable_;
};

using CFDictionaryRef = const NSDictionary*;
using CFMutableDictionaryRef = NSDictionary*;

// Dictionaries hold objects and nothing else, so these are the only callbacks.
struct CFDictionaryKeyCallBacks {};
struct CFDictionaryValueCallBacks {};
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID();
// Owned by the caller, as every created dictionary; null unless the callbacks are the ones above.
// The capacity is only a hint.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                 const CFDictionaryValueCallBacks* value_callbacks);
// Copies the entries; the values are the same objects.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
// Arrays of the caller with room for the count; either may be null.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);

}  // namespace orvik
