// Property lists that are dictionaries.
#pragma once

#include <string_view>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "plist/forms.h"

namespace orvik::fuzz {

using OwnedObject = Owned<const NSObject>;

// The dictionary that the bytes hold, modifiable; null when they hold none.
inline OwnedObject Entries(std::string_view bytes) {
  OwnedObject root(
      ObjectOf(CreateObject(plist::Read(bytes).root, kCFPropertyListMutableContainers)));
  if (root && root->typeID() != CFDictionaryGetTypeID()) root.reset();
  return root;
}

inline NSDictionary* Dictionary(const OwnedObject& root) {
  return const_cast<NSDictionary*>(static_cast<const NSDictionary*>(root.get()));
}

}  // namespace orvik::fuzz
