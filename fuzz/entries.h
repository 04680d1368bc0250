// Property lists that are dictionaries.
#pragma once

#include <string_view>

#include "platform/core_foundation/property_list_forms.h"
#include "platform/foundation/ns_dictionary.h"

namespace orvik::fuzz {

// The dictionary that the bytes hold, modifiable; null when they hold none.
inline OwnedObject Entries(std::string_view bytes) {
  OwnedObject root = ReadPropertyList(bytes, kCFPropertyListMutableContainers).root;
  if (root && root->typeID() != CFDictionaryGetTypeID()) root.reset();
  return root;
}

inline NSDictionary* Dictionary(const OwnedObject& root) {
  return const_cast<NSDictionary*>(static_cast<const NSDictionary*>(root.get()));
}

}  // namespace orvik::fuzz
