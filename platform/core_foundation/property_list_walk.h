// Going through the objects of a property list, depth first and without recursion.
#pragma once

#include <vector>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list.h"

namespace orvik {

enum class PropertyListKind {
  kNone,
  kString,
  kNumber,
  kBoolean,
  kDate,
  kData,
  kArray,
  kDictionary,
};

PropertyListKind KindOfPropertyListObject(const NSObject* object);

enum class PropertyListDeferral { kOpen, kDone, kFailed };

enum class PropertyListOrder { kStored, kByKey };

class PropertyListWalk {
 public:
  // What is met, in order. Each answers whether the walk goes on. A key comes before its value.
  class Visitor {
   public:
    virtual ~Visitor() = default;
    virtual bool Leaf(const NSObject* object, PropertyListKind kind) = 0;
    virtual bool Begin(const NSObject* container, PropertyListKind kind, size_t count) = 0;
    virtual bool Key(const NSString* key) = 0;
    virtual bool End(PropertyListKind kind) = 0;
    // A dictionary whose entries are not made yet: kDone when the visitor has seen to all of it.
    virtual PropertyListDeferral Deferred(const NSDictionary&) {
      return PropertyListDeferral::kOpen;
    }
  };

  // True when all of the list was walked. False also for what is no property list: an object of
  // another type, a key that is no string, containers too deep.
  static bool Run(const NSObject* property_list, PropertyListOrder order, Visitor& visitor);

 private:
  struct Entry {
    const NSString* key;
    const NSObject* value;
  };

  struct Container {
    PropertyListKind kind;
    size_t first;
    size_t next;
  };

  PropertyListWalk(PropertyListOrder order, Visitor& visitor) : order_(order), visitor_(visitor) {}
  bool Visit(const NSObject* object);
  bool PushDictionary(CFDictionaryRef dictionary);

  PropertyListOrder order_;
  Visitor& visitor_;
  // The entries of the open containers, the innermost last.
  std::vector<Entry> entries_;
  std::vector<Container> open_;
};

}  // namespace orvik
