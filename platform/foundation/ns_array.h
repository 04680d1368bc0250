// Ordered collections of objects.
#pragma once

#include <vector>

#include "platform/foundation/object.h"

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

}  // namespace orvik
