// Collections of objects under keys.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/foundation/ns_array.h"
#include "platform/foundation/object.h"
#include "plist/entry_index.h"

namespace [[gnu::visibility("default")]] orvik {

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

}  // namespace orvik
