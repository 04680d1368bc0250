// Handing the objects of a property list to a sink, depth first and without recursion.
#pragma once

#include <string>
#include <vector>

#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/property_list_sink.h"

namespace orvik {

enum class PropertyListOrder { kStored, kByKey };

class PropertyListWalk {
 public:
  PropertyListWalk(PropertyListOrder order, PropertyListSink& sink) : order_(order), sink_(sink) {}

  // True when the sink took the whole list. False also for what is no property list: an object of
  // another type, a key that is no string, containers too deep.
  bool Run(const NSObject* property_list);

  // Where Run stopped: the keys and indices that lead to the value, with "/" between them, in
  // UTF-8.
  std::string Path() const;

 private:
  struct Entry {
    const NSString* key;
    const NSObject* value;
  };

  struct Container {
    bool is_dictionary;
    std::size_t first;
    std::size_t next;
  };

  bool Visit(const NSObject* object);
  bool Leaf(const NSObject* object, CFTypeID type);
  bool PushDictionary(CFDictionaryRef dictionary);

  PropertyListOrder order_;
  PropertyListSink& sink_;
  // The entries of the open containers, the innermost last.
  std::vector<Entry> entries_;
  std::vector<Container> open_;
};

}  // namespace orvik
