// Property lists whose root is a dictionary.
#pragma once

#include <string_view>

#include "plist/forms.h"

namespace orvik::fuzz {

// The dictionary in the bytes; no value when there is none.
inline plist::Value Entries(std::string_view bytes) {
  plist::Value root = plist::Read(bytes).root;
  return root.is_dictionary() ? root : plist::Value();
}

}  // namespace orvik::fuzz
